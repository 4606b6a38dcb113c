#pragma once

#include "platform/DirectoryWatch.h"
#include "platform/Export.h"
#include "platform/NameKind.h"
#include "platform/OsError.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Files and directories as the protocol needs them. Windows semantics are the reference; what each system does to keep
/// a contract is told in its source file. Every function is safe from any thread; one IFile belongs to one thread at a
/// time.
namespace platform {

/// Nanoseconds since 1970-01-01 UTC.
using FileTimeNs = std::int64_t;

struct SFileTimes {
    FileTimeNs created = 0;  ///< birth time; where the file system has none, the time of the last status change
    FileTimeNs modified = 0; ///< last write
};

struct SFileAttributes {
    bool isDirectory = false;
    std::uint64_t length = 0;
    SFileTimes times;
};

struct SDirectoryEntry {
    std::wstring name;
    bool isDirectory = false; ///< or, on POSIX, a link to one
    /// What the listing itself tells; Missing where the file system leaves that to a look at each.
    eNameKind kind = eNameKind_Missing;
};

/// Who owns a file, as the system numbers its users: for comparing, and for making files his. Empty for nobody.
using FileOwner = std::string;

enum eOpenMode {
    eOpenMode_ReadExclusive,   ///< read; fails with SharingViolation while anybody has it open exclusively, and keeps
                               ///< others out
    eOpenMode_ReadShared,      ///< read, and let others read and write; fails with SharingViolation only against an
                               ///< exclusive opener
    eOpenMode_WriteExclusive,  ///< create or replace the content; SharingViolation while another user of this layer has
                               ///< it open
    eOpenMode_CreateExclusive, ///< create; AlreadyExists when the path names anything, links included
};

/// An open file. Destroying it closes it and loses the result of the closing.
class IFile {
public:
    virtual ~IFile() = default;
    IFile(const IFile&) = delete;
    IFile& operator=(const IFile&) = delete;

    /// Reads up to buffer.size() bytes at the current position; read = 0 at the end of the file.
    virtual eOsError Read(std::span<std::byte> buffer, std::size_t& read) = 0;
    /// Writes all bytes at the current position, or fails.
    virtual eOsError Write(std::span<const std::byte> bytes) = 0;
    /// For a file opened for writing: goes on at this position, which is not beyond the end. What is before it stays.
    virtual eOsError Seek(std::uint64_t position) = 0;
    /// Length, kind and times of the file that is open, whatever its path names by now.
    virtual eOsError GetAttributes(SFileAttributes& attributes) = 0;
    /// Waits until the content written so far is on the storage device.
    virtual eOsError Sync() = 0;
    /// Ends the access. A file opened for writing ends at the current position after this, so that without a Seek it
    /// holds exactly what was written: what an earlier, longer content left behind is cut off. The result tells whether
    /// that worked; the file is closed in any case.
    virtual eOsError Close() = 0;

protected:
    IFile() = default;
};

/// A held lock file: open for writing, readable by others, deleted when this object ends or its process dies.
class ILockFile {
public:
    virtual ~ILockFile() = default;
    ILockFile(const ILockFile&) = delete;
    ILockFile& operator=(const ILockFile&) = delete;

protected:
    ILockFile() = default;
};

/// A directory that is open for the sync of its names.
class IDirectorySync {
public:
    virtual ~IDirectorySync() = default;
    IDirectorySync(const IDirectorySync&) = delete;
    IDirectorySync& operator=(const IDirectorySync&) = delete;

    /// Waits until the names in the directory are on the storage device. On Windows this does nothing beyond what a
    /// move with WriteThrough does: the system offers no flush of a directory.
    virtual eOsError Sync() = 0;

protected:
    IDirectorySync() = default;
};

enum eMoveFlag : unsigned {
    eMoveFlag_None = 0,
    eMoveFlag_ReplaceExisting = 1, ///< without it an existing target fails the move with AlreadyExists
    eMoveFlag_WriteThrough = 8,    ///< return only when the file's data and its new directory entry are on the device
};

class IFileSystem {
public:
    virtual ~IFileSystem() = default;

    /// One try. Never waits for other users of the file. A missing directory is PathNotFound; a directory is
    /// AccessDenied. Only ReadShared follows a symbolic link at the path's end; to the modes that keep others out it is
    /// LinkInTheWay.
    virtual eOsError Open(const std::wstring& path, eOpenMode mode, std::unique_ptr<IFile>& file) = 0;

    /// One try to create and hold a lock file with this content (informative; failing to write it is ignored). While it
    /// is held, ReadShared opens it and nothing else does. Another holder gives SharingViolation, and so may a reader.
    /// A file left behind by a holder that died is taken over. A symbolic link is LinkInTheWay.
    virtual eOsError OpenLockFile(const std::wstring& path, const std::string& content,
                                  std::unique_ptr<ILockFile>& lockFile) = 0;

    /// Moves a file within one volume (NotSameDevice otherwise). SharingViolation while anybody has it open, strangers
    /// included as far as the system can tell: on POSIX that takes the file's owner or a privileged process, for others
    /// only users of this layer are seen, as for all on NFS and SMB without the far server's promise, and a file that
    /// the process may neither read nor write is moved unchecked. A target that is to be replaced and is in use is
    /// AccessDenied. A move of a file onto itself is done, with nothing to do. Directories, and what is no file, are
    /// AccessDenied. NotDurable: the file was moved, but with WriteThrough its new name could not be synced. Any other
    /// failure means that nothing was moved.
    virtual eOsError Move(const std::wstring& from, const std::wstring& to, unsigned flags) = 0;

    /// Deletes a file, a read-only one like any other; SharingViolation as for Move. A directory is AccessDenied.
    virtual eOsError Remove(const std::wstring& path) = 0;

    virtual eOsError GetAttributes(const std::wstring& path, SFileAttributes& attributes) = 0;
    virtual eOsError MakeDirectory(const std::wstring& path) = 0;
    virtual eOsError RemoveEmptyDirectory(const std::wstring& path) = 0;

    /// Shows all entries but "." and "..", one at a time in the file system's own order, until the visitor is false.
    /// Those that come or go meanwhile may or may not be shown; the visitor may move and remove what it sees.
    using Visitor = std::function<bool(const SDirectoryEntry&)>;
    virtual eOsError Visit(const std::wstring& directory, const Visitor& visitor) = 0;
    /// All of them at once, for directories that others cannot fill.
    ZEL_FRAMEWORK_API eOsError List(const std::wstring& directory, std::vector<SDirectoryEntry>& entries);

    /// Owner of what the path names, of a link itself.
    virtual eOsError GetOwner(const std::wstring& path, FileOwner& owner) = 0;
    /// Takes a file of this process's user from everybody but him and this owner, who both may read and write it. A
    /// file with a second name, or of somebody else, is AccessDenied. NotSupported where the file system can't; see
    /// CanMakePrivate.
    virtual eOsError MakePrivate(const std::wstring& path, const FileOwner& owner) = 0;
    /// None when files of this directory can be made private for any user, else why not.
    virtual eOsError CanMakePrivate(const std::wstring& directory) = 0;
    /// Lets the owner of a directory read a file of ours that is going to be handed over to him, when it would not let
    /// him: on POSIX by an access list. Where there are none, or the owner is the superuser or we ourselves, the group
    /// of a directory in which a group may make files may read it. On Windows this does nothing: a file that is made in
    /// the directory has the directory's access list.
    virtual eOsError AllowReading(const std::wstring& path, const std::wstring& directory) = 0;

    virtual eOsError OpenForSync(const std::wstring& directory, std::unique_ptr<IDirectorySync>& sync) = 0;

    /// Waits until what anybody has written to a file is on the storage device; see SyncDirectory for its name.
    virtual eOsError SyncFile(const std::wstring& path) { return Move(path, path, eMoveFlag_WriteThrough); }

    /// When the file was last given its name, or changed in any other way: for one that nobody writes to, when it came
    /// to where it is. Of a link itself.
    virtual eOsError GetChangeTime(const std::wstring& path, FileTimeNs& time)
    {
        SFileAttributes attributes;
        const eOsError error = GetAttributes(path, attributes);
        time = attributes.times.modified;
        return error;
    }

    /// TooManyWatches when a limit of the system is reached.
    virtual eOsError Watch(const std::wstring& directory, eWatchFilter filter,
                           std::unique_ptr<IDirectoryWatch>& watch) = 0;
};

/// True when the path names an existing file or directory.
[[nodiscard]] ZEL_FRAMEWORK_API bool PathExists(const std::wstring& path);
/// True when the path, trailing separators aside, names a directory.
[[nodiscard]] ZEL_FRAMEWORK_API bool DirectoryExists(const std::wstring& path);
/// Waits until the names in a directory are on the storage device, as far as IDirectorySync does.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError SyncDirectory(const std::wstring& directory);
/// Reads a whole file of at most maxBytes (a longer one is NotSupported) through one open.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError ReadWholeFile(const std::wstring& path, eOpenMode mode, std::string& bytes,
                                                       std::size_t maxBytes);
/// Writes a whole file through one exclusive open.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError WriteWholeFile(const std::wstring& path, const std::string& bytes);

} // namespace platform
