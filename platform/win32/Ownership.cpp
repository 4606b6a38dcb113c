#include "platform/win32/Ownership.h"

#include "platform/PrivateFiles.h"
#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"

#include <aclapi.h>
#include <array>

// An owner is the bytes of his security identifier.

namespace platform::win32 {

namespace {

std::string BytesOf(PSID user)
{
    return {static_cast<const char*>(user), GetLengthSid(user)};
}

/// The user that this process runs as; empty when the system does not tell.
std::string ProcessUser()
{
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) {
        return {};
    }
    const CHandle token(opened);
    alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> buffer{};
    DWORD length = 0;
    if (!GetTokenInformation(token.Get(), TokenUser, buffer.data(), static_cast<DWORD>(buffer.size()), &length)) {
        return {};
    }
    return BytesOf(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid);
}

std::string SystemUser()
{
    std::array<std::byte, SECURITY_MAX_SID_SIZE> buffer{};
    auto length = static_cast<DWORD>(buffer.size());
    if (!CreateWellKnownSid(WinLocalSystemSid, nullptr, buffer.data(), &length)) {
        return {};
    }
    return BytesOf(buffer.data());
}

} // namespace

CPrivateSecurity::CPrivateSecurity(const FileOwner& owner)
{
    m_isGood = Fill(owner);
    m_attributes = {sizeof m_attributes, &m_descriptor, FALSE};
}

bool CPrivateSecurity::Fill(const FileOwner& owner)
{
    constexpr DWORD room = sizeof(ACL) + 3 * (sizeof(ACCESS_ALLOWED_ACE) + SECURITY_MAX_SID_SIZE);
    m_list.resize(room / sizeof(DWORD) + 1);
    auto* const list = reinterpret_cast<ACL*>(m_list.data());
    if (!InitializeAcl(list, room, ACL_REVISION)) {
        return false;
    }
    for (std::string user : {owner, ProcessUser(), SystemUser()}) {
        if (user.empty() || !IsValidSid(user.data()) ||
            !AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, user.data())) {
            return false;
        }
    }
    // Protected: the directory's own list is not added to it.
    return InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION) &&
           SetSecurityDescriptorDacl(&m_descriptor, TRUE, list, FALSE) &&
           SetSecurityDescriptorControl(&m_descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED);
}

eOsError CPrivateSecurity::Apply(HANDLE file)
{
    if (!m_isGood) {
        return eOsError_InvalidParameter;
    }
    return static_cast<eOsError>(SetSecurityInfo(file, SE_FILE_OBJECT,
                                                 DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                                                 nullptr, nullptr, reinterpret_cast<ACL*>(m_list.data()), nullptr));
}

eOsError OwnerOf(const std::wstring& systemPath, FileOwner& owner)
{
    const CHandle handle(CreateFileW(systemPath.c_str(), READ_CONTROL,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!handle) {
        return LastOsError();
    }
    PSID user = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error = GetSecurityInfo(handle.Get(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &user, nullptr,
                                        nullptr, nullptr, &descriptor);
    if (error == ERROR_SUCCESS) {
        owner = BytesOf(user);
        LocalFree(descriptor);
    }
    return static_cast<eOsError>(error);
}

eOsError MakePathPrivate(const std::wstring& systemPath, const FileOwner& owner)
{
    const CHandle handle(CreateFileW(systemPath.c_str(), WRITE_DAC | READ_CONTROL,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!handle) {
        return LastOsError();
    }
    BY_HANDLE_FILE_INFORMATION information{};
    if (!GetFileInformationByHandle(handle.Get(), &information)) {
        return LastOsError();
    }
    // Somebody may have put a second name of another file here, for it to be given away.
    if (information.nNumberOfLinks != 1 || (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return eOsError_AccessDenied;
    }
    return CPrivateSecurity(owner).Apply(handle.Get());
}

eOsError TryMakingPrivate(const std::wstring& systemPath)
{
    std::array<wchar_t, MAX_PATH + 1> volume{};
    DWORD flags = 0;
    // The volume of a directory is known before there is one.
    if (GetFileAttributesW(systemPath.c_str()) == INVALID_FILE_ATTRIBUTES ||
        !GetVolumePathNameW(systemPath.c_str(), volume.data(), static_cast<DWORD>(volume.size())) ||
        !GetVolumeInformationW(volume.data(), nullptr, 0, nullptr, nullptr, &flags, nullptr, 0)) {
        return LastOsError();
    }
    return (flags & FILE_PERSISTENT_ACLS) != 0 ? eOsError_None : eOsError_NotSupported;
}

} // namespace platform::win32

namespace platform {

void KeepNewFilesPrivate()
{
    // A new file has the access list that its folder hands down; there is no mask of the process to change.
}

} // namespace platform
