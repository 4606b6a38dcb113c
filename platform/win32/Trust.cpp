#include "platform/Trust.h"

#include "platform/Installation.h"
#include "platform/Path.h"
#include "platform/win32/AccessList.h"
#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

#include <aclapi.h>
#include <sddl.h>

#include <memory>

namespace platform {

namespace {

using Descriptor = std::unique_ptr<void, decltype(&LocalFree)>;

/// Not its name, which may have to be asked of another machine.
std::wstring SidText(PSID account)
{
    wchar_t* text = nullptr;
    if (account == nullptr || !ConvertSidToStringSidW(account, &text)) {
        return L"nobody";
    }
    const Descriptor memory(text, &LocalFree);
    return text;
}

PSID OwnerOf(PSECURITY_DESCRIPTOR descriptor)
{
    PSID owner = nullptr;
    BOOL isDefaulted = FALSE;
    return GetSecurityDescriptorOwner(descriptor, &owner, &isDefaulted) ? owner : nullptr;
}

bool IsMember(PSID group)
{
    BOOL isMember = FALSE;
    return CheckTokenMembership(nullptr, group, &isMember) && isMember;
}

Descriptor AccessOf(const std::wstring& entries)
{
    return {win32::MakePrivateAccess(entries), &LocalFree};
}

eOsError SetAccess(const std::wstring& path, const Descriptor& access)
{
    BOOL isPresent = FALSE;
    BOOL isDefaulted = FALSE;
    ACL* list = nullptr;
    if (!access || !GetSecurityDescriptorDacl(access.get(), &isPresent, &list, &isDefaulted)) {
        return win32::LastOsError();
    }
    std::wstring systemPath = win32::ToSystemPath(path);
    const DWORD error = SetNamedSecurityInfoW(systemPath.data(), SE_FILE_OBJECT,
                                              DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr,
                                              nullptr, list, nullptr);
    return error == ERROR_SUCCESS ? eOsError_None : win32::ToOsError(error);
}

/// One file or folder, open so that it stays what it is while it is looked at.
class CPlace {
public:
    explicit CPlace(const std::wstring& path)
        : m_path(path),
          m_handle(CreateFileW(win32::ToSystemPath(path).c_str(), READ_CONTROL | FILE_READ_ATTRIBUTES,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                               FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)),
          m_opened(m_handle ? eOsError_None : win32::LastOsError())
    {}

    [[nodiscard]] bool IsFile() const { return (m_attributes & FILE_ATTRIBUTE_DIRECTORY) == 0; }

    /// Why it is not trusted in this role; empty when it is.
    [[nodiscard]] std::wstring Distrust(PSID self, win32::eGuard guard)
    {
        BY_HANDLE_FILE_INFORMATION information{};
        if (!Succeeded(m_opened)) {
            return Unseen(m_opened);
        }
        if (!GetFileInformationByHandle(m_handle.Get(), &information)) {
            return Unseen(win32::LastOsError());
        }
        m_attributes = information.dwFileAttributes;
        if (IsLink()) {
            return m_path + L" is a link";
        }
        Descriptor descriptor(nullptr, &LocalFree);
        if (const DWORD error = Read(descriptor); error != ERROR_SUCCESS) {
            return Unseen(win32::ToOsError(error));
        }
        switch (win32::FaultOfAccess(descriptor.get(), self, guard)) {
        case win32::eAccessFault_Owner: return m_path + L" belongs to user " + SidText(OwnerOf(descriptor.get()));
        case win32::eAccessFault_Writable: return L"others may write to " + m_path;
        default: return {};
        }
    }

    /// What an elevated administrator makes belongs to Administrators, a group of his.
    [[nodiscard]] bool IsFileOf(PSID account) const
    {
        BY_HANDLE_FILE_INFORMATION information{};
        Descriptor descriptor(nullptr, &LocalFree);
        constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        if (!m_handle || !GetFileInformationByHandle(m_handle.Get(), &information) ||
            (information.dwFileAttributes & others) != 0 || Read(descriptor) != ERROR_SUCCESS) {
            return false;
        }
        PSID const owner = OwnerOf(descriptor.get());
        return owner != nullptr && (EqualSid(owner, account) || IsMember(owner));
    }

private:
    [[nodiscard]] std::wstring Unseen(eOsError error) const
    {
        return m_path + L" cannot be looked at: " + OsErrorText(error);
    }
    /// Junctions and symbolic links; other kinds of such files, compressed ones say, are themselves.
    [[nodiscard]] bool IsLink() const
    {
        if ((m_attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
            return false;
        }
        FILE_ATTRIBUTE_TAG_INFO tag{};
        return !GetFileInformationByHandleEx(m_handle.Get(), FileAttributeTagInfo, &tag, sizeof tag) ||
               IsReparseTagNameSurrogate(tag.ReparseTag);
    }
    DWORD Read(Descriptor& descriptor) const
    {
        PSECURITY_DESCRIPTOR read = nullptr;
        const DWORD error =
            GetSecurityInfo(m_handle.Get(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                            nullptr, nullptr, nullptr, nullptr, &read);
        descriptor.reset(read);
        return error;
    }

    const std::wstring m_path;
    const win32::CHandle m_handle;
    const eOsError m_opened;
    DWORD m_attributes = 0;
};

/// Length of "C:\" or "\\server\share\" at the beginning of a full path; 0 of other paths.
std::size_t RootLength(const std::wstring& path)
{
    if (path.size() >= 3 && path[1] == L':' && path[2] == L'\\') {
        return 3;
    }
    if (!path.starts_with(L"\\\\") || path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) {
        return 0;
    }
    const std::size_t share = path.find(L'\\', 2);
    const std::size_t end = share == std::wstring::npos ? share : path.find(L'\\', share + 1);
    return end == std::wstring::npos ? 0 : end + 1;
}

/// Without the prefix that lifts the limit of a path's length, and without a separator at the end.
std::wstring PlainPath(const std::wstring& path)
{
    std::wstring plain = AbsolutePath(path);
    if (plain.starts_with(L"\\\\?\\UNC\\")) {
        plain = L"\\\\" + plain.substr(8);
    } else if (plain.starts_with(L"\\\\?\\")) {
        plain = plain.substr(4);
    }
    while (plain.size() > RootLength(plain) && IsPathSeparator(plain.back())) {
        plain.pop_back();
    }
    return plain;
}

/// Wine shows the modes of the system below as access lists, but not the sticky bit: there every folder below /tmp
/// looks as if anybody could take it away. Who may change the ways to files is that system's own business.
bool HidesModes()
{
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    return system != nullptr && GetProcAddress(system, "wine_get_version") != nullptr;
}

std::wstring DistrustOfFolders(const std::wstring& path, std::size_t root, PSID self)
{
    if (HidesModes()) {
        return {};
    }
    std::wstring distrust = CPlace(path.substr(0, root)).Distrust(self, win32::eGuard_Root);
    for (std::size_t end = path.find(L'\\', root); distrust.empty() && end != std::wstring::npos;
         end = path.find(L'\\', end + 1)) {
        distrust = CPlace(path.substr(0, end)).Distrust(self, win32::eGuard_Place);
    }
    return distrust;
}

} // namespace

std::wstring DistrustOf(const std::wstring& path)
{
    const std::wstring full = PlainPath(path);
    const std::size_t root = RootLength(full);
    if (root == 0 || full.find(L'\0') != std::wstring::npos) {
        return path + L" cannot be looked at: " + OsErrorText(eOsError_InvalidParameter);
    }
    std::vector<BYTE> account = win32::OwnAccount();
    PSID const self = account.empty() ? nullptr : account.data();
    std::wstring distrust = DistrustOfFolders(full, root, self);
    if (!distrust.empty()) {
        return distrust;
    }
    CPlace place(full);
    distrust = place.Distrust(self, win32::eGuard_Content);
    if (distrust.empty() && place.IsFile()) {
        const std::size_t end = full.rfind(L'\\');
        distrust = CPlace(full.substr(0, std::max(end, root))).Distrust(self, win32::eGuard_Content);
    }
    return distrust;
}

eOsError KeepOthersFromWriting(const std::wstring& path)
{
    std::vector<BYTE> account = win32::OwnAccount();
    if (CPlace(path).Distrust(account.empty() ? nullptr : account.data(), win32::eGuard_Content).empty()) {
        return eOsError_None;
    }
    // Nothing inherited: the folder for settings of all users lets every user make files in what is made there.
    return SetAccess(path, AccessOf(L"(A;OICI;0x1200a9;;;BU)"));
}

eOsError KeepPrivate(const std::wstring& path)
{
    return SetAccess(path, AccessOf(L""));
}

eOsError MakePrivateFolder(const std::wstring& path)
{
    const Descriptor access = AccessOf(L"");
    SECURITY_ATTRIBUTES attributes{sizeof attributes, access.get(), FALSE};
    if (!access || CreateDirectoryW(win32::ToSystemPath(path).c_str(), &attributes)) {
        return access ? eOsError_None : win32::LastOsError();
    }
    if (const DWORD error = GetLastError(); error != ERROR_ALREADY_EXISTS) {
        return win32::ToOsError(error);
    }
    return DistrustOf(path).empty() ? eOsError_None : eOsError_AccessDenied;
}

bool IsFileOfThisUser(const std::wstring& path)
{
    std::vector<BYTE> account = win32::OwnAccount();
    return !account.empty() && CPlace(path).IsFileOf(account.data());
}

bool IsAdministrator(const FileOwner& owner)
{
    std::vector<BYTE> own = win32::OwnerOfNewFiles();
    std::string account = owner;
    return !account.empty() && !own.empty() && win32::IsTrusted(account.data(), nullptr) &&
           !EqualSid(account.data(), own.data());
}

std::wstring UserTag()
{
    std::vector<BYTE> account = win32::OwnAccount();
    return account.empty() ? L"nobody" : SidText(account.data());
}

PSECURITY_DESCRIPTOR win32::MakePrivateAccess(const std::wstring& entries)
{
    PSECURITY_DESCRIPTOR made = nullptr;
    const std::wstring text = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;" + UserTag() + L")" + entries;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &made, nullptr);
    return made;
}

} // namespace platform
