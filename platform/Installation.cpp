#include "platform/Installation.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"

namespace platform {

bool IsSameFile(const std::wstring& left, const std::wstring& right)
{
    std::error_code error;
    return std::filesystem::equivalent(StandardPath(left), StandardPath(right), error) && !error;
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
