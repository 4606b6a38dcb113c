#pragma once

#include <string>

/// A folder for files on their way, of a name that nobody else has. A folder because such files have their final names
/// already, which must not meet others; servers do not look into folders, so it may lie in the request directory. Goes
/// at the end, with what is left in it.
class CStagingFolder {
public:
    explicit CStagingFolder(const std::wstring& parent);
    ~CStagingFolder();
    CStagingFolder(const CStagingFolder&) = delete;
    CStagingFolder& operator=(const CStagingFolder&) = delete;

    /// False with the reason.
    [[nodiscard]] bool Make(std::wstring& error);
    [[nodiscard]] const std::wstring& Path() const { return m_strFolder; }
    [[nodiscard]] std::wstring FilePath(const std::wstring& name) const;

private:
    const std::wstring m_strFolder;
    bool m_isMade = false;
};
