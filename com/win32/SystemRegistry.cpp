#include "com/Bstr.h"
#include "com/ComObject.h"
#include "com/Registration.h"
#include "com/win32/RegistryKey.h"
#include "com/win32/ServerModule.h"
#include "platform/FileSystem.h"
#include "platform/OsError.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include "platform/NeverDestroyed.h"
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

void RemoveKey(const std::wstring& key)
{
    const LSTATUS removed = ::RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
    if (removed != ERROR_FILE_NOT_FOUND)
        RequireKey(removed, key);
}

/// False for a class that another module serves now: it is that module's to change.
bool IsServedBy(REFCLSID classId, const std::wstring& modulePath)
{
    const std::wstring server = com_win32::ServerOf(classId);
    return !server.empty() && com_win32::IsSameModule(server, modulePath);
}

/// Fails for what belongs to another module, unless that is gone.
void RequireOwner(const std::wstring& owner, const std::wstring& modulePath, const std::wstring& key)
{
    if (owner.empty() || com_win32::IsSameModule(owner, modulePath) || !platform::PathExists(owner))
        return;
    SetRegistrationError(L"HKEY_CLASSES_ROOT\\" + key + L": it belongs to " + owner +
                         L"; unregister that module first");
    throw CComError(E_ACCESSDENIED);
}

/// The type library in a module.
struct SModuleTypeLibrary {
    SModuleTypeLibrary(const std::wstring& modulePath, const std::wstring& key)
    {
        RequireResult(::LoadTypeLibEx(modulePath.c_str(), REGKIND_NONE, library.Put()), key);
        TLIBATTR* found = nullptr;
        RequireResult(library->GetLibAttr(&found), key);
        attributes = *found;
        library->ReleaseTLibAttr(found);
    }
    /// The module that is registered for it; empty when none is.
    [[nodiscard]] std::wstring Owner() const
    {
        CBstr path;
        const HRESULT found = ::QueryPathOfRegTypeLib(attributes.guid, attributes.wMajorVerNum, attributes.wMinorVerNum,
                                                      attributes.lcid, path.Put());
        return FAILED(found) || path.Get() == nullptr ? std::wstring() : std::wstring(path.Get());
    }

    CComPtr<ITypeLib> library;
    TLIBATTR attributes = {};
};

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
            const std::wstring path = platform::AbsolutePath(modulePath);
            const std::wstring owner = com_win32::ServerOf(component.id);
            RequireOwner(owner, path, key);
            if (!owner.empty())
                RemoveKey(key); // what the class was is not what it is
            const bool hasAppId = !component.appId.empty();
            WriteKey(key, component.name, hasAppId ? L"AppID" : nullptr, component.appId);
            WriteKey(key + L"\\InprocServer32", path, L"ThreadingModel", component.threadingModel);
            return component.categories.empty() ? S_OK : WriteCategories(path, component.id, component.categories);
        });
    }
    HRESULT RemoveComponent(const std::wstring& modulePath, REFCLSID classId) override
    {
        return ComGuard([&] {
            if (IsServedBy(classId, platform::AbsolutePath(modulePath)))
                RemoveKey(ClassKey(classId));
            return S_OK;
        });
    }
    HRESULT WriteCategories(const std::wstring& modulePath, REFCLSID classId,
                            const std::vector<CATID>& categories) override
    {
        return ComGuard([&] {
            if (!IsServedBy(classId, platform::AbsolutePath(modulePath)))
                FailKey(REGDB_E_CLASSNOTREG, ClassKey(classId));
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
            for (const CATID& category : categories)
                RemoveKey(CategoryKey(classId, category));
            return S_OK;
        });
    }
    HRESULT WriteTypeLibrary(const std::wstring& modulePath, REFGUID id) override
    {
        return ComGuard([&] {
            const std::wstring path = platform::AbsolutePath(modulePath);
            const std::wstring key = L"TypeLib\\" + GuidToText(id);
            if (!com_win32::ServesAnyClass(path))
                FailKey(REGDB_E_CLASSNOTREG, key);
            const SModuleTypeLibrary own(path, key);
            RequireOwner(own.Owner(), path, key);
            std::wstring writable = path;
            RequireResult(::RegisterTypeLib(own.library.Get(), writable.data(), nullptr), key);
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
            const SModuleTypeLibrary own(path, key);
            if (own.attributes.guid != id || !com_win32::IsSameModule(own.Owner(), path))
                return S_OK;
            RequireResult(::UnRegisterTypeLib(id, own.attributes.wMajorVerNum, own.attributes.wMinorVerNum,
                                              own.attributes.lcid, own.attributes.syskind),
                          key);
            return S_OK;
        });
    }
};

} // namespace

IComponentRegistry& SystemComponentRegistry()
{
    static CNeverDestroyed<CSystemRegistry> registry;
    return registry.Get();
}
