#include "platform/NameKind.h"

#include "platform/posix/NativePath.h"
#include "platform/posix/SystemError.h"

#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

eNameKind KindOf(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG: return eNameKind_File;
    case S_IFDIR: return eNameKind_Directory;
    case S_IFLNK: return eNameKind_Link;
    default: return eNameKind_Other;
    }
}

} // namespace

eNameKind NameKind(const std::wstring& path)
{
    const posix::CNativePath native(path);
    struct stat status = {};
    const bool known = Succeeded(native.Check()) && lstat(native.c_str(), &status) == 0;
    return known ? KindOf(status.st_mode) : eNameKind_Missing;
}

bool HasSeveralNames(const std::wstring& path)
{
    const posix::CNativePath native(path);
    struct stat status = {};
    return Succeeded(native.Check()) && lstat(native.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_nlink > 1;
}

eOsError CheckOwnDirectory(const std::wstring& path)
{
    const posix::CNativePath native(path);
    if (const eOsError error = native.Check(); !Succeeded(error))
        return error;
    struct stat status = {};
    if (lstat(native.c_str(), &status) != 0)
        return posix::PathError(errno, native.c_str());
    switch (KindOf(status.st_mode)) {
    case eNameKind_Directory: break;
    case eNameKind_Link: return eOsError_LinkInTheWay;
    default: return eOsError_NotADirectory;
    }
    // Where a file system knows no owners, all is root's or the one user's for whom it was mounted.
    return status.st_uid == geteuid() || status.st_uid == 0 ? eOsError_None : eOsError_ForeignOwner;
}

} // namespace platform
