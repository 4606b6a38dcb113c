#pragma once

#include <filesystem>
#include <string>

namespace testsupport {

/// A new empty directory, removed with all its content at the end.
class CTemporaryDirectory {
public:
    /// In the system's folder for temporary files, or in the one given.
    explicit CTemporaryDirectory(const std::wstring& parent = {});
    ~CTemporaryDirectory();
    CTemporaryDirectory(const CTemporaryDirectory&) = delete;
    CTemporaryDirectory& operator=(const CTemporaryDirectory&) = delete;

    [[nodiscard]] const std::wstring& Path() const { return m_path; }
    /// The path of a name in it.
    [[nodiscard]] std::wstring operator/(const std::wstring& name) const;

private:
    std::wstring m_path;
};

/// The path as the standard library's file functions want it; unlike a plain conversion it keeps names that are no
/// valid text.
[[nodiscard]] std::filesystem::path StandardPath(const std::wstring& path);

/// A new unique text for names, of letters and digits.
[[nodiscard]] std::wstring UniqueText();

} // namespace testsupport
