#include "platform/DeferredSync.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/simulation/OpenFile.h"
#include "tests/simulation/Watch.h"
#include "tests/simulation/World.h"

#include <algorithm>

namespace sim {
namespace {

using platform::eOsError;

/// The file that a path names, or why there is none.
eOsError Find(const std::wstring& path, FilePtr& file)
{
    const CDisk& disk = CWorld::Current()->m_disk;
    if (disk.HasDirectory(path))
        return platform::eOsError_AccessDenied;
    if (!disk.HasDirectory(platform::DirectoryOf(path)))
        return platform::eOsError_PathNotFound;
    file = disk.Find(path);
    return file ? platform::eOsError_None : platform::eOsError_FileNotFound;
}

class CDirectorySync final : public platform::IDirectorySync {
public:
    explicit CDirectorySync(std::wstring directory) : m_directory(std::move(directory)) {}
    eOsError Sync() override
    {
        CWorld& world = *CWorld::Current();
        if (const eOsError error = world.Enter("sync names", m_directory); !platform::Succeeded(error))
            return error;
        if (world.m_settings.manner == eManner_Linux && !world.IsPlanted(ePlanted_NamesNotSynced))
            world.m_disk.SyncNames(m_directory);
        return platform::eOsError_None;
    }

private:
    const std::wstring m_directory;
};

class CFiles final : public platform::IFileSystem {
public:
    eOsError Open(const std::wstring& path, platform::eOpenMode mode, std::unique_ptr<platform::IFile>& file) override
    {
        const eOsError error = Enter("open", path);
        return platform::Succeeded(error) ? OpenFile(path, mode, file) : error;
    }

    eOsError OpenLockFile(const std::wstring& path, const std::string& content,
                          std::unique_ptr<platform::ILockFile>& lockFile) override
    {
        const eOsError error = Enter("lock", path);
        return platform::Succeeded(error) ? TakeLockFile(path, content, lockFile) : error;
    }

    /// In steps, as both systems do it: the file is held, and somebody may come, or die, between them.
    eOsError Move(const std::wstring& from, const std::wstring& to, unsigned flags) override
    {
        if (const eOsError error = Enter("move", from + L" to " + to); !platform::Succeeded(error))
            return error;
        FilePtr file;
        if (const eOsError error = Find(from, file); !platform::Succeeded(error))
            return error;
        if (!file->holders.empty())
            return platform::eOsError_SharingViolation;
        const CHold hold(file, eHold_Alone);
        const bool writeThrough = (flags & platform::eMoveFlag_WriteThrough) != 0;
        const bool isPutOff = writeThrough && platform::CDeferredDirectorySync::IsActive();
        if (isPutOff) {
            const eOsError error = platform::CDeferredDirectorySync::Add(platform::DirectoryOf(to));
            if (!platform::Succeeded(error) && !platform::IsAbsent(error))
                return error;
        } else if (writeThrough) {
            if (const eOsError error = SyncContent(*file, from); !platform::Succeeded(error))
                return error;
        }
        const eOsError moved = MoveHeld(from, to, flags);
        return platform::Succeeded(moved) && writeThrough ? SyncNewName(to, isPutOff) : moved;
    }

    eOsError Remove(const std::wstring& path) override
    {
        if (const eOsError error = Enter("remove", path); !platform::Succeeded(error))
            return error;
        FilePtr file;
        if (const eOsError error = Find(path, file); !platform::Succeeded(error))
            return error;
        if (!file->holders.empty())
            return platform::eOsError_SharingViolation;
        if (!World().IsPlantedNow(ePlanted_RemovalUndone))
            World().m_disk.Remove(path);
        return platform::eOsError_None;
    }

    eOsError GetAttributes(const std::wstring& path, platform::SFileAttributes& attributes) override
    {
        if (const eOsError error = Enter("attributes", path); !platform::Succeeded(error))
            return error;
        attributes = {};
        if (World().m_disk.HasDirectory(path)) {
            attributes.isDirectory = true;
            attributes.times.modified = World().m_disk.TimeOf(path);
            return platform::eOsError_None;
        }
        FilePtr file;
        const eOsError error = Find(path, file);
        if (platform::Succeeded(error))
            attributes = AttributesOf(*file);
        return error;
    }

    eOsError GetChangeTime(const std::wstring& path, platform::FileTimeNs& time) override
    {
        if (const eOsError error = Enter("change time", path); !platform::Succeeded(error))
            return error;
        FilePtr file;
        const eOsError error = Find(path, file);
        if (platform::Succeeded(error))
            time = file->changed;
        return error;
    }

    eOsError MakeDirectory(const std::wstring& path) override
    {
        if (const eOsError error = Enter("make directory", path); !platform::Succeeded(error))
            return error;
        if (World().m_disk.HasDirectory(path) || World().m_disk.Find(path))
            return platform::eOsError_AlreadyExists;
        World().m_disk.MakeDirectory(path);
        return platform::eOsError_None;
    }

    eOsError RemoveEmptyDirectory(const std::wstring& path) override
    {
        if (const eOsError error = Enter("remove directory", path); !platform::Succeeded(error))
            return error;
        if (!World().m_disk.HasDirectory(path))
            return platform::eOsError_FileNotFound;
        return World().m_disk.RemoveDirectory(path) ? platform::eOsError_None : platform::eOsError_DirectoryNotEmpty;
    }

    eOsError Visit(const std::wstring& directory, const Visitor& visitor) override
    {
        if (const eOsError error = Enter("list", directory); !platform::Succeeded(error))
            return error;
        if (!World().m_disk.HasDirectory(directory))
            return platform::eOsError_PathNotFound;
        for (const platform::SDirectoryEntry& entry : World().m_disk.List(directory)) {
            if (!World().IsPlantedNow(ePlanted_HiddenName) && !visitor(entry))
                break;
        }
        return platform::eOsError_None;
    }

    /// All files are of one user.
    eOsError GetOwner(const std::wstring& path, platform::FileOwner& owner) override
    {
        owner = "user";
        return Enter("owner", path);
    }
    eOsError MakePrivate(const std::wstring& path, const platform::FileOwner& /*owner*/) override
    {
        return Enter("make private", path);
    }
    eOsError CanMakePrivate(const std::wstring& directory) override { return Enter("can make private", directory); }
    eOsError AllowReading(const std::wstring& path, const std::wstring& /*directory*/) override
    {
        return Enter("allow reading", path);
    }

    eOsError OpenForSync(const std::wstring& directory, std::unique_ptr<platform::IDirectorySync>& sync) override
    {
        if (const eOsError error = Enter("open for sync", directory); !platform::Succeeded(error))
            return error;
        if (!World().m_disk.HasDirectory(directory))
            return platform::eOsError_PathNotFound;
        sync = std::make_unique<CDirectorySync>(directory);
        return platform::eOsError_None;
    }

    eOsError Watch(const std::wstring& directory, platform::eWatchFilter filter,
                   std::unique_ptr<platform::IDirectoryWatch>& watch) override
    {
        const eOsError error = Enter("watch", directory);
        return platform::Succeeded(error) ? WatchDirectory(directory, filter, watch) : error;
    }

private:
    static CWorld& World() { return *CWorld::Current(); }
    /// Where no history runs there is nothing.
    static eOsError Enter(const char* call, const std::wstring& path)
    {
        return CWorld::Current() != nullptr ? World().Enter(call, path) : platform::eOsError_PathNotFound;
    }

    static eOsError SyncContent(SFile& file, const std::wstring& path)
    {
        const eOsError error = Enter("sync", path);
        if (platform::Succeeded(error) && !World().IsPlanted(ePlanted_FileNotSynced))
            World().m_disk.SyncFile(file);
        return error;
    }

    static eOsError MoveHeld(const std::wstring& from, const std::wstring& to, unsigned flags)
    {
        if (const eOsError error = Enter("rename", to); !platform::Succeeded(error))
            return World().IsPlanted(ePlanted_FailureHidden) ? platform::eOsError_None : error;
        FilePtr target;
        const eOsError found = Find(to, target);
        if (from == to || (!platform::Succeeded(found) && found != platform::eOsError_FileNotFound))
            return found;
        if (target && (flags & platform::eMoveFlag_ReplaceExisting) == 0)
            return platform::eOsError_AlreadyExists;
        if (target && !target->holders.empty())
            return platform::eOsError_AccessDenied;
        if (World().IsPlantedNow(ePlanted_MoveInParts)) {
            const FilePtr made = World().m_disk.Create(to);
            static_cast<void>(Enter("copy", to));
            made->content = World().m_disk.Find(from)->content;
            World().m_disk.Remove(from);
            return platform::eOsError_None;
        }
        World().m_disk.Rename(from, to);
        if (World().IsPlantedNow(ePlanted_MoveCopies))
            World().m_disk.Create(from)->content = World().m_disk.Find(to)->content;
        return platform::eOsError_None;
    }

    /// On Windows the move writes the name through, whoever wants to sync later.
    static eOsError SyncNewName(const std::wstring& to, bool isPutOff)
    {
        const bool isWindows = World().m_settings.manner == eManner_Windows;
        if (isPutOff && !isWindows)
            return platform::eOsError_None;
        if (!isWindows && !platform::Succeeded(Enter("sync names after the move", to)))
            return platform::eOsError_NotDurable;
        if (!World().IsPlanted(ePlanted_NamesNotSynced))
            World().m_disk.SyncNames(platform::DirectoryOf(to));
        return platform::eOsError_None;
    }
};

} // namespace
} // namespace sim

platform::IFileSystem& platform::SystemFiles()
{
    static sim::CFiles files;
    return files;
}
