#include "com/Components.h"

#include "com/ComObject.h"
#include "com/ComponentTable.h"
#include "com/Guid.h"
#include "com/Registration.h"
#include "com/SystemRuntime.h"
#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/OsError.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Trust.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr std::wstring_view kManifestExtension = L".component";

CComponentTable& Table()
{
    return CComponentTable::Instance();
}

class CFunctionFactory final : public CComObject<IClassFactory> {
public:
    explicit CFunctionFactory(ComponentFactoryFunction function) : m_function(std::move(function)) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        return ComGuard([&] { return m_function(iid, object); });
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    const ComponentFactoryFunction m_function;
};

/// Why nothing of a path may be used; empty when it may.
std::wstring RefusalOf(const std::wstring& path)
{
    const std::wstring distrust = platform::DistrustOf(path);
    return distrust.empty() ? distrust : path + L": " + distrust + L", so nothing in it is used";
}

/// The models by which the system makes objects on several threads.
bool MayServeSeveral(const SComponentClass& component)
{
    const auto models = {L"Apartment", L"Both", L"Free"};
    return component.isThreadingTold && std::ranges::any_of(models, [&](const wchar_t* model) {
               return platform::EqualsNoCase(component.threadingModel, model);
           });
}

void AddManifest(const std::wstring& path, std::vector<std::wstring>& errors)
{
    SComponentManifest manifest;
    std::wstring error = RefusalOf(path);
    if (error.empty() && ReadComponentManifest(path, manifest, error)) {
        error = RefusalOfModule(manifest.modulePath);
        if (!error.empty())
            error = path + L": " + error;
    }
    if (!error.empty()) {
        errors.push_back(std::move(error));
        return;
    }
    for (SComponentClass& component : manifest.classes) {
        const std::wstring name = component.name;
        SComponentInfo info = {component.id,        name, std::move(component.categories),
                               manifest.modulePath, path, MayServeSeveral(component)};
        if (!Table().Add({std::move(info), nullptr}))
            errors.push_back(path + L": the id of class \"" + name + L"\" is taken by another module");
    }
}

/// The result as everybody looks it up.
std::wstring CodeText(HRESULT result)
{
    return platform::FromUtf8(CComError(result).what());
}

std::wstring CreationFault(HRESULT result, const SComponentInfo& info)
{
    switch (result) {
    case CLASS_E_CLASSNOTAVAILABLE:
        return L"the module does not serve this class" +
               (info.source.empty() ? std::wstring() : L", which " + info.source + L" names");
    case E_UNEXPECTED: return L"an exception was thrown while the object was made";
    case E_NOINTERFACE: return L"the object has not the interface that is wanted";
    case REGDB_E_CLASSNOTREG: return L"the class is not registered";
    default: return CodeText(result);
    }
}

/// "class "Name" {id} of MODULE", as far as it is known.
std::wstring TitleOf(const SComponentInfo& info)
{
    std::wstring title = L"class \"" + info.name + L"\" " + GuidToText(info.id);
    if (info.name.empty())
        title = L"class " + GuidToText(info.id);
    return info.modulePath.empty() ? title : title + L" of " + info.modulePath;
}

/// Asks of a module of the system's registry what is asked of the table's modules.
HRESULT CheckSystemClass(SComponentInfo& info, std::wstring& reason)
{
    if (!com_system::DescribeClass(info.id, info) || info.modulePath.empty())
        return S_OK; // the system may have other kinds of classes; its own call tells
    SComponentModule module;
    return LoadComponentModule(info.modulePath, module, reason);
}

bool IsManifestName(const platform::SDirectoryEntry& entry)
{
    return !entry.isDirectory && entry.name.size() > kManifestExtension.size() &&
           entry.name.ends_with(kManifestExtension);
}

} // namespace

void AddComponentFolder(const std::wstring& path, std::vector<std::wstring>& errors)
{
    const std::wstring folder = platform::AbsolutePath(path);
    std::vector<platform::SDirectoryEntry> entries;
    const platform::eOsError listed = platform::Files().List(folder, entries);
    if (!platform::Succeeded(listed)) {
        errors.push_back(folder + L": " + platform::OsErrorText(listed));
        return;
    }
    if (std::wstring refusal = RefusalOf(folder); !refusal.empty()) {
        errors.push_back(std::move(refusal));
        return;
    }
    std::erase_if(entries, [](const platform::SDirectoryEntry& entry) { return !IsManifestName(entry); });
    std::sort(entries.begin(), entries.end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    for (const platform::SDirectoryEntry& entry : entries)
        AddManifest(platform::JoinPath(folder, entry.name), errors);
}

void LoadDefaultComponentFolders(std::vector<std::wstring>& errors)
{
    for (const eRegistrationScope scope : {eRegistrationScope_System, eRegistrationScope_User}) {
        const std::wstring folder = RegistrationFolder(scope);
        if (!folder.empty() && platform::DirectoryExists(folder))
            AddComponentFolder(folder, errors);
    }
    std::wstring list = platform::Environment(L"ZEL_COMPONENT_PATH");
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(platform::PathListSeparator()), list.size());
        if (end > 0)
            AddComponentFolder(list.substr(0, end), errors);
        list.erase(0, end + 1);
    }
}

void EnumerateCategory(const GUID& category, std::vector<CLSID>& classes)
{
    std::vector<CLSID> found;
    Table().AppendCategory(category, found);
    com_system::AppendCategory(category, found);
    for (const CLSID& classId : found) {
        if (std::find(classes.begin(), classes.end(), classId) == classes.end())
            classes.push_back(classId);
    }
}

std::vector<SComponentInfo> ListComponents(const GUID& category)
{
    std::vector<SComponentInfo> components;
    Table().AppendAll(components);
    std::vector<CLSID> systemClasses;
    com_system::AppendCategory(category, systemClasses);
    for (const CLSID& classId : systemClasses) {
        SComponentInfo info;
        info.id = classId;
        info.categories = {category};
        if (!Table().Contains(classId) && com_system::DescribeClass(classId, info))
            components.push_back(std::move(info));
    }
    return components;
}

HRESULT CreateComponent(REFCLSID classId, REFIID iid, void** object, std::wstring& errorText)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    errorText.clear();
    STableEntry entry;
    entry.info.id = classId;
    std::wstring reason;
    HRESULT result = S_OK;
    if (!Table().Find(classId, entry)) {
        result = CheckSystemClass(entry.info, reason);
    } else if (!entry.factory) {
        CComPtr<IUnknown> classObject;
        result = ComGuard(
            [&] { return GetComponentClassObject(classId, ComIid<IUnknown>(), classObject.PutVoid(), &reason); });
    }
    if (SUCCEEDED(result))
        result = CoCreateInstanceZEL(classId, nullptr, CLSCTX_INPROC_SERVER, iid, object);
    if (FAILED(result))
        errorText = TitleOf(entry.info) + L": " + (reason.empty() ? CreationFault(result, entry.info) : reason);
    return result;
}

bool IsComponentKnown(REFCLSID classId)
{
    return Table().Contains(classId);
}

HRESULT GetComponentClassObject(REFCLSID classId, REFIID iid, void** object, std::wstring* errorText)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    STableEntry entry;
    if (!Table().Find(classId, entry))
        return REGDB_E_CLASSNOTREG;
    if (entry.factory)
        return entry.factory->QueryInterface(iid, object);
    HRESULT result = S_OK;
    std::wstring reason;
    const auto entryPoint = Table().EntryPoint(entry.info.modulePath, result, reason);
    if (entryPoint != nullptr)
        return entryPoint(classId, iid, object);
    if (errorText != nullptr)
        *errorText = reason;
    return result;
}

HRESULT RegisterComponentClass(REFCLSID classId, IClassFactory* factory, const std::vector<CATID>& categories)
{
    if (factory == nullptr || classId == GUID_NULL)
        return E_INVALIDARG;
    SComponentInfo info;
    info.id = classId;
    info.categories = categories;
    return Table().Add({std::move(info), factory}) ? S_OK : S_FALSE;
}

HRESULT RegisterComponentClass(REFCLSID classId, ComponentFactoryFunction factory, const std::vector<CATID>& categories)
{
    if (!factory)
        return E_INVALIDARG;
    return RegisterComponentClass(classId, MakeComObject<CFunctionFactory>(std::move(factory)).Get(), categories);
}

HRESULT RevokeComponentClass(REFCLSID classId)
{
    return Table().Revoke(classId) ? S_OK : S_FALSE;
}
