#include "platform/Path.h"

#include <algorithm>

namespace platform {
namespace {

constexpr std::size_t kMaxNameUnits = 255;

/// Where a path's relative part starts, seen by names alone: behind a drive's colon on Windows, at 0 elsewhere.
std::size_t DrivePrefixLength(std::wstring_view path)
{
    return IsPathSeparator(L'\\') && path.size() >= 2 && path[1] == L':' ? 2 : 0;
}

std::size_t NameStart(std::wstring_view path)
{
    const std::size_t prefix = DrivePrefixLength(path);
    for (std::size_t i = path.size(); i > prefix; --i) {
        if (IsPathSeparator(path[i - 1])) {
            return i;
        }
    }
    return prefix;
}

bool IsForbiddenInNames(wchar_t character)
{
    return character == L'/' || character == L'\\' || character == L':' || character < L' ' || character == L'\x7f';
}

} // namespace

std::wstring JoinPath(std::wstring_view directory, std::wstring_view name)
{
    std::wstring path;
    path.reserve(directory.size() + 1 + name.size());
    path.append(directory);
    path.push_back(kPathSeparator);
    path.append(name);
    return path;
}

std::wstring FileNameOf(std::wstring_view path)
{
    return std::wstring(path.substr(NameStart(path)));
}

std::wstring ExtensionOf(std::wstring_view path)
{
    const std::wstring_view name = path.substr(NameStart(path));
    const std::size_t dot = name.rfind(L'.');
    return dot == std::wstring_view::npos ? std::wstring() : std::wstring(name.substr(dot));
}

std::wstring DirectoryOf(std::wstring_view path)
{
    std::size_t end = NameStart(path);
    const std::size_t prefix = DrivePrefixLength(path);
    if (end > prefix) {
        // The root's own separator is its name and stays.
        end = std::max(end - 1, prefix + (end - 1 == prefix ? 1 : 0));
    }
    return std::wstring(path.substr(0, end));
}

bool IsPlainFileName(std::wstring_view name)
{
    return !name.empty() && name.size() <= kMaxNameUnits && name != L"." && name != L".." &&
           std::none_of(name.begin(), name.end(), IsForbiddenInNames);
}

} // namespace platform
