#include "com/win32/ServerModule.h"

#include "com/win32/RegistryKey.h"
#include "platform/Installation.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"

namespace com_win32 {
namespace {

constexpr DWORD kLongestPath = 32768;

/// Where the system looks for a bare name. Not the current folder, which may be anybody's.
std::wstring SearchFolders()
{
    std::wstring system(kLongestPath, L'\0');
    system.resize(::GetSystemDirectoryW(system.data(), kLongestPath));
    return platform::DirectoryOf(platform::ProgramPath()) + L";" + system + L";" + platform::DirectoryOf(system) +
           L";" + platform::Environment(L"PATH");
}

std::wstring ServerText(const std::wstring& classKey)
{
    CRegistryKey key;
    return key.Open(HKEY_CLASSES_ROOT, classKey + L"\\InprocServer32") ? key.Text(L"") : std::wstring();
}

} // namespace

std::wstring ModuleOfServer(std::wstring text)
{
    std::erase(text, L'"'); // no path has one
    if (text.empty() || platform::FileNameOf(text) != text)
        return text;
    std::wstring found(kLongestPath, L'\0');
    const DWORD length =
        ::SearchPathW(SearchFolders().c_str(), text.c_str(), L".dll", kLongestPath, found.data(), nullptr);
    return length == 0 || length >= kLongestPath ? text : found.substr(0, length);
}

std::wstring ServerOf(REFCLSID classId)
{
    return ModuleOfServer(ServerText(ClassKey(classId)));
}

bool IsSameModule(const std::wstring& left, const std::wstring& right)
{
    return platform::EqualsNoCase(left, right) || platform::IsSameFile(left, right);
}

bool ServesAnyClass(const std::wstring& modulePath)
{
    CRegistryKey classes;
    if (!classes.Open(HKEY_CLASSES_ROOT, L"CLSID"))
        return false;
    const std::wstring name = platform::FileNameOf(modulePath);
    for (const std::wstring& classId : classes.SubKeys()) {
        std::wstring server = ServerText(L"CLSID\\" + classId);
        std::erase(server, L'"');
        // The name first: a system has thousands of classes, and few are of a module of this name.
        if (platform::EqualsNoCase(platform::FileNameOf(server), name) &&
            IsSameModule(ModuleOfServer(server), modulePath))
            return true;
    }
    return false;
}

} // namespace com_win32
