#pragma once

#include "platform/Export.h"
#include "platform/FileSystem.h"

#include <memory>
#include <string>

namespace platform {

/// A folder for temporary files, of this user's own, with all that is in it, until the object ends. What killed
/// processes of this user left of theirs goes when the first of a module is made.
class ZEL_FRAMEWORK_API CScratchFolder {
public:
    CScratchFolder();
    ~CScratchFolder();
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;

    void Empty();
    [[nodiscard]] eOsError Error() const { return m_error; }
    [[nodiscard]] const std::wstring& Path() const { return m_strPath; }

private:
    std::wstring m_strPath;
    eOsError m_error = eOsError_None;
    std::unique_ptr<IFile> m_pHeld; ///< open for as long as the folder is used
};

} // namespace platform
