#pragma once

#include "platform/FileSystem.h"
#include "platform/win32/WindowsHeader.h"

#include <vector>

namespace platform::win32 {

/// IFileSystem::GetOwner, MakePrivate and CanMakePrivate, of paths as the system takes them.
[[nodiscard]] eOsError OwnerOf(const std::wstring& systemPath, FileOwner& owner);
[[nodiscard]] eOsError MakePathPrivate(const std::wstring& systemPath, const FileOwner& owner);
[[nodiscard]] eOsError TryMakingPrivate(const std::wstring& systemPath);

/// The security of a new file that is for this owner, the process's user and the system alone. It must outlive the call
/// that makes the file.
class CPrivateSecurity {
public:
    explicit CPrivateSecurity(const FileOwner& owner);
    CPrivateSecurity(const CPrivateSecurity&) = delete;
    CPrivateSecurity& operator=(const CPrivateSecurity&) = delete;

    /// Null when it could not be made.
    [[nodiscard]] SECURITY_ATTRIBUTES* Get() { return m_isGood ? &m_attributes : nullptr; }
    /// Gives it to an open file, instead of what the file had.
    [[nodiscard]] eOsError Apply(HANDLE file);

private:
    [[nodiscard]] bool Fill(const FileOwner& owner);

    std::vector<DWORD> m_list; ///< the access list, aligned as it must be
    SECURITY_DESCRIPTOR m_descriptor{};
    SECURITY_ATTRIBUTES m_attributes{};
    bool m_isGood = false;
};

} // namespace platform::win32
