#include "platform/Path.h"

#include "platform/Text.h"

#include <algorithm>
#include <array>

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

/// Windows takes these for devices in every directory, whatever comes behind a dot.
bool IsDevice(std::wstring_view name)
{
    constexpr std::array<std::wstring_view, 6> kDevices = {L"con", L"prn", L"aux", L"nul", L"conin$", L"conout$"};
    constexpr std::wstring_view kPortDigits = L"0123456789\u00b9\u00b2\u00b3";
    std::wstring_view stem = name.substr(0, name.find(L'.'));
    while (!stem.empty() && stem.back() == L' ')
        stem.remove_suffix(1);
    const std::wstring_view port = stem.substr(0, 3);
    return std::any_of(kDevices.begin(), kDevices.end(), [&](auto device) { return EqualsNoCase(stem, device); }) ||
           (stem.size() == 4 && kPortDigits.find(stem[3]) != std::wstring_view::npos &&
            (EqualsNoCase(port, L"com") || EqualsNoCase(port, L"lpt")));
}

bool IsReservedOnWindows(std::wstring_view name)
{
    return IsDevice(name) || name.ends_with(L'.') || name.ends_with(L' ');
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
           std::none_of(name.begin(), name.end(), IsForbiddenInNames) &&
           !(IsPathSeparator(L'\\') && IsReservedOnWindows(name));
}

bool IsPortableFileName(std::wstring_view name)
{
    return IsPlainFileName(name) && !IsReservedOnWindows(name) &&
           name.find_first_of(L"*?\"<>|") == std::wstring_view::npos;
}

} // namespace platform
