#include "platform/posix/HeldFile.h"

#include "platform/posix/File.h"
#include "platform/posix/FileLock.h"
#include "platform/posix/FileSystemTypes.h"
#include "platform/posix/SystemError.h"

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/vfs.h>
#include <utility>

namespace platform::posix {
namespace {

/// True where a lease takes a promise of another machine that nobody else has the file: a delegation, an oplock.
/// Without one it is refused with the words for a file in use, and that says nothing.
bool IsLeaseAPromise(const CDescriptor& descriptor)
{
    struct statfs status = {};
    const auto type = fstatfs(descriptor.Get(), &status) == 0 ? static_cast<std::uint32_t>(status.f_type) : 0U;
    return type == kNfs || type == kSmb || type == kCifs || type == kSmb2;
}

/// Keeps everybody off an open file for as long as it is held. A write lease is given only while no other
/// descriptor of the file is open, in whatever process: that is what a failing move of an open file tells on Windows.
/// It takes the file's owner or a privileged process and a file system that knows leases; elsewhere the lock of the
/// users of this layer has to do.
eOsError Exclude(CDescriptor& descriptor)
{
    // Somebody who opens the file meanwhile makes the kernel send a signal. The usual one would end the process.
    fcntl(descriptor.Get(), F_SETSIG, SIGURG);
    if (fcntl(descriptor.Get(), F_SETLEASE, F_WRLCK) == 0) {
        return eOsError_None;
    }
    if (errno == EAGAIN && !IsLeaseAPromise(descriptor)) {
        return eOsError_SharingViolation;
    }
    return LockForOne(descriptor) == 0 ? eOsError_None : LastOsError();
}

/// For what cannot be opened: a link, or a file that we may neither read nor write. Nothing can be held then and
/// nothing be found out about other users, but renaming and deleting are the directory's business.
eOsError CheckUnopenable(int error, const char* path)
{
    struct stat status = {};
    if ((error != ELOOP && error != EACCES) || lstat(path, &status) != 0) {
        return PathError(error, path);
    }
    if (S_ISLNK(status.st_mode)) {
        return stat(path, &status) == 0 && S_ISDIR(status.st_mode) ? eOsError_AccessDenied : eOsError_None;
    }
    return S_ISREG(status.st_mode) ? eOsError_None : eOsError_AccessDenied;
}

} // namespace

void CHeldFile::Reset(CDescriptor descriptor)
{
    if (m_descriptor) {
        const int saved = errno;
        fcntl(m_descriptor.Get(), F_SETLEASE, F_UNLCK);
        flock(m_descriptor.Get(), LOCK_UN);
        errno = saved;
    }
    m_descriptor = std::move(descriptor);
}

eOsError HoldFile(const CNativePath& path, CHeldFile& held)
{
    constexpr int flags = O_NONBLOCK | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW;
    for (int tries = 0; tries < kMaxOpenTries; ++tries) {
        CDescriptor opened(open(path.c_str(), flags | O_RDONLY));
        if (!opened && errno == EACCES) {
            opened.Reset(open(path.c_str(), flags | O_WRONLY));
        }
        held.Reset(CDescriptor());
        if (!opened) {
            return CheckUnopenable(errno, path.c_str());
        }
        struct stat status = {};
        if (fstat(opened.Get(), &status) != 0) {
            return LastOsError();
        }
        if (!S_ISREG(status.st_mode)) {
            return eOsError_AccessDenied;
        }
        if (const auto error = Exclude(opened); error != eOsError_None) {
            return error;
        }
        held.Reset(std::move(opened));
        if (StillNames(path.c_str(), status)) {
            return eOsError_None;
        }
    }
    return eOsError_SharingViolation;
}

} // namespace platform::posix
