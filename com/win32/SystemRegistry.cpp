#include "com/ComObject.h"
#include "com/Registration.h"
#include "com/win32/RegistryKey.h"
#include "platform/OsError.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <cwchar>
#include <iterator>

ZEL_DECLARE_IID(ICatRegister, 0x0002E012, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
ZEL_DECLARE_IID(ITypeLib, 0x00020402, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

namespace {

using com_win32::ClassKey;
using com_win32::CRegistryKey;

constexpr LCID kNeutralEnglish = 0x409;
constexpr wchar_t kCategoryName[] = L"Plug-ins of ZEL_Processor";

[[noreturn]] void FailKey(HRESULT result, const std::wstring& key)
{
    SetRegistrationError(L"HKEY_CLASSES_ROOT\\" + key + L": " + platform::FromUtf8(CComError(result).what()));
    throw CComError(result);
}

void RequireKey(LSTATUS status, const std::wstring& key)
{
    if (status == ERROR_SUCCESS)
        return;
    SetRegistrationError(L"HKEY_CLASSES_ROOT\\" + key + L": " +
                         platform::OsErrorText(static_cast<platform::eOsError>(status)));
    throw CComError(HRESULT_FROM_WIN32(static_cast<DWORD>(status)));
}

void RequireResult(HRESULT result, const std::wstring& key)
{
    if (FAILED(result))
        FailKey(result, key);
}

/// Writes a key with its default value, and one more value when it has a name.
void WriteKey(const std::wstring& path, const std::wstring& text, const wchar_t* name, const std::wstring& value)
{
    CRegistryKey key;
    RequireKey(key.Create(HKEY_CLASSES_ROOT, path), path);
    RequireKey(key.SetText(nullptr, text), path);
    if (name != nullptr)
        RequireKey(key.SetText(name, value), path);
}

/// False for a class that another module serves now: it is that module's to remove.
bool IsServedBy(REFCLSID classId, const std::wstring& modulePath)
{
    CRegistryKey key;
    return key.Open(HKEY_CLASSES_ROOT, ClassKey(classId) + L"\\InprocServer32") &&
           platform::EqualsNoCase(key.Text(L""), modulePath);
}

/// The category manager needs a thread with COM, whoever the caller is.
class CCategoryManager {
public:
    CCategoryManager() : m_initialized(::CoInitialize(nullptr))
    {
        RequireResult(::CoCreateInstance(CLSID_StdComponentCategoriesMgr, nullptr, CLSCTX_INPROC_SERVER,
                                         ComIid<ICatRegister>(), m_pRegister.PutVoid()),
                      L"Component Categories");
    }
    ~CCategoryManager()
    {
        m_pRegister.Reset();
        if (SUCCEEDED(m_initialized))
            ::CoUninitialize();
    }
    CCategoryManager(const CCategoryManager&) = delete;
    CCategoryManager& operator=(const CCategoryManager&) = delete;

    [[nodiscard]] ICatRegister& Register() { return *m_pRegister; }

private:
    const HRESULT m_initialized;
    CComPtr<ICatRegister> m_pRegister;
};

bool IsForUser()
{
    return CRegistrationScope::Current() == eRegistrationScope_User;
}

std::wstring CategoryKey(REFCLSID classId, const CATID& category)
{
    return ClassKey(classId) + L"\\Implemented Categories\\" + GuidToText(category);
}

/// The category manager knows the machine's classes only, so for a user its keys are written here.
void WriteUserCategory(REFCLSID classId, const CATID& category)
{
    WriteKey(L"Component Categories\\" + GuidToText(category), L"", L"409", kCategoryName);
    WriteKey(CategoryKey(classId, category), L"", nullptr, L"");
}

void WriteCategory(ICatRegister& manager, REFCLSID classId, CATID category)
{
    const std::wstring path = L"Component Categories\\" + GuidToText(category);
    CRegistryKey key;
    if (!key.Open(HKEY_CLASSES_ROOT, path)) {
        CATEGORYINFO information = {category, kNeutralEnglish, {}};
        std::wcsncpy(information.szDescription, kCategoryName, std::size(information.szDescription) - 1);
        RequireResult(manager.RegisterCategories(1, &information), path);
    }
    RequireResult(manager.RegisterClassImplCategories(classId, 1, &category), CategoryKey(classId, category));
}

class CSystemRegistry final : public IComponentRegistry {
public:
    HRESULT WriteComponent(const std::wstring& modulePath, const SComponentClass& component) override
    {
        return ComGuard([&] {
            const std::wstring key = ClassKey(component.id);
            const bool hasAppId = !component.appId.empty();
            WriteKey(key, component.name, hasAppId ? L"AppID" : nullptr, component.appId);
            WriteKey(key + L"\\InprocServer32", platform::AbsolutePath(modulePath), L"ThreadingModel",
                     component.threadingModel);
            return component.categories.empty() ? S_OK
                                                : WriteCategories(modulePath, component.id, component.categories);
        });
    }
    HRESULT RemoveComponent(const std::wstring& modulePath, REFCLSID classId) override
    {
        return ComGuard([&] {
            const std::wstring key = ClassKey(classId);
            if (IsServedBy(classId, platform::AbsolutePath(modulePath)))
                RequireKey(::RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str()), key);
            return S_OK;
        });
    }
    HRESULT WriteCategories(const std::wstring&, REFCLSID classId, const std::vector<CATID>& categories) override
    {
        return ComGuard([&] {
            if (IsForUser()) {
                for (const CATID& category : categories)
                    WriteUserCategory(classId, category);
                return S_OK;
            }
            CCategoryManager manager;
            for (const CATID& category : categories)
                WriteCategory(manager.Register(), classId, category);
            return S_OK;
        });
    }
    HRESULT RemoveCategories(const std::wstring& modulePath, REFCLSID classId,
                             const std::vector<CATID>& categories) override
    {
        return ComGuard([&] {
            if (categories.empty() || !IsServedBy(classId, platform::AbsolutePath(modulePath)))
                return S_OK;
            for (const CATID& category : categories) {
                const std::wstring key = CategoryKey(classId, category);
                RequireKey(::RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str()), key);
            }
            return S_OK;
        });
    }
    HRESULT WriteTypeLibrary(const std::wstring& modulePath, REFGUID id) override
    {
        return ComGuard([&] {
            const std::wstring path = platform::AbsolutePath(modulePath);
            const std::wstring key = L"TypeLib\\" + GuidToText(id);
            CComPtr<ITypeLib> library;
            RequireResult(::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.Put()), key);
            std::wstring writable = path;
            RequireResult(::RegisterTypeLib(library.Get(), writable.data(), nullptr), key);
            return S_OK;
        });
    }
    HRESULT RemoveTypeLibrary(const std::wstring& modulePath, REFGUID id) override
    {
        return ComGuard([&] {
            const std::wstring path = platform::AbsolutePath(modulePath);
            const std::wstring key = L"TypeLib\\" + GuidToText(id);
            if (CRegistryKey known; !known.Open(HKEY_CLASSES_ROOT, key))
                return S_OK;
            CComPtr<ITypeLib> library;
            RequireResult(::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.Put()), key);
            TLIBATTR* attributes = nullptr;
            RequireResult(library->GetLibAttr(&attributes), key);
            const TLIBATTR own = *attributes;
            library->ReleaseTLibAttr(attributes);
            RequireResult(::UnRegisterTypeLib(own.guid, own.wMajorVerNum, own.wMinorVerNum, own.lcid, own.syskind),
                          key);
            return S_OK;
        });
    }
};

} // namespace

IComponentRegistry& SystemComponentRegistry()
{
    static CSystemRegistry registry;
    return registry;
}
