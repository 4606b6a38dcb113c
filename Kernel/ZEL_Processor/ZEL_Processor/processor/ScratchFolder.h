#pragma once

#include "platform/FileSystem.h"

#include <memory>
#include <string>

/// A folder for temporary files, of this user's own, with all that is in it, until the object ends. What killed
/// processes of this user left of theirs goes when the first of a process is made.
class CScratchFolder {
public:
    CScratchFolder();
    ~CScratchFolder();
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;

    void Empty();
    [[nodiscard]] platform::eOsError Error() const { return m_error; }
    [[nodiscard]] const std::wstring& Path() const { return m_strPath; }

private:
    std::wstring m_strPath;
    platform::eOsError m_error = platform::eOsError_None;
    std::unique_ptr<platform::IFile> m_pHeld; ///< open for as long as the folder is used
};
