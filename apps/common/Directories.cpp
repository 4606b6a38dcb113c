#include "apps/common/Directories.h"

#include "platform/Os.h"
#include "platform/Path.h"

#include <filesystem>

namespace {

std::filesystem::path ToStandardPath(const std::wstring& path)
{
    // Through bytes: the standard library's own conversion of wide text depends on the locale on some systems and
    // refuses names that are not valid there.
    const std::string narrow = platform::NarrowPath(path);
    return std::filesystem::path(std::u8string(narrow.begin(), narrow.end()));
}

} // namespace

std::wstring NormalDirectory(const std::wstring& path)
{
    std::wstring absolute = platform::AbsolutePath(path);
    // The separator of a root belongs to its name: nothing, or nothing but a drive, is before it.
    while (absolute.size() > 1 && platform::IsPathSeparator(absolute.back()) && absolute[absolute.size() - 2] != L':')
        absolute.pop_back();
    return absolute;
}

bool IsSameDirectory(const std::wstring& left, const std::wstring& right)
{
    std::error_code error;
    return std::filesystem::equivalent(ToStandardPath(left), ToStandardPath(right), error) && !error;
}

platform::eOsError MakeDirectories(const std::wstring& path)
{
    if (platform::DirectoryExists(path))
        return platform::eOsError_None;
    const std::wstring parent = platform::DirectoryOf(path);
    if (!parent.empty() && parent != path) {
        if (const platform::eOsError error = MakeDirectories(parent); !platform::Succeeded(error))
            return error;
    }
    const platform::eOsError error = platform::Files().MakeDirectory(path);
    // Somebody else may have been faster.
    return platform::DirectoryExists(path) ? platform::eOsError_None : error;
}
