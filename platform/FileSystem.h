#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <chrono>
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
    bool isDirectory = false;
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
    /// Length, kind and times of the file that is open, whatever its path names by now.
    virtual eOsError GetAttributes(SFileAttributes& attributes) = 0;
    /// Waits until the content written so far is on the storage device.
    virtual eOsError Sync() = 0;
    /// Ends the access. A file opened for writing holds exactly what was written after this: what an earlier, longer
    /// content left behind is cut off. The result tells whether that worked; the file is closed in any case.
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

enum eWatchFilter : unsigned {
    eWatchFilter_FileName = 1,             ///< names created, removed, moved in or out, renamed
    eWatchFilter_FileNameAndLastWrite = 9, ///< and contents changed
    eWatchFilter_FileNameGone = 65,        ///< names removed or moved out; on Windows, which can't tell, as FileName
};

enum eWaitResult { eWaitResult_Changed, eWaitResult_Timeout, eWaitResult_Woken, eWaitResult_Failed };

/// Watches one directory, not what lies below it. A change is remembered from the moment the watch was made: nothing is
/// lost between two waits. Changes are hints, possibly merged and possibly caused by the watcher itself; the directory
/// is the truth.
class IDirectoryWatch {
public:
    virtual ~IDirectoryWatch() = default;
    IDirectoryWatch(const IDirectoryWatch&) = delete;
    IDirectoryWatch& operator=(const IDirectoryWatch&) = delete;

    /// Waits until something changed, Wake was called, or the time is over. An overflow of the system's queue is a
    /// change. After Changed, Rearm must be called before the next wait; a change stays signalled until then. A failure
    /// of the system's wait is Failed, at once: callers must not loop on it without a pause.
    virtual eWaitResult Wait(std::chrono::milliseconds timeout) = 0;
    /// Takes the signalled change and goes on watching. Fails when the directory is gone; call it again to try again,
    /// for a directory that came back is then watched anew. Until that, Wait is Failed, or Woken.
    virtual eOsError Rearm() = 0;
    /// Ends the current or the next Wait with Woken, once. From any thread, and safe in a signal handler on POSIX.
    virtual void Wake() = 0;

protected:
    IDirectoryWatch() = default;
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
    /// only users of this layer are seen, and a file that the process may neither read nor write is moved unchecked. A
    /// target that is to be replaced and is in use is AccessDenied. A move of a file onto itself is done, with nothing
    /// to do. Directories, and what is no file, are AccessDenied. NotDurable: the file was moved, but with WriteThrough
    /// its new name could not be synced. Any other failure means that nothing was moved.
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
    /// him. On Windows this does nothing: a file that is made in the directory has the directory's access list.
    virtual eOsError AllowReading(const std::wstring& path, const std::wstring& directory) = 0;

    virtual eOsError OpenForSync(const std::wstring& directory, std::unique_ptr<IDirectorySync>& sync) = 0;

    /// TooManyWatches when a limit of the system is reached.
    virtual eOsError Watch(const std::wstring& directory, eWatchFilter filter,
                           std::unique_ptr<IDirectoryWatch>& watch) = 0;
};

/// Puts the syncing of target directories off: while an object of this class lives on a thread, moves of that thread
/// with WriteThrough neither sync the file nor its new directory; the outermost object syncs each such directory once.
/// For a scan that takes over many files whose data was synced by whoever handed them over. A directory is opened
/// before the first move into it, which fails, with nothing moved, when it can't be. One that may not be read is left
/// to the moves.
class ZEL_FRAMEWORK_API CDeferredDirectorySync {
public:
    CDeferredDirectorySync();
    /// Syncs what is left, untold: for who leaves early.
    ~CDeferredDirectorySync();
    CDeferredDirectorySync(const CDeferredDirectorySync&) = delete;
    CDeferredDirectorySync& operator=(const CDeferredDirectorySync&) = delete;

    /// Syncs now what was put off; for an object within another one that is nothing. The first failure: what was moved
    /// into that directory is there, but a power cut may undo it.
    [[nodiscard]] eOsError Sync();

    /// For the file systems' Move: true while such an object lives on this thread.
    [[nodiscard]] static bool IsActive();
    /// Opens a directory for the sync of the outermost object of this thread, once per directory.
    [[nodiscard]] static eOsError Add(const std::wstring& directory);

private:
    struct SDirectory {
        std::wstring path;
        std::unique_ptr<IDirectorySync> sync;
    };
    eOsError SyncAll();

    std::vector<SDirectory> m_directories; ///< of the outermost one
};

/// While an object of this class lives on a thread, each file that the thread creates or rewrites through this layer is
/// private to the owner and the process's user, as MakePrivate has it, before anybody can see it. One of the name that
/// was not is replaced, so that who has it open does not read on. Lock files are not concerned. Nests; an empty owner
/// is as if there was none.
class ZEL_FRAMEWORK_API CPrivateFiles {
public:
    explicit CPrivateFiles(FileOwner owner);
    ~CPrivateFiles();
    CPrivateFiles(const CPrivateFiles&) = delete;
    CPrivateFiles& operator=(const CPrivateFiles&) = delete;

    /// The owner that counts on this thread; null for none.
    [[nodiscard]] static const FileOwner* Current();

    /// For a jump over objects of this kind, which ends none of them: the innermost one of this thread before it, to be
    /// put back behind it.
    [[nodiscard]] static const CPrivateFiles* Innermost();
    static void ReturnTo(const CPrivateFiles* object);

private:
    const FileOwner m_owner;
    const CPrivateFiles* const m_pOuter;
};

/// Makes the files that this process creates in other ways private to its user. For programs, at their start.
ZEL_FRAMEWORK_API void KeepNewFilesPrivate();

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
