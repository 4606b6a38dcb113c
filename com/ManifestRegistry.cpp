#include "com/ComError.h"
#include "com/ComObject.h"
#include "com/ComponentModule.h"
#include "com/Registration.h"
#include "platform/FileSystem.h"
#include "platform/Installation.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Trust.h"

#include "platform/NeverDestroyed.h"
#include <algorithm>

namespace {

[[noreturn]] void FailRegistration(HRESULT result, const std::wstring& reason)
{
    SetRegistrationError(reason);
    throw CComError(result);
}

void RequireSuccess(platform::eOsError error, const std::wstring& path)
{
    if (!platform::Succeeded(error))
        FailRegistration(HRESULT_FROM_WIN32(error), path + L": " + platform::OsErrorText(error));
}

/// Makes what is missing of the way to a folder, for nobody else to write to whatever the user's habits are.
void MakeGuardedFolders(const std::wstring& path)
{
    if (platform::DirectoryExists(path))
        return;
    const std::wstring parent = platform::DirectoryOf(path);
    if (!parent.empty() && parent != path)
        MakeGuardedFolders(parent);
    RequireSuccess(platform::MakeDirectories(path), path);
    RequireSuccess(platform::KeepOthersFromWriting(path), path);
}

/// The file of one module in the folder of the current scope, with what it says now.
class CRegisteredManifest {
public:
    explicit CRegisteredManifest(const std::wstring& modulePath) : m_modulePath(platform::AbsolutePath(modulePath))
    {
        m_folder = RegistrationFolder(CRegistrationScope::Current());
        if (m_folder.empty())
            FailRegistration(E_ACCESSDENIED, L"this user has no folder for registrations");
        const std::wstring name = platform::FileNameOf(m_modulePath);
        // Shared libraries may have their version behind the extension.
        const std::size_t end =
            std::min(name.rfind(platform::ModuleExtension()), name.size() - platform::ExtensionOf(name).size());
        m_path = platform::JoinPath(m_folder, name.substr(0, end) + L".component");
        m_bExists = platform::PathExists(m_path);
        if (m_bExists)
            Read();
    }

    /// The class in the manifest; null when it is not there.
    [[nodiscard]] SComponentClass* Find(REFCLSID classId)
    {
        const auto found = std::find_if(m_manifest.classes.begin(), m_manifest.classes.end(),
                                        [&](const SComponentClass& known) { return known.id == classId; });
        return found == m_manifest.classes.end() ? nullptr : &*found;
    }
    /// False when there is nothing of this module that may be taken out.
    [[nodiscard]] bool IsOurs() const { return m_bExists && m_foreign.empty(); }
    [[nodiscard]] SComponentManifest& Content() { return m_manifest; }

    void Save()
    {
        if (!m_foreign.empty())
            FailRegistration(E_ACCESSDENIED, m_foreign);
        if (std::wstring refusal = RefusalOfModule(m_modulePath); !refusal.empty())
            FailRegistration(E_ACCESSDENIED, refusal);
        MakeFolder();
        m_manifest.modulePath = m_modulePath;
        m_manifest.isRegistered = true;
        std::wstring error;
        if (!WriteComponentManifest(m_path, m_manifest, error))
            FailRegistration(E_ACCESSDENIED, error);
    }
    [[noreturn]] void FailWithoutClass() const
    {
        FailRegistration(REGDB_E_CLASSNOTREG,
                         m_path + L": " + platform::FromUtf8(CComError(REGDB_E_CLASSNOTREG).what()));
    }
    void Remove() { RequireSuccess(platform::Files().Remove(m_path), m_path); }

private:
    void Read()
    {
        std::wstring error;
        if (!ReadComponentManifest(m_path, m_manifest, error))
            FailRegistration(E_FAIL, error);
        if (!m_manifest.isRegistered)
            m_foreign = m_path + L": it was made by hand, so it is left alone; remove it first";
        else if (!platform::PathExists(m_manifest.modulePath))
            m_manifest = SComponentManifest(); // of a module that is gone
        else if (!platform::IsSameFile(m_manifest.modulePath, m_modulePath))
            m_foreign = m_path + L": it belongs to " + m_manifest.modulePath + L"; unregister that module first";
    }
    void MakeFolder() const
    {
        MakeGuardedFolders(m_folder);
        if (const std::wstring distrust = platform::DistrustOf(m_folder); !distrust.empty())
            FailRegistration(E_ACCESSDENIED, m_folder + L": " + distrust + L", so nothing in it is used");
    }

    std::wstring m_modulePath;
    std::wstring m_folder;
    std::wstring m_path;
    SComponentManifest m_manifest;
    std::wstring m_foreign; ///< why the manifest is not this module's to change
    bool m_bExists = false;
};

class CManifestRegistry final : public IComponentRegistry {
public:
    HRESULT WriteComponent(const std::wstring& modulePath, const SComponentClass& component) override
    {
        return ComGuard([&] {
            CRegisteredManifest manifest(modulePath);
            SComponentClass* const known = manifest.Find(component.id);
            if (known != nullptr)
                *known = component;
            else
                manifest.Content().classes.push_back(component);
            manifest.Save();
            return S_OK;
        });
    }
    HRESULT RemoveComponent(const std::wstring& modulePath, REFCLSID classId) override
    {
        return ComGuard([&] {
            CRegisteredManifest manifest(modulePath);
            if (!manifest.IsOurs())
                return S_OK;
            std::vector<SComponentClass>& classes = manifest.Content().classes;
            if (std::erase_if(classes, [&](const SComponentClass& known) { return known.id == classId; }) == 0)
                return S_OK;
            if (classes.empty())
                manifest.Remove(); // and the name of the type library with it
            else
                manifest.Save();
            return S_OK;
        });
    }
    HRESULT WriteCategories(const std::wstring& modulePath, REFCLSID classId,
                            const std::vector<CATID>& categories) override
    {
        return ComGuard([&] {
            CRegisteredManifest manifest(modulePath);
            SComponentClass* const known = manifest.Find(classId);
            if (known == nullptr)
                manifest.FailWithoutClass();
            for (const CATID& category : categories) {
                if (std::ranges::find(known->categories, category) == known->categories.end())
                    known->categories.push_back(category);
            }
            manifest.Save();
            return S_OK;
        });
    }
    HRESULT RemoveCategories(const std::wstring& modulePath, REFCLSID classId,
                             const std::vector<CATID>& categories) override
    {
        return ComGuard([&] {
            CRegisteredManifest manifest(modulePath);
            SComponentClass* const known = manifest.IsOurs() ? manifest.Find(classId) : nullptr;
            if (known == nullptr || categories.empty())
                return S_OK;
            std::erase_if(known->categories, [&](const CATID& category) {
                return std::ranges::find(categories, category) != categories.end();
            });
            manifest.Save();
            return S_OK;
        });
    }
    HRESULT WriteTypeLibrary(const std::wstring& modulePath, REFGUID id) override
    {
        return ComGuard([&] {
            CRegisteredManifest manifest(modulePath);
            if (manifest.Content().classes.empty())
                manifest.FailWithoutClass();
            manifest.Content().typeLibrary = id;
            manifest.Save();
            return S_OK;
        });
    }
    HRESULT RemoveTypeLibrary(const std::wstring& modulePath, REFGUID id) override
    {
        return ComGuard([&] {
            CRegisteredManifest manifest(modulePath);
            if (!manifest.IsOurs() || manifest.Content().typeLibrary != id)
                return S_OK;
            manifest.Content().typeLibrary = GUID_NULL;
            manifest.Save();
            return S_OK;
        });
    }
};

} // namespace

IComponentRegistry& ManifestComponentRegistry()
{
    static CNeverDestroyed<CManifestRegistry> registry;
    return registry.Get();
}
