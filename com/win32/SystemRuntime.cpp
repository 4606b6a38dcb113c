#include "com/SystemRuntime.h"

#include "com/ComPtr.h"
#include "com/Variant.h"
#include "com/Xml.h"
#include "com/win32/RegistryKey.h"
#include "com/win32/ServerModule.h"

ZEL_DECLARE_IID(IXMLDOMDocument2, 0x2933BF95, 0x7B36, 0x11D2, 0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60);
ZEL_DECLARE_IID(ICatInformation, 0x0002E013, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

namespace {

/// By default a document of this class reads whatever it names, of this computer and, with the user's credentials, of
/// others.
HRESULT MakeSelfContained(IUnknown& document)
{
    CComPtr<IXMLDOMDocument2> settings;
    if (const HRESULT result = document.QueryInterface(ComIid<IXMLDOMDocument2>(), settings.PutVoid()); FAILED(result))
        return result;
    if (const HRESULT result = settings->put_resolveExternals(VARIANT_FALSE); FAILED(result))
        return result;
    if (const HRESULT result = settings->put_validateOnParse(VARIANT_FALSE); FAILED(result))
        return result;
    const CBstr name(L"ProhibitDTD");
    return settings->setProperty(name.Get(), CVariant::FromBool(true).Get());
}

} // namespace

namespace com_system {

bool IsThreadInitialized() noexcept
{
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    return SUCCEEDED(CoGetApartmentType(&type, &qualifier));
}

HRESULT CreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid, void** object) noexcept
{
    const HRESULT created = ::CoCreateInstance(classId, outer, context, iid, object);
    if (FAILED(created) || classId != kClsidDomDocument)
        return created;
    const HRESULT safe = ComGuard([&] { return MakeSelfContained(*static_cast<IUnknown*>(*object)); });
    if (FAILED(safe)) {
        static_cast<IUnknown*>(*object)->Release();
        *object = nullptr;
    }
    return FAILED(safe) ? safe : created;
}

void AppendCategory(const GUID& category, std::vector<CLSID>& classes)
{
    // A system without a category manager, or a thread without COM, simply has no further classes to offer.
    CComPtr<ICatInformation> information;
    if (FAILED(::CoCreateInstance(CLSID_StdComponentCategoriesMgr, nullptr, CLSCTX_INPROC_SERVER,
                                  ComIid<ICatInformation>(), information.PutVoid())))
        return;
    CComPtr<IEnumCLSID> found;
    CATID id = category;
    if (FAILED(information->EnumClassesOfCategories(1, &id, 0, nullptr, found.Put())) || !found)
        return;
    CLSID classId = GUID_NULL;
    ULONG fetched = 0;
    while (found->Next(1, &classId, &fetched) == S_OK && fetched == 1)
        classes.push_back(classId);
}

bool DescribeClass(REFCLSID classId, SComponentInfo& info)
{
    const std::wstring key = com_win32::ClassKey(classId);
    com_win32::CRegistryKey classKey;
    if (!classKey.Open(HKEY_CLASSES_ROOT, key))
        return false;
    info.name = classKey.Text(L"");
    info.source = L"HKEY_CLASSES_ROOT\\" + key;
    info.modulePath = com_win32::ServerOf(classId);
    return true;
}

HRESULT SetRegistrationScope(eRegistrationScope scope)
{
    if (scope == eRegistrationScope_System)
        return HRESULT_FROM_WIN32(static_cast<DWORD>(::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr)));
    com_win32::CRegistryKey user;
    const LSTATUS opened = user.Create(HKEY_CURRENT_USER, L"Software\\Classes");
    // The override keeps the key open by itself.
    return HRESULT_FROM_WIN32(
        static_cast<DWORD>(opened != ERROR_SUCCESS ? opened : ::RegOverridePredefKey(HKEY_CLASSES_ROOT, user.Get())));
}

} // namespace com_system
