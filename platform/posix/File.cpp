#include "platform/posix/File.h"

#include "platform/PrivateFiles.h"
#include "platform/posix/FileLock.h"
#include "platform/posix/Ownership.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

// Share modes: an advisory lock on the whole file, which ends with its descriptor whatever happens to the process, is
// what an open handle with a share mode is on Windows. Strangers that open without a lock are not kept out, as no call
// here can.
//
// A writer neither truncates nor replaces the file when it opens it, but cuts the length when it closes, and only when
// the content got shorter: on a journaled ext4 a rewrite then costs 11 microseconds, with an unconditional cut 13, with
// O_TRUNC or with a new file moved over the old one 50 to 72, because the file system writes the data back at once in
// those cases.
//
// O_NONBLOCK is there for what is no file: opening a named pipe must not wait for its other end. Against a lease of a
// mover (see FileSystem.cpp) it gives "busy" at once, too.
//
// O_NOFOLLOW is there for whoever may create names in a directory of ours: with a link he would choose which file of
// this process's user is overwritten, or locked.

namespace platform::posix {
namespace {

FileTimeNs ToFileTime(const statx_timestamp& time)
{
    return static_cast<FileTimeNs>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

class CFile final : public IFile {
public:
    CFile(CDescriptor descriptor, bool writable, off_t length)
        : m_writable(writable), m_length(length), m_descriptor(std::move(descriptor))
    {}
    ~CFile() override { static_cast<void>(End()); }

    eOsError Read(std::span<std::byte> buffer, std::size_t& read) override
    {
        read = 0;
        const ssize_t got = Uninterrupted([&] { return ::read(m_descriptor.Get(), buffer.data(), buffer.size()); });
        if (got < 0) {
            return LastOsError();
        }
        read = static_cast<std::size_t>(got);
        return eOsError_None;
    }

    eOsError Write(std::span<const std::byte> bytes) override
    {
        while (!bytes.empty()) {
            const ssize_t put = Uninterrupted([&] { return ::write(m_descriptor.Get(), bytes.data(), bytes.size()); });
            if (put <= 0) {
                return put < 0 ? LastOsError() : eOsError_IoError;
            }
            m_position += put;
            m_length = std::max(m_length, m_position);
            bytes = bytes.subspan(static_cast<std::size_t>(put));
        }
        return eOsError_None;
    }

    eOsError Seek(std::uint64_t position) override
    {
        const auto offset = static_cast<off_t>(position);
        if (lseek(m_descriptor.Get(), offset, SEEK_SET) != offset) {
            return LastOsError();
        }
        m_position = offset;
        return eOsError_None;
    }

    eOsError GetAttributes(SFileAttributes& attributes) override
    {
        return ReadAttributes(m_descriptor.Get(), "", attributes) == 0 ? eOsError_None : LastOsError();
    }

    eOsError Sync() override
    {
        const auto cut = CutLength();
        if (cut != eOsError_None) {
            return cut;
        }
        return fdatasync(m_descriptor.Get()) == 0 ? eOsError_None : LastOsError();
    }

    eOsError Close() override { return End(); }

private:
    /// Removes what an earlier, longer content left behind what was written.
    eOsError CutLength()
    {
        if (!m_writable || m_position >= m_length) {
            return eOsError_None;
        }
        if (Uninterrupted([&] { return ftruncate(m_descriptor.Get(), m_position); }) != 0) {
            return LastOsError();
        }
        m_length = m_position;
        return eOsError_None;
    }

    eOsError End()
    {
        if (!m_descriptor) {
            return eOsError_None;
        }
        const auto cut = CutLength();
        // Before closing: the close is what wakes a watcher, which would find the file still locked.
        flock(m_descriptor.Get(), LOCK_UN);
        const bool closed = close(m_descriptor.Release()) == 0 || errno == EINTR;
        const auto result = closed ? eOsError_None : LastOsError();
        return cut != eOsError_None ? cut : result;
    }

    const bool m_writable;
    off_t m_length; // of what is on disk
    off_t m_position = 0;
    CDescriptor m_descriptor;
};

int OpenFlags(eOpenMode mode)
{
    constexpr int always = O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    switch (mode) {
    case eOpenMode_ReadShared: return always | O_RDONLY;
    case eOpenMode_WriteExclusive:
    case eOpenMode_CreateExclusive: return always | O_WRONLY | O_NOFOLLOW;
    case eOpenMode_ReadExclusive: break;
    }
    return always | O_RDONLY | O_NOFOLLOW;
}

/// Creates a file that is locked before anybody can see it: a reader would find it empty otherwise, and take that for
/// its content. Empty, with errno, when the path names something by now or the file system can't do it.
CDescriptor CreateLocked(const CNativePath& path)
{
    constexpr int flags = O_TMPFILE | O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    const FileOwner* const owner = CPrivateFiles::Current();
    CDescriptor descriptor(
        Uninterrupted([&] { return open(path.Parent().c_str(), flags, owner != nullptr ? 0600 : 0666); }));
    if (!descriptor || (owner != nullptr && SetPrivate(descriptor.Get(), *owner) != 0) ||
        flock(descriptor.Get(), LOCK_EX | LOCK_NB) != 0) {
        return {};
    }
    const std::string anonymous = "/proc/self/fd/" + std::to_string(descriptor.Get());
    if (linkat(AT_FDCWD, anonymous.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) != 0) {
        return {};
    }
    return descriptor;
}

/// The way of a file system without nameless files: a reader may be faster than the lock and find the file empty.
CDescriptor CreateNamed(const CNativePath& path)
{
    const int flags = OpenFlags(eOpenMode_CreateExclusive) | O_CREAT | O_EXCL;
    const FileOwner* const owner = CPrivateFiles::Current();
    CDescriptor descriptor(open(path.c_str(), flags, owner != nullptr ? 0600 : 0666));
    if (descriptor && owner != nullptr && SetPrivate(descriptor.Get(), *owner) != 0) {
        const int error = errno;
        unlink(path.c_str());
        errno = error;
        return {};
    }
    return descriptor;
}

/// True when the file is for others as well, although this thread's files are private.
bool IsTooOpen(int descriptor, const struct stat& status)
{
    const FileOwner* const owner = CPrivateFiles::Current();
    return owner != nullptr && !IsPrivate(descriptor, status, *owner);
}

eOsError CreateNew(const CNativePath& path, std::unique_ptr<IFile>& file)
{
    CDescriptor descriptor = CreateLocked(path);
    if (!descriptor && errno != EEXIST) {
        descriptor = CreateNamed(path);
        if (descriptor) {
            // A reader that was faster than the lock keeps nobody from writing.
            static_cast<void>(flock(descriptor.Get(), LOCK_EX | LOCK_NB));
        }
    }
    if (!descriptor) {
        return PathError(errno, path.c_str());
    }
    file = std::make_unique<CFile>(std::move(descriptor), true, 0);
    return eOsError_None;
}

} // namespace

eOsError OpenFile(const CNativePath& path, eOpenMode mode, std::unique_ptr<IFile>& file)
{
    if (mode == eOpenMode_CreateExclusive) {
        return CreateNew(path, file);
    }
    for (int tries = 0; tries < kMaxOpenTries; ++tries) {
        CDescriptor descriptor(Uninterrupted([&] { return open(path.c_str(), OpenFlags(mode)); }));
        if (!descriptor && errno == ENOENT && mode == eOpenMode_WriteExclusive) {
            if (CDescriptor made = CreateLocked(path)) {
                file = std::make_unique<CFile>(std::move(made), true, 0);
                return eOsError_None;
            }
            if (errno == EEXIST) {
                continue; // somebody else was faster
            }
            descriptor = CreateNamed(path);
            if (!descriptor && errno == EEXIST) {
                continue;
            }
        }
        if (!descriptor) {
            return PathError(errno, path.c_str());
        }
        const bool isLocked = mode == eOpenMode_ReadShared ? flock(descriptor.Get(), LOCK_SH | LOCK_NB) == 0
                                                           : LockForOne(descriptor) == 0;
        if (!isLocked) {
            return LastOsError();
        }
        struct stat status = {};
        if (fstat(descriptor.Get(), &status) != 0) {
            return LastOsError();
        }
        if (!S_ISREG(status.st_mode)) {
            return eOsError_AccessDenied;
        }
        // Between open and lock the file may have been moved away or deleted: then the lock is on a file that is
        // nobody's.
        if (!StillNames(path.c_str(), status)) {
            continue;
        }
        if (mode != eOpenMode_WriteExclusive || !IsTooOpen(descriptor.Get(), status)) {
            file = std::make_unique<CFile>(std::move(descriptor), mode == eOpenMode_WriteExclusive, status.st_size);
            return eOsError_None;
        }
        // Made anew, not changed: who has it open already would read what is written now.
        if (unlink(path.c_str()) != 0 && errno != ENOENT) {
            return LastOsError();
        }
    }
    return eOsError_SharingViolation;
}

int ReadAttributes(int descriptor, const char* path, SFileAttributes& attributes)
{
    struct statx status = {};
    const int flags = *path == '\0' ? AT_EMPTY_PATH : 0;
    if (statx(descriptor, path, flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
        return -1;
    }
    attributes.isDirectory = S_ISDIR(status.stx_mode);
    attributes.length = attributes.isDirectory ? 0 : status.stx_size;
    attributes.times.modified = ToFileTime(status.stx_mtime);
    attributes.times.created = ToFileTime((status.stx_mask & STATX_BTIME) != 0 ? status.stx_btime : status.stx_ctime);
    return 0;
}

eOsError SyncFileAt(const CNativePath& path)
{
    const CDescriptor descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW));
    if (!descriptor) {
        return PathError(errno, path.c_str());
    }
    return fdatasync(descriptor.Get()) == 0 ? eOsError_None : LastOsError();
}

eOsError ReadChangeTime(const CNativePath& path, FileTimeNs& time)
{
    struct statx status = {};
    if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_CTIME, &status) != 0) {
        return PathError(errno, path.c_str());
    }
    time = ToFileTime(status.stx_ctime);
    return eOsError_None;
}

bool StillNames(const char* path, const struct stat& status)
{
    struct stat now = {};
    return stat(path, &now) == 0 && now.st_ino == status.st_ino && now.st_dev == status.st_dev;
}

} // namespace platform::posix
