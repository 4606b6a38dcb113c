#include "com/Components.h"

#include "com/ComObject.h"
#include "com/SystemRuntime.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/OsError.h"
#include "platform/Path.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

namespace {

using GetClassObjectFunction = HRESULT(STDMETHODCALLTYPE*)(REFCLSID classId, REFIID iid, void** object);

constexpr std::wstring_view kManifestExtension = L".component";

/// One class of the table: in a module, or, when there is a factory, in this process.
struct STableEntry {
    CLSID id = {};
    std::vector<CATID> categories;
    std::wstring modulePath;
    CComPtr<IClassFactory> factory;
};

/// Foreign code (modules, factories) is never called with the lock held: it may come back to the table.
class CComponentTable {
public:
    /// False when another module or this process has the id; true as well when the same module has it already.
    bool Add(STableEntry entry)
    {
        const std::lock_guard lock(m_mutex);
        if (const STableEntry* known = FindLocked(entry.id))
            return !entry.factory && known->modulePath == entry.modulePath;
        m_entries.push_back(std::move(entry));
        return true;
    }
    bool Find(REFCLSID classId, STableEntry& entry)
    {
        const std::lock_guard lock(m_mutex);
        const STableEntry* known = FindLocked(classId);
        if (known != nullptr)
            entry = *known;
        return known != nullptr;
    }
    bool Contains(REFCLSID classId)
    {
        const std::lock_guard lock(m_mutex);
        return FindLocked(classId) != nullptr;
    }
    bool Revoke(REFCLSID classId)
    {
        STableEntry revoked; // releases its factory after the lock
        const std::lock_guard lock(m_mutex);
        const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                        [&](const STableEntry& entry) { return entry.id == classId && entry.factory; });
        if (found == m_entries.end())
            return false;
        revoked = std::move(*found);
        m_entries.erase(found);
        return true;
    }
    void Clear()
    {
        std::vector<STableEntry> old;
        const std::lock_guard lock(m_mutex);
        old.swap(m_entries);
    }
    void AppendCategory(const GUID& category, std::vector<CLSID>& classes)
    {
        const std::lock_guard lock(m_mutex);
        for (const STableEntry& entry : m_entries) {
            if (std::find(entry.categories.begin(), entry.categories.end(), category) != entry.categories.end())
                classes.push_back(entry.id);
        }
    }
    /// The module's entry point; null with the reason when there is none.
    GetClassObjectFunction EntryPoint(const std::wstring& path, HRESULT& result, std::wstring& reason)
    {
        {
            const std::lock_guard lock(m_mutex);
            const auto found = m_modules.find(path);
            if (found != m_modules.end())
                return found->second.entryPoint;
        }
        SLoadedModule loaded;
        if (!Load(path, loaded, result, reason))
            return nullptr;
        // Another thread may have been faster; the system counts the loads, so the second one is simply given back.
        const std::lock_guard lock(m_mutex);
        return m_modules.emplace(path, std::move(loaded)).first->second.entryPoint;
    }

private:
    struct SLoadedModule {
        std::unique_ptr<platform::IModule> module;
        GetClassObjectFunction entryPoint = nullptr;
    };

    static bool Load(const std::wstring& path, SLoadedModule& loaded, HRESULT& result, std::wstring& reason)
    {
        result = CO_E_DLLNOTFOUND;
        if (platform::IsWritableByOthers(path)) {
            reason = L"others may write to the module";
            return false;
        }
        const platform::eOsError error = platform::LoadDynamicModule(path, loaded.module, reason);
        if (!platform::Succeeded(error)) {
            if (reason.empty())
                reason = platform::OsErrorText(error);
            return false;
        }
        result = CO_E_ERRORINDLL;
        loaded.entryPoint = reinterpret_cast<GetClassObjectFunction>(loaded.module->Symbol("DllGetClassObject"));
        if (loaded.entryPoint == nullptr)
            reason = L"the module exports no DllGetClassObject";
        return loaded.entryPoint != nullptr;
    }
    const STableEntry* FindLocked(REFCLSID classId) const
    {
        const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                        [&](const STableEntry& entry) { return entry.id == classId; });
        return found == m_entries.end() ? nullptr : &*found;
    }

    std::mutex m_mutex;
    std::vector<STableEntry> m_entries;              // guarded by m_mutex
    std::map<std::wstring, SLoadedModule> m_modules; // guarded by m_mutex
};

CComponentTable& Table()
{
    // Never destroyed: modules stay loaded to the end, and their code may ask for a class while the process ends.
    static CComponentTable& table = *std::make_unique<CComponentTable>().release();
    return table;
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
    return platform::IsWritableByOthers(path) ? path + L": others may write to it, so nothing in it is used"
                                              : std::wstring();
}

std::wstring RefusalOfModule(const std::wstring& manifestPath, const std::wstring& modulePath)
{
    if (!platform::PathExists(modulePath) || platform::DirectoryExists(modulePath))
        return manifestPath + L": the module " + modulePath + L" does not exist";
    for (const std::wstring& path : {modulePath, platform::DirectoryOf(modulePath)}) {
        if (platform::IsWritableByOthers(path))
            return manifestPath + L": others may write to " + path + L", so the module is not used";
    }
    return {};
}

void AddManifest(const std::wstring& path, std::vector<std::wstring>& errors)
{
    SComponentManifest manifest;
    std::wstring error = RefusalOf(path);
    if (error.empty() && ReadComponentManifest(path, manifest, error))
        error = RefusalOfModule(path, manifest.modulePath);
    if (!error.empty()) {
        errors.push_back(std::move(error));
        return;
    }
    for (SComponentClass& component : manifest.classes) {
        const std::wstring name = component.name;
        if (!Table().Add({component.id, std::move(component.categories), manifest.modulePath, nullptr}))
            errors.push_back(path + L": the id of class \"" + name + L"\" is taken by another module");
    }
}

bool IsManifestName(const platform::SDirectoryEntry& entry)
{
    return !entry.isDirectory && entry.name.size() > kManifestExtension.size() &&
           entry.name.ends_with(kManifestExtension);
}

void AddConfigFolder(const std::wstring& directory, std::vector<std::wstring>& errors)
{
    const std::wstring folder = directory.empty() ? directory : platform::JoinPath(directory, L"components");
    if (!folder.empty() && platform::DirectoryExists(folder))
        AddComponentFolder(folder, errors);
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
    AddConfigFolder(platform::SystemConfigDirectory(), errors);
    AddConfigFolder(platform::UserConfigDirectory(), errors);
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
    const GetClassObjectFunction entryPoint = Table().EntryPoint(entry.modulePath, result, reason);
    if (entryPoint != nullptr)
        return entryPoint(classId, iid, object);
    if (errorText != nullptr)
        *errorText = entry.modulePath + L": " + reason;
    return result;
}

HRESULT RegisterComponentClass(REFCLSID classId, IClassFactory* factory, const std::vector<CATID>& categories)
{
    if (factory == nullptr || classId == GUID_NULL)
        return E_INVALIDARG;
    return Table().Add({classId, categories, {}, factory}) ? S_OK : S_FALSE;
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

void ClearComponents()
{
    Table().Clear();
}
