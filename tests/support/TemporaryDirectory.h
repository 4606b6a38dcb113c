#pragma once

#include "platform/StandardPath.h"

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

using platform::StandardPath;

/// A new unique text for names, of letters and digits.
[[nodiscard]] std::wstring UniqueText();

} // namespace testsupport
