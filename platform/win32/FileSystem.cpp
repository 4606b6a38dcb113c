#include "platform/FileSystem.h"

#include "platform/DeferredSync.h"
#include "platform/NeverDestroyed.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/win32/DirectoryWatch.h"
#include "platform/win32/File.h"
#include "platform/win32/Handle.h"
#include "platform/win32/LockFile.h"
#include "platform/win32/NameKind.h"
#include "platform/win32/Ownership.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

namespace platform {

namespace win32 {

namespace {

/// Puts what was written to a file on the device.
eOsError Flush(const std::wstring& path)
{
    const CHandle handle(CreateFileW(path.c_str(), GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    return handle && FlushFileBuffers(handle.Get()) ? eOsError_None : LastOsError();
}

/// A file that the user may not write to was put there by others; what they promised for its content can't be added to.
eOsError FlushFile(const std::wstring& path)
{
    const eOsError error = Flush(path);
    return error == eOsError_AccessDenied ? eOsError_None : error;
}

/// The second try: who may only read a file cannot flush it.
eOsError FlushReadOnly(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_READONLY) == 0) {
        return eOsError_AccessDenied;
    }
    const DWORD writable = (attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) | FILE_ATTRIBUTE_NORMAL;
    if (!SetFileAttributesW(path.c_str(), writable)) {
        return LastOsError();
    }
    const eOsError error = Flush(path);
    SetFileAttributesW(path.c_str(), attributes);
    return error;
}

/// Tells whether anybody has the file open. MoveFileExW alone goes on beside openers that share deletion, and another
/// process's move is one for a moment after the new name has appeared: whoever opened the file next, without sharing
/// that, was turned away. What can't be opened for other reasons is left to the move to tell. A link is held by nobody
/// who uses what it leads to.
bool IsHeld(const std::wstring& systemPath)
{
    const CHandle handle(CreateFileW(systemPath.c_str(), DELETE, 0, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    return !handle && LastOsError() == eOsError_SharingViolation;
}

bool IsDirectory(const std::wstring& systemPath)
{
    const DWORD attributes = GetFileAttributesW(systemPath.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// The second try for a file that could not be deleted: one that is read-only has to lose that first.
eOsError RemoveReadOnly(const std::wstring& systemPath)
{
    const DWORD attributes = GetFileAttributesW(systemPath.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ||
        (attributes & FILE_ATTRIBUTE_READONLY) == 0) {
        return eOsError_AccessDenied;
    }
    const DWORD writable = (attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) | FILE_ATTRIBUTE_NORMAL;
    if (!SetFileAttributesW(systemPath.c_str(), writable)) {
        return LastOsError();
    }
    if (DeleteFileW(systemPath.c_str())) {
        return eOsError_None;
    }
    const eOsError error = LastOsError();
    SetFileAttributesW(systemPath.c_str(), attributes);
    return error;
}

bool IsDots(const wchar_t* name)
{
    return name[0] == L'.' && (name[1] == L'\0' || (name[1] == L'.' && name[2] == L'\0'));
}

/// The owner of a directory search.
class CSearch {
public:
    CSearch(const std::wstring& pattern, WIN32_FIND_DATAW& found)
        : m_handle(FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr,
                                    FIND_FIRST_EX_LARGE_FETCH))
    {}
    ~CSearch()
    {
        if (IsOpen()) {
            FindClose(m_handle);
        }
    }
    CSearch(const CSearch&) = delete;
    CSearch& operator=(const CSearch&) = delete;

    [[nodiscard]] bool IsOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
    [[nodiscard]] bool Next(WIN32_FIND_DATAW& found) { return FindNextFileW(m_handle, &found) != FALSE; }

private:
    const HANDLE m_handle;
};

/// Names reach the device with the move that writes them through; there is no flush of a directory.
class CDirectorySync final : public IDirectorySync {
public:
    eOsError Sync() override { return eOsError_None; }
};

class CWin32FileSystem final : public IFileSystem {
public:
    eOsError Open(const std::wstring& path, eOpenMode mode, std::unique_ptr<IFile>& file) override
    {
        return OpenFileForMode(path, mode, file);
    }

    eOsError OpenLockFile(const std::wstring& path, const std::string& content,
                          std::unique_ptr<ILockFile>& lockFile) override
    {
        return win32::OpenLockFile(path, content, lockFile);
    }

    eOsError Move(const std::wstring& from, const std::wstring& to, unsigned flags) override
    {
        const std::wstring systemFrom = ToSystemPath(from);
        if (IsDirectory(systemFrom)) {
            return eOsError_AccessDenied;
        }
        const bool writeThrough = (flags & eMoveFlag_WriteThrough) != 0;
        const bool deferred = writeThrough && CDeferredDirectorySync::IsActive();
        if (writeThrough && !deferred) {
            const eOsError error = FlushFile(systemFrom);
            if (!Succeeded(error)) {
                return error;
            }
        }
        if (IsHeld(systemFrom)) {
            return eOsError_SharingViolation;
        }
        if (deferred && GetFileAttributesW(systemFrom.c_str()) == INVALID_FILE_ATTRIBUTES) {
            return LastOsError(); // nothing is moved, and nothing to be synced
        }
        // A directory that is missing is told by the move.
        if (const eOsError error = deferred ? CDeferredDirectorySync::Add(DirectoryOf(to)) : eOsError_None;
            !Succeeded(error) && !IsAbsent(error)) {
            return error;
        }
        // Never with permission to copy: a copy is neither one step nor the same file. The new name is written through
        // even where the syncing is put off, for that can't be done later.
        static_assert(eMoveFlag_ReplaceExisting == MOVEFILE_REPLACE_EXISTING);
        static_assert(eMoveFlag_WriteThrough == MOVEFILE_WRITE_THROUGH);
        const DWORD systemFlags = flags & (MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
        if (!MoveFileExW(systemFrom.c_str(), ToSystemPath(to).c_str(), systemFlags)) {
            return LastOsError();
        }
        return eOsError_None;
    }

    eOsError Remove(const std::wstring& path) override
    {
        const std::wstring systemPath = ToSystemPath(path);
        if (DeleteFileW(systemPath.c_str())) {
            return eOsError_None;
        }
        const eOsError error = LastOsError();
        return error == eOsError_AccessDenied ? RemoveReadOnly(systemPath) : error;
    }

    eOsError GetAttributes(const std::wstring& path, SFileAttributes& attributes) override
    {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        if (!GetFileAttributesExW(ToSystemPath(path).c_str(), GetFileExInfoStandard, &data)) {
            return LastOsError();
        }
        attributes = ToAttributes(data);
        return eOsError_None;
    }

    eOsError SyncFile(const std::wstring& path) override
    {
        const std::wstring systemPath = ToSystemPath(path);
        const eOsError error = Flush(systemPath);
        return error == eOsError_AccessDenied ? FlushReadOnly(systemPath) : error;
    }

    eOsError GetChangeTime(const std::wstring& path, FileTimeNs& time) override { return ReadChangeTime(path, time); }

    eOsError MakeDirectory(const std::wstring& path) override
    {
        return CreateDirectoryW(ToSystemPath(path).c_str(), nullptr) ? eOsError_None : LastOsError();
    }

    eOsError RemoveEmptyDirectory(const std::wstring& path) override
    {
        return RemoveDirectoryW(ToSystemPath(path).c_str()) ? eOsError_None : LastOsError();
    }

    eOsError Visit(const std::wstring& directory, const Visitor& visitor) override
    {
        const std::wstring systemPath = ToSystemPath(directory);
        WIN32_FIND_DATAW found{};
        CSearch search(systemPath + L"\\*", found);
        if (!search.IsOpen()) {
            return SearchFailure(systemPath, LastOsError());
        }
        do {
            if (!IsDots(found.cFileName) &&
                !visitor({found.cFileName, (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0, KindOf(found)})) {
                return eOsError_None;
            }
        } while (search.Next(found));
        return GetLastError() == ERROR_NO_MORE_FILES ? eOsError_None : LastOsError();
    }

    eOsError GetOwner(const std::wstring& path, FileOwner& owner) override
    {
        return OwnerOf(ToSystemPath(path), owner);
    }

    eOsError MakePrivate(const std::wstring& path, const FileOwner& owner) override
    {
        return MakePathPrivate(ToSystemPath(path), owner);
    }

    eOsError CanMakePrivate(const std::wstring& directory) override
    {
        return TryMakingPrivate(ToSystemPath(directory));
    }

    eOsError AllowReading(const std::wstring& /*path*/, const std::wstring& /*directory*/) override
    {
        return eOsError_None;
    }

    eOsError OpenForSync(const std::wstring& directory, std::unique_ptr<IDirectorySync>& sync) override
    {
        if (!IsDirectory(ToSystemPath(directory))) {
            return eOsError_PathNotFound;
        }
        sync = std::make_unique<CDirectorySync>();
        return eOsError_None;
    }

    eOsError Watch(const std::wstring& directory, eWatchFilter filter, std::unique_ptr<IDirectoryWatch>& watch) override
    {
        return WatchDirectory(directory, filter, watch);
    }

private:
    /// Systems differ in what they say of a pattern below a file. And "no file" for the pattern is no failure in the
    /// root of a volume, which has not even the two dot entries.
    static eOsError SearchFailure(const std::wstring& systemPath, eOsError error)
    {
        const DWORD attributes = GetFileAttributesW(systemPath.c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            return eOsError_NotADirectory;
        }
        if (error == eOsError_FileNotFound) {
            return attributes != INVALID_FILE_ATTRIBUTES ? eOsError_None : eOsError_PathNotFound;
        }
        return error;
    }
};

} // namespace

} // namespace win32

IFileSystem& SystemFiles()
{
    static CNeverDestroyed<win32::CWin32FileSystem> fileSystem;
    return fileSystem.Get();
}

} // namespace platform
