#include "platform/DiskSpace.h"

#include "platform/posix/NativePath.h"
#include "platform/posix/SystemError.h"

#include <sys/statvfs.h>

namespace platform {

eOsError GetDiskSpace(const std::wstring& directory, SDiskSpace& space)
{
    const posix::CNativePath path(directory);
    struct statvfs status = {};
    if (posix::Uninterrupted([&] { return statvfs(path.c_str(), &status); }) != 0) {
        return posix::PathError(errno, path.c_str());
    }
    space.total = std::uint64_t{status.f_blocks} * status.f_frsize;
    space.available = std::uint64_t{status.f_bavail} * status.f_frsize;
    return eOsError_None;
}

} // namespace platform
