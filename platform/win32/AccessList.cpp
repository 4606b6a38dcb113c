#include "platform/win32/AccessList.h"

#include "platform/win32/Handle.h"

#include <array>

namespace platform::win32 {

namespace {

constexpr ACCESS_MASK kTakeOver = WRITE_DAC | WRITE_OWNER | GENERIC_ALL | GENERIC_WRITE | MAXIMUM_ALLOWED;
/// Of a file and of a folder: the bits of writing and appending are those of adding files and folders.
constexpr ACCESS_MASK kChange =
    FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_WRITE_EA | FILE_WRITE_ATTRIBUTES | FILE_DELETE_CHILD | DELETE;

ACCESS_MASK GuardedRights(eGuard guard)
{
    switch (guard) {
    case eGuard_Place: return kTakeOver | FILE_DELETE_CHILD | DELETE;
    case eGuard_Root: return kTakeOver | FILE_DELETE_CHILD;
    default: return kTakeOver | kChange;
    }
}

template <DWORD... Parts>
bool IsAccount(PSID account, SID_IDENTIFIER_AUTHORITY authority)
{
    constexpr std::array<DWORD, sizeof...(Parts)> parts = {Parts...};
    if (*GetSidSubAuthorityCount(account) != parts.size() ||
        memcmp(GetSidIdentifierAuthority(account), &authority, sizeof authority) != 0) {
        return false;
    }
    for (DWORD i = 0; i < parts.size(); ++i) {
        if (*GetSidSubAuthority(account, i) != parts[i]) {
            return false;
        }
    }
    return true;
}

/// Stand for the owner, who is asked about himself: whoever makes something in a folder, and the owner's own rights.
bool IsOwnersStandIn(PSID account)
{
    constexpr SID_IDENTIFIER_AUTHORITY creator = SECURITY_CREATOR_SID_AUTHORITY;
    return IsValidSid(account) && (IsAccount<SECURITY_CREATOR_OWNER_RID>(account, creator) ||
                                   IsAccount<SECURITY_CREATOR_OWNER_RIGHTS_RID>(account, creator));
}

bool Allows(ACE_HEADER* entry, PSID self, ACCESS_MASK guarded)
{
    if ((entry->AceFlags & INHERIT_ONLY_ACE) != 0) {
        return false; // of what will lie below, which is looked at itself
    }
    switch (entry->AceType) {
    case ACCESS_DENIED_ACE_TYPE:
    case ACCESS_DENIED_OBJECT_ACE_TYPE:
    case ACCESS_DENIED_CALLBACK_ACE_TYPE:
    case ACCESS_DENIED_CALLBACK_OBJECT_ACE_TYPE: return false;
    case ACCESS_ALLOWED_ACE_TYPE:
    case ACCESS_ALLOWED_CALLBACK_ACE_TYPE: break; // a condition is taken for met
    default: return true;
    }
    auto* const allowed = reinterpret_cast<ACCESS_ALLOWED_ACE*>(entry);
    PSID const account = &allowed->SidStart;
    return (allowed->Mask & guarded) != 0 && !IsTrusted(account, self) && !IsOwnersStandIn(account);
}

/// Of a kind whose information begins with an account. Empty when the system does not tell.
std::vector<BYTE> SidOfToken(TOKEN_INFORMATION_CLASS kind)
{
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) {
        return {};
    }
    const CHandle token(opened);
    alignas(TOKEN_USER) std::array<BYTE, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> information{};
    DWORD used = 0;
    if (!GetTokenInformation(token.Get(), kind, information.data(), static_cast<DWORD>(information.size()), &used)) {
        return {};
    }
    // Both TOKEN_USER and TOKEN_OWNER begin so.
    const auto* const account =
        static_cast<const BYTE*>(reinterpret_cast<const TOKEN_OWNER*>(information.data())->Owner);
    return {account, account + GetLengthSid(const_cast<BYTE*>(account))};
}

} // namespace

bool IsTrusted(PSID account, PSID self)
{
    constexpr SID_IDENTIFIER_AUTHORITY nt = SECURITY_NT_AUTHORITY;
    if (!IsValidSid(account)) {
        return false;
    }
    return (self != nullptr && EqualSid(account, self)) || IsAccount<SECURITY_LOCAL_SYSTEM_RID>(account, nt) ||
           IsAccount<SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS>(account, nt) ||
           // TrustedInstaller, whom the system's own files belong to.
           IsAccount<80, 956008885, 3418522649, 1831038044, 1853292631, 2271478464>(account, nt);
}

std::vector<BYTE> OwnAccount()
{
    return SidOfToken(TokenUser);
}

std::vector<BYTE> OwnerOfNewFiles()
{
    return SidOfToken(TokenOwner);
}

eAccessFault FaultOfAccess(PSECURITY_DESCRIPTOR descriptor, PSID self, eGuard guard)
{
    PSID owner = nullptr;
    BOOL isDefaulted = FALSE;
    if (!GetSecurityDescriptorOwner(descriptor, &owner, &isDefaulted) || owner == nullptr || !IsTrusted(owner, self)) {
        return eAccessFault_Owner;
    }
    BOOL isPresent = FALSE;
    ACL* list = nullptr;
    // Without a list everybody may do everything.
    if (!GetSecurityDescriptorDacl(descriptor, &isPresent, &list, &isDefaulted) || !isPresent || list == nullptr) {
        return eAccessFault_Writable;
    }
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(list, i, &entry) || Allows(static_cast<ACE_HEADER*>(entry), self, GuardedRights(guard))) {
            return eAccessFault_Writable;
        }
    }
    return eAccessFault_None;
}

} // namespace platform::win32
