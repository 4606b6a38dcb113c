#include "platform/FileSystem.h"

#include "platform/NeverDestroyed.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/posix/DirectorySync.h"
#include "platform/posix/DirectoryWatch.h"
#include "platform/posix/File.h"
#include "platform/posix/HeldFile.h"
#include "platform/posix/LockFile.h"
#include "platform/posix/Move.h"
#include "platform/posix/Ownership.h"
#include "platform/posix/SystemError.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace posix {
namespace {

bool IsDirectoryEntry(DIR* directory, const dirent& entry)
{
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK) {
        return entry.d_type == DT_DIR;
    }
    struct stat status = {};
    return fstatat(dirfd(directory), entry.d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
}

/// Without a call of the system for each, which is most of what a look at a full directory would cost.
eNameKind KindOf(const dirent& entry)
{
    switch (entry.d_type) {
    case DT_REG: return eNameKind_File;
    case DT_DIR: return eNameKind_Directory;
    case DT_LNK: return eNameKind_Link;
    case DT_UNKNOWN: return eNameKind_Missing;
    default: return eNameKind_Other;
    }
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
        return MovePath(source, target, flags);
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

    eOsError SyncFile(const std::wstring& path) override
    {
        const CNativePath native(path);
        const auto error = native.Check();
        return error != eOsError_None ? error : SyncFileAt(native);
    }

    eOsError GetChangeTime(const std::wstring& path, FileTimeNs& time) override
    {
        const CNativePath native(path);
        const auto error = native.Check();
        return error != eOsError_None ? error : ReadChangeTime(native, time);
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
            if (!isDots &&
                !visitor({FromUtf8(entry->d_name), IsDirectoryEntry(stream.get(), *entry), KindOf(*entry)})) {
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
        return OpenDirectoryForSync(native, sync);
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
    static CNeverDestroyed<posix::CFileSystem> files;
    return files.Get();
}

} // namespace platform
