#include "platform/FolderRemoval.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

namespace platform {
namespace win32 {
namespace {

/// Opens a folder, and no link to one, so that nobody can put something else in its place meanwhile.
eOsError HoldFolder(const std::wstring& path, CHandle& folder)
{
    folder = CHandle(CreateFileW(ToSystemPath(path).c_str(), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                 FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION information{};
    if (!folder || !GetFileInformationByHandle(folder.Get(), &information)) {
        return LastOsError();
    }
    const bool isFolder = (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                          (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
    return isFolder ? eOsError_None : eOsError_NotADirectory;
}

/// DirectoryNotEmpty when something is left. namesLeft: how many may still be removed.
eOsError EmptyFolder(const std::wstring& path, bool hasFolders, std::size_t& namesLeft)
{
    CHandle folder;
    if (const eOsError error = HoldFolder(path, folder); error != eOsError_None) {
        return error;
    }
    bool isEmpty = true;
    const eOsError visited = SystemFiles().Visit(path, [&](const SDirectoryEntry& entry) {
        if (namesLeft == 0) {
            isEmpty = false;
            return false;
        }
        --namesLeft;
        const std::wstring inner = JoinPath(path, entry.name);
        const eOsError removed = SystemFiles().Remove(inner);
        if (removed == eOsError_None || IsAbsent(removed)) {
            return true;
        }
        // A link to a folder goes like an empty one.
        const bool isRemoved = SystemFiles().RemoveEmptyDirectory(inner) == eOsError_None ||
                               (hasFolders && EmptyFolder(inner, false, namesLeft) == eOsError_None &&
                                SystemFiles().RemoveEmptyDirectory(inner) == eOsError_None);
        isEmpty = isEmpty && isRemoved;
        return true;
    });
    return visited == eOsError_None && isEmpty ? eOsError_None : eOsError_DirectoryNotEmpty;
}

} // namespace
} // namespace win32

eOsError RemoveFolder(const std::wstring& path, std::size_t maxNames)
{
    const eOsError emptied = win32::EmptyFolder(path, true, maxNames);
    return emptied == eOsError_None ? SystemFiles().RemoveEmptyDirectory(path) : emptied;
}

} // namespace platform
