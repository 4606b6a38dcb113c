#pragma once

#include "tests/support/Accounts.h"
#include "tests/support/TemporaryDirectory.h"

#include <string>

namespace testsupport {

/// A second way to a directory, through a file system of a program, as other machines have one: what is done beneath is
/// not told to who watches the mount.
class CMirror {
public:
    explicit CMirror(const std::wstring& source)
        : m_isMounted(Succeeds({L"/usr/bin/bindfs", {L"--no-allow-other", source, m_mount.Path()}}))
    {}
    ~CMirror()
    {
        if (m_isMounted)
            static_cast<void>(Succeeds({L"/bin/fusermount", {L"-u", L"-z", m_mount.Path()}}));
    }
    CMirror(const CMirror&) = delete;
    CMirror& operator=(const CMirror&) = delete;

    /// False where the machine has no such file systems, or does not let this user mount one.
    [[nodiscard]] bool IsMounted() const { return m_isMounted; }
    [[nodiscard]] const std::wstring& Path() const { return m_mount.Path(); }

private:
    CTemporaryDirectory m_mount;
    const bool m_isMounted;
};

} // namespace testsupport
