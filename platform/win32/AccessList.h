#pragma once

#include "platform/win32/WindowsHeader.h"

#include <string>
#include <vector>

namespace platform::win32 {

/// What others must not be able to do to a file or folder.
enum eGuard {
    eGuard_Content, ///< change it, or lay something into it
    eGuard_Place,   ///< take it away, or what lies in it: whatever was looked at below must stay what it was
    eGuard_Root,    ///< of a volume, which nobody takes away: take away what lies in it
};

enum eAccessFault { eAccessFault_None, eAccessFault_Owner, eAccessFault_Writable };

/// The account that this process runs as; empty when the system does not tell.
[[nodiscard]] std::vector<BYTE> OwnAccount();
/// To whom the system gives what this process makes: of an administrator's often all of them. Empty when it does not
/// tell.
[[nodiscard]] std::vector<BYTE> OwnerOfNewFiles();

/// The account self, Administrators, SYSTEM and TrustedInstaller; self may be null.
[[nodiscard]] bool IsTrusted(PSID account, PSID self);

/// What is wrong with an owner and an access list: others than Administrators, SYSTEM, TrustedInstaller and the account
/// self may do what is guarded. Entries that deny are not counted in anybody's favour, and an entry of an unknown kind
/// may allow anything.
[[nodiscard]] eAccessFault FaultOfAccess(PSECURITY_DESCRIPTOR descriptor, PSID self, eGuard guard);

/// For what nobody else may use: nothing inherited, all rights for SYSTEM, Administrators and this account, and these
/// entries of the description language. Memory for LocalFree; null when the system has none to give.
[[nodiscard]] PSECURITY_DESCRIPTOR MakePrivateAccess(const std::wstring& entries);

} // namespace platform::win32
