#include "platform/Installation.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <filesystem>

namespace platform {

namespace {

std::filesystem::path ToStandardPath(const std::wstring& path)
{
    // Through bytes: the standard library's own conversion of wide text depends on the locale on some systems and
    // refuses names that are not valid there.
    const std::string narrow = NarrowPath(path);
    return std::filesystem::path(std::u8string(narrow.begin(), narrow.end()));
}

} // namespace

bool IsSameFile(const std::wstring& left, const std::wstring& right)
{
    std::error_code error;
    return std::filesystem::equivalent(ToStandardPath(left), ToStandardPath(right), error) && !error;
}

eOsError MakeDirectories(const std::wstring& path)
{
    if (DirectoryExists(path))
        return eOsError_None;
    const std::wstring parent = DirectoryOf(path);
    if (!parent.empty() && parent != path) {
        if (const eOsError error = MakeDirectories(parent); !Succeeded(error))
            return error;
    }
    const eOsError error = Files().MakeDirectory(path);
    // Somebody else may have been faster.
    return DirectoryExists(path) ? eOsError_None : error;
}

} // namespace platform
