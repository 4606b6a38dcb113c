#include "platform/win32/NameKind.h"

#include "platform/win32/AccessList.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

#include <aclapi.h>
#include <vector>

namespace platform {
namespace win32 {

eNameKind KindOf(const WIN32_FIND_DATAW& found)
{
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && IsReparseTagNameSurrogate(found.dwReserved0)) {
        return eNameKind_Link;
    }
    return (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? eNameKind_Directory : eNameKind_File;
}

} // namespace win32

eNameKind NameKind(const std::wstring& path)
{
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(win32::ToSystemPath(path).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return eNameKind_Missing;
    }
    FindClose(search);
    return win32::KindOf(found);
}

bool HasSeveralNames(const std::wstring& path)
{
    // Access to the attributes alone is refused by no holder.
    const win32::CHandle handle(CreateFileW(
        win32::ToSystemPath(path).c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION information{};
    return handle && GetFileInformationByHandle(handle.Get(), &information) && information.nNumberOfLinks > 1;
}

eOsError CheckOwnDirectory(const std::wstring& path)
{
    switch (NameKind(path)) {
    case eNameKind_Directory: break;
    case eNameKind_Missing: return eOsError_PathNotFound;
    case eNameKind_Link: return eOsError_LinkInTheWay;
    default: return eOsError_NotADirectory;
    }
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetNamedSecurityInfoW(win32::ToSystemPath(path).c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                              nullptr, nullptr, nullptr, &descriptor);
    if (error != ERROR_SUCCESS) {
        return static_cast<eOsError>(error);
    }
    std::vector<BYTE> self = win32::OwnAccount();
    // A volume without owners has none to tell.
    const bool isTrusted = owner == nullptr || win32::IsTrusted(owner, self.empty() ? nullptr : self.data());
    LocalFree(descriptor);
    return isTrusted ? eOsError_None : eOsError_ForeignOwner;
}

} // namespace platform
