#include "platform/posix/LockFile.h"

#include "platform/posix/File.h"
#include "platform/posix/SystemError.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

// What holds is the lock on the file, not its existence: the file of a holder that was killed is unlocked, and whoever
// comes next takes it over. To take it is to lock it exclusively for a moment, in which the note is written; held is a
// shared lock, which keeps out everybody who wants it for himself and lets those in who read and share. The step from
// one to the other gives the first up before it gets the second: who is overtaken in between finds the file busy, and
// has not been the holder.

namespace platform::posix {
namespace {

class CLockFile final : public ILockFile {
public:
    CLockFile(CNativePath path, CDescriptor descriptor, const struct stat& status)
        : m_path(std::move(path)), m_status(status), m_descriptor(std::move(descriptor))
    {}

    ~CLockFile() override
    {
        // Under the lock, or the next holder's file would be deleted. The same when somebody deleted ours by hand.
        if (StillNames(m_path.c_str(), m_status)) {
            unlink(m_path.c_str());
        }
        // A child that is just being started may still have a copy of the descriptor: closing ours would not unlock.
        flock(m_descriptor.Get(), LOCK_UN);
    }

private:
    const CNativePath m_path;
    const struct stat m_status;
    const CDescriptor m_descriptor;
};

CDescriptor OpenForLock(const char* path)
{
    constexpr int flags = O_NONBLOCK | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW;
    CDescriptor descriptor(Uninterrupted([&] { return open(path, flags | O_RDWR | O_CREAT, 0666); }));
    if (!descriptor && errno == EACCES) {
        // Another user's file: it can't be written, but locked all the same, which is what tells busy from left behind.
        descriptor.Reset(open(path, flags | O_RDONLY));
        if (!descriptor && errno == ENOENT) {
            errno = EACCES;
        }
    }
    return descriptor;
}

/// Whoever may not open the file can't see that it is locked, and the mask of this process may keep everybody out.
void LetOthersLook(int descriptor, const struct stat& status)
{
    constexpr mode_t readable = S_IRUSR | S_IRGRP | S_IROTH;
    if (status.st_uid == geteuid() && (status.st_mode & readable) != readable &&
        fchmod(descriptor, (status.st_mode & ALLPERMS) | readable) != 0) {
        return;
    }
}

/// A note for people. Nobody parses it, and the lock is held without it.
void WriteNote(int descriptor, const std::string& content, off_t oldLength)
{
    const ssize_t written = pwrite(descriptor, content.data(), content.size(), 0);
    if (written >= 0 && written < oldLength && ftruncate(descriptor, written) != 0) {
        return;
    }
}

} // namespace

eOsError TakeLockFile(CNativePath path, const std::string& content, std::unique_ptr<ILockFile>& lockFile)
{
    for (int tries = 0; tries < kMaxOpenTries; ++tries) {
        CDescriptor descriptor = OpenForLock(path.c_str());
        if (!descriptor) {
            return PathError(errno, path.c_str());
        }
        if (flock(descriptor.Get(), LOCK_EX | LOCK_NB) != 0) {
            // NFS locks for one alone only what may be written, so another user's file cannot be told from one left
            // behind.
            return errno == EBADF ? eOsError_AccessDenied : LastOsError();
        }
        struct stat status = {};
        if (fstat(descriptor.Get(), &status) != 0) {
            return LastOsError();
        }
        if (!S_ISREG(status.st_mode)) {
            return eOsError_AccessDenied;
        }
        // The holder before us may have deleted the file after we opened it: then our lock is on a file without a name.
        if (StillNames(path.c_str(), status)) {
            LetOthersLook(descriptor.Get(), status);
            WriteNote(descriptor.Get(), content, status.st_size);
            if (flock(descriptor.Get(), LOCK_SH | LOCK_NB) != 0) {
                return LastOsError();
            }
            // The change of the lock is no single step: somebody may have held and deleted the file in between.
            if (!StillNames(path.c_str(), status)) {
                continue;
            }
            lockFile = std::make_unique<CLockFile>(std::move(path), std::move(descriptor), status);
            return eOsError_None;
        }
    }
    return eOsError_SharingViolation;
}

} // namespace platform::posix
