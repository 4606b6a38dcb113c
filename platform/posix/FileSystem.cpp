#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/posix/DirectoryWatch.h"
#include "platform/posix/File.h"
#include "platform/posix/LockFile.h"
#include "platform/posix/Ownership.h"
#include "platform/posix/Renames.h"
#include "platform/posix/SystemError.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace platform {
namespace posix {
namespace {

/// A file that others are kept off. Lets go of it before it is closed: a child that is just being started may still
/// have a copy of the descriptor, with which lease and lock would live on.
class CHeldFile {
public:
    CHeldFile() = default;
    ~CHeldFile() { Reset(CDescriptor()); }
    CHeldFile(const CHeldFile&) = delete;
    CHeldFile& operator=(const CHeldFile&) = delete;

    void Reset(CDescriptor descriptor)
    {
        if (m_descriptor) {
            const int saved = errno;
            fcntl(m_descriptor.Get(), F_SETLEASE, F_UNLCK);
            flock(m_descriptor.Get(), LOCK_UN);
            errno = saved;
        }
        m_descriptor = std::move(descriptor);
    }
    [[nodiscard]] int Get() const { return m_descriptor.Get(); }
    [[nodiscard]] explicit operator bool() const { return static_cast<bool>(m_descriptor); }

private:
    CDescriptor m_descriptor;
};

/// Keeps everybody off an open file for as long as it is held. A write lease is given only while no other
/// descriptor of the file is open, in whatever process: that is what a failing move of an open file tells on Windows.
/// It takes the file's owner or a privileged process and a file system that knows leases; elsewhere the lock of the
/// users of this layer has to do.
eOsError Exclude(int descriptor)
{
    // Somebody who opens the file meanwhile makes the kernel send a signal. The usual one would end the process.
    fcntl(descriptor, F_SETSIG, SIGURG);
    if (fcntl(descriptor, F_SETLEASE, F_WRLCK) == 0) {
        return eOsError_None;
    }
    if (errno == EAGAIN) {
        return eOsError_SharingViolation;
    }
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 ? eOsError_None : LastOsError();
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

/// Opens the file that a path names and keeps others off it. None with an empty descriptor: see CheckUnopenable.
eOsError HoldFile(const CNativePath& path, CHeldFile& held)
{
    constexpr int flags = O_NONBLOCK | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW;
    for (int tries = 0; tries < kMaxOpenTries; ++tries) {
        held.Reset(CDescriptor(open(path.c_str(), flags | O_RDONLY)));
        if (!held && errno == EACCES) {
            held.Reset(CDescriptor(open(path.c_str(), flags | O_WRONLY)));
        }
        if (!held) {
            return CheckUnopenable(errno, path.c_str());
        }
        struct stat status = {};
        if (fstat(held.Get(), &status) != 0) {
            return LastOsError();
        }
        if (!S_ISREG(status.st_mode)) {
            return eOsError_AccessDenied;
        }
        if (const auto error = Exclude(held.Get()); error != eOsError_None) {
            return error;
        }
        if (StillNames(path.c_str(), status)) {
            return eOsError_None;
        }
    }
    return eOsError_SharingViolation;
}

eOsError SyncDirectoryOf(const CDescriptor& directory)
{
    // EINVAL: a file system whose directories need no sync, or have none.
    return fsync(directory.Get()) == 0 || errno == EINVAL ? eOsError_None : LastOsError();
}

class CDirectorySync final : public IDirectorySync {
public:
    explicit CDirectorySync(CDescriptor directory) : m_directory(std::move(directory)) {}
    eOsError Sync() override { return SyncDirectoryOf(m_directory); }

private:
    const CDescriptor m_directory;
};

/// Opens what the sync of a new name needs, before the move: what fails later can't be taken back.
eOsError OpenParentForSync(const CNativePath& to, CDescriptor& directory)
{
    directory.Reset(open(to.Parent().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // A directory that is missing is told by the move. One that may not be read is a drop box: see SyncNewName.
    const bool isToBeTold = !directory && errno != EACCES && errno != ENOENT && errno != ENOTDIR;
    return isToBeTold ? LastOsError() : eOsError_None;
}

/// Leaves the sync of a new name to the thread's CDeferredDirectorySync. Off again for a drop box, which can't be
/// opened for it: that is synced with the move.
eOsError PutOffSync(const CNativePath& to, bool& isPutOff)
{
    const auto error = CDeferredDirectorySync::Add(FromUtf8(to.Parent()));
    isPutOff = error != eOsError_AccessDenied;
    // A directory that is missing is told by the move.
    return isPutOff && !IsAbsent(error) && error != eOsError_NotADirectory ? error : eOsError_None;
}

/// Makes the new name of a moved file durable. The file is let go before the wait for the device: who is told of the
/// new name would find it held.
eOsError SyncNewName(const CDescriptor& directory, CHeldFile& moved)
{
    if (directory) {
        moved.Reset(CDescriptor());
        return Succeeded(SyncDirectoryOf(directory)) ? eOsError_None : eOsError_NotDurable;
    }
    // A drop box: one may put files in, but not look at it. The move changed the file's status, so the sync of that
    // brings the file system's journal to the device, and the new name with it.
    return moved && fsync(moved.Get()) == 0 ? eOsError_None : eOsError_NotDurable;
}

/// A target that is open is not replaced: access is denied, as it is on Windows.
eOsError HoldTarget(const CNativePath& to, CHeldFile& held)
{
    const auto error = HoldFile(to, held);
    if (IsAbsent(error)) {
        return eOsError_None;
    }
    return error == eOsError_SharingViolation ? eOsError_AccessDenied : error;
}

std::string_view LastName(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

/// True when both paths name the same entry of a directory; two names of one file are two entries.
bool IsSameEntry(const CNativePath& from, const CNativePath& to)
{
    struct stat directory = {};
    return LastName(from.c_str()) == LastName(to.c_str()) && stat(from.Parent().c_str(), &directory) == 0 &&
           StillNames(to.Parent().c_str(), directory);
}

eOsError MoveHeld(const CNativePath& from, const CNativePath& to, bool replace)
{
    // Nearly always there is nothing to replace, and then no target to hold.
    const int error = RenameNoReplace(from.c_str(), to.c_str());
    if (error == EEXIST && IsSameEntry(from, to)) {
        return eOsError_None;
    }
    if (error != EEXIST || !replace) {
        return error == 0 ? eOsError_None : PathError(error, to.c_str());
    }
    CHeldFile target;
    if (const auto held = HoldTarget(to, target); held != eOsError_None) {
        return held;
    }
    return rename(from.c_str(), to.c_str()) == 0 ? eOsError_None : PathError(errno, to.c_str());
}

bool IsDirectoryEntry(DIR* directory, const dirent& entry)
{
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK) {
        return entry.d_type == DT_DIR;
    }
    struct stat status = {};
    return fstatat(dirfd(directory), entry.d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
}

class CFileSystem final : public IFileSystem {
public:
    eOsError Open(const std::wstring& path, eOpenMode mode, std::unique_ptr<IFile>& file) override
    {
        const CNativePath native(path);
        const auto error = native.Check();
        return error != eOsError_None ? error : OpenFile(native, mode, file);
    }

    eOsError OpenLockFile(const std::wstring& path, const std::string& content,
                          std::unique_ptr<ILockFile>& lockFile) override
    {
        CNativePath native(path);
        const auto error = native.Check();
        return error != eOsError_None ? error : TakeLockFile(std::move(native), content, lockFile);
    }

    eOsError Move(const std::wstring& from, const std::wstring& to, unsigned flags) override
    {
        const CNativePath source(from);
        const CNativePath target(to);
        for (const CNativePath* path : {&source, &target}) {
            if (const auto error = path->Check(); error != eOsError_None) {
                return error;
            }
        }
        CHeldFile held;
        if (const auto error = HoldFile(source, held); error != eOsError_None) {
            return error;
        }
        const bool writeThrough = (flags & eMoveFlag_WriteThrough) != 0;
        bool isPutOff = writeThrough && CDeferredDirectorySync::IsActive();
        if (const auto error = isPutOff ? PutOffSync(target, isPutOff) : eOsError_None; error != eOsError_None) {
            return error;
        }
        const bool syncNow = writeThrough && !isPutOff;
        // The data first: a name must never be on the device before what it names.
        if (syncNow && held && fdatasync(held.Get()) != 0) {
            return LastOsError();
        }
        CDescriptor directory;
        if (const auto error = syncNow ? OpenParentForSync(target, directory) : eOsError_None; error != eOsError_None) {
            return error;
        }
        const auto moved = MoveHeld(source, target, (flags & eMoveFlag_ReplaceExisting) != 0);
        return moved == eOsError_None && syncNow ? SyncNewName(directory, held) : moved;
    }

    eOsError Remove(const std::wstring& path) override
    {
        const CNativePath native(path);
        if (const auto error = native.Check(); error != eOsError_None) {
            return error;
        }
        CHeldFile held;
        if (const auto error = HoldFile(native, held); error != eOsError_None) {
            return error;
        }
        return unlink(native.c_str()) == 0 ? eOsError_None : PathError(errno, native.c_str());
    }

    eOsError GetAttributes(const std::wstring& path, SFileAttributes& attributes) override
    {
        const CNativePath native(path);
        if (const auto error = native.Check(); error != eOsError_None) {
            return error;
        }
        return ReadAttributes(AT_FDCWD, native.c_str(), attributes) == 0 ? eOsError_None
                                                                         : PathError(errno, native.c_str());
    }

    eOsError MakeDirectory(const std::wstring& path) override
    {
        const CNativePath native(path);
        if (const auto error = native.Check(); error != eOsError_None) {
            return error;
        }
        if (mkdir(native.c_str(), 0777) == 0) {
            return eOsError_None;
        }
        return errno == ENOENT ? eOsError_PathNotFound : PathError(errno, native.c_str());
    }

    eOsError RemoveEmptyDirectory(const std::wstring& path) override
    {
        const CNativePath native(path);
        if (const auto error = native.Check(); error != eOsError_None) {
            return error;
        }
        if (rmdir(native.c_str()) == 0) {
            return eOsError_None;
        }
        switch (errno) {
        case EEXIST: return eOsError_DirectoryNotEmpty;
        case ENOTDIR: return DirectoryError(ENOTDIR, native.c_str());
        default: return PathError(errno, native.c_str());
        }
    }

    eOsError Visit(const std::wstring& directory, const Visitor& visitor) override
    {
        const CNativePath native(directory);
        if (const auto error = native.Check(); error != eOsError_None) {
            return error;
        }
        const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(native.c_str()), &closedir);
        if (stream == nullptr) {
            return DirectoryError(errno, native.c_str());
        }
        errno = 0;
        while (const dirent* const entry = readdir(stream.get())) {
            const bool isDots = std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0;
            if (!isDots && !visitor({FromUtf8(entry->d_name), IsDirectoryEntry(stream.get(), *entry)})) {
                return eOsError_None;
            }
            errno = 0;
        }
        return LastOsError();
    }

    eOsError GetOwner(const std::wstring& path, FileOwner& owner) override
    {
        const CNativePath native(path);
        const auto error = native.Check();
        return error != eOsError_None ? error : OwnerOf(native, owner);
    }

    eOsError MakePrivate(const std::wstring& path, const FileOwner& owner) override
    {
        const CNativePath native(path);
        const auto error = native.Check();
        return error != eOsError_None ? error : MakePathPrivate(native, owner);
    }

    eOsError CanMakePrivate(const std::wstring& directory) override
    {
        const CNativePath native(directory);
        const auto error = native.Check();
        return error != eOsError_None ? error : TryMakingPrivate(native);
    }

    eOsError AllowReading(const std::wstring& path, const std::wstring& directory) override
    {
        const CNativePath native(path);
        const CNativePath receiver(directory);
        if (const auto error = native.Check(); error != eOsError_None) {
            return error;
        }
        const auto error = receiver.Check();
        return error != eOsError_None ? error : AllowOwnerToRead(native, receiver);
    }

    eOsError OpenForSync(const std::wstring& directory, std::unique_ptr<IDirectorySync>& sync) override
    {
        const CNativePath native(directory);
        if (const auto error = native.Check(); error != eOsError_None) {
            return error;
        }
        CDescriptor opened(open(native.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!opened) {
            return DirectoryError(errno, native.c_str());
        }
        sync = std::make_unique<CDirectorySync>(std::move(opened));
        return eOsError_None;
    }

    eOsError Watch(const std::wstring& directory, eWatchFilter filter, std::unique_ptr<IDirectoryWatch>& watch) override
    {
        CNativePath native(directory);
        const auto error = native.Check();
        return error != eOsError_None ? error : WatchDirectory(std::move(native), filter, watch);
    }
};

} // namespace
} // namespace posix

IFileSystem& SystemFiles()
{
    static posix::CFileSystem files;
    return files;
}

} // namespace platform
