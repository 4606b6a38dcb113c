#include "framework/ComModule.h"

#include "com/ComObject.h"
#include "com/Components.h"
#include "com/Registration.h"
#include "framework/module/AtlSupport.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Trust.h"

#include <algorithm>
#include <cstddef>

namespace {

/// The system's own registry while the object lives, then what was used before.
class CUseWinRegistry {
public:
    CUseWinRegistry() : m_previous(SetUseWinRegistry(true)) {}
    ~CUseWinRegistry() { SetUseWinRegistry(m_previous); }
    CUseWinRegistry(const CUseWinRegistry&) = delete;
    CUseWinRegistry& operator=(const CUseWinRegistry&) = delete;

private:
    const bool m_previous;
};

/// What its module's table cannot say stands in the manifest beside the module (cmake/ZelAddPlugin.cmake).
void TakeThreadingFromBeside(const std::wstring& modulePath, SComponentClass& component)
{
    const std::size_t stem = modulePath.size() - platform::ExtensionOf(modulePath).size();
    const std::wstring path = modulePath.substr(0, stem) + L".component";
    SComponentManifest beside;
    std::wstring error; // of a file that is nobody's business here
    if (!platform::PathExists(path) || !platform::DistrustOf(path).empty() ||
        !ReadComponentManifest(path, beside, error))
        return;
    const auto told = std::ranges::find(beside.classes, component.id, &SComponentClass::id);
    if (told == beside.classes.end() || !told->isThreadingTold)
        return;
    component.threadingModel = told->threadingModel;
    component.isThreadingTold = true;
}

HRESULT UpdateOne(CWQ_ComModule& module, SComponentClass component, bool isRegistering)
{
    IComponentRegistry& registry = WQ_ComponentRegistry();
    if (isRegistering && !component.isThreadingTold)
        TakeThreadingFromBeside(module.Path(), component);
    return isRegistering ? registry.WriteComponent(module.Path(), component)
                         : registry.RemoveComponent(module.Path(), component.id);
}

} // namespace

CWQ_ComModule::CWQ_ComModule(const void* address, CModuleUses& uses)
    : m_path(platform::ModulePathOf(address)), m_uses(uses)
{
    ThrowIfFailed(ZELAtlRegisterAtlModule(*this));
}

CWQ_ComModule::~CWQ_ComModule()
{
    Term();
    static_cast<void>(ZELAtlUnregisterAtlModule(*this));
}

void CWQ_ComModule::SetClasses(std::vector<SWQ_ClassEntry> first, std::vector<SWQ_ClassEntry> second)
{
    m_first = std::move(first);
    m_second = std::move(second);
    m_objects.clear();
    for (const auto* table : {&m_first, &m_second}) {
        for (const SWQ_ClassEntry& entry : *table)
            m_objects.push_back(entry.object);
    }
}

HRESULT CWQ_ComModule::Init()
{
    return ZELAtlRegisterComModule(*this);
}

void CWQ_ComModule::Term()
{
    static_cast<void>(ZELAtlUnregisterComModule(*this));
}

HRESULT CWQ_ComModule::GetClassObject(REFCLSID classId, REFIID iid, void** object) noexcept
{
    return GetModuleClassObject(m_uses, m_objects, classId, iid, object);
}

bool CWQ_ComModule::CanUnload() noexcept
{
    try {
        return !m_uses.IsInUse() && WQ_AtlSupport().CanUnload(*this);
    } catch (...) {
        return false; // staying loaded does no harm
    }
}

HRESULT CWQ_ComModule::RegisterServer(bool withTypeLibrary, const CLSID* only) noexcept
{
    return Walk(true, withTypeLibrary, only);
}

HRESULT CWQ_ComModule::UnregisterServer(bool withTypeLibrary, const CLSID* only) noexcept
{
    return Walk(false, withTypeLibrary, only);
}

HRESULT CWQ_ComModule::Walk(bool isRegistering, bool withTypeLibrary, const CLSID* only) noexcept
{
    return ComGuard([&] {
        const CUseWinRegistry real;
        WalkTable(m_first, isRegistering, only);
        WalkTable(m_second, isRegistering, only);
        WalkModule(isRegistering, withTypeLibrary);
        return S_OK;
    });
}

void CWQ_ComModule::WalkTable(const std::vector<SWQ_ClassEntry>& table, bool isRegistering, const CLSID* only)
{
    IWQ_AtlSupport& support = WQ_AtlSupport();
    for (const SWQ_ClassEntry& entry : table) {
        if (only != nullptr && entry.object.id != *only)
            continue;
        ThrowIfFailed(entry.updateRegistry(*this, entry, isRegistering));
        ThrowIfFailed(isRegistering ? support.RegisterComClass(*this, entry)
                                    : support.UnregisterComClass(*this, entry));
    }
}

void CWQ_ComModule::WalkModule(bool isRegistering, bool withTypeLibrary)
{
    IWQ_AtlSupport& support = WQ_AtlSupport();
    if (withTypeLibrary)
        ThrowIfFailed(isRegistering ? support.RegisterTypeLibrary(*this) : support.UnregisterTypeLibrary(*this));
    ThrowIfFailed(isRegistering ? ZELAtlRegisterComModule(*this) : ZELAtlUnregisterComModule(*this));
    if (m_hook)
        ThrowIfFailed(m_hook(isRegistering));
    if (m_pStringCodes != nullptr) {
        ThrowIfFailed(isRegistering ? ZELAtlRegisterStringCodeModule(*m_pStringCodes)
                                    : ZELAtlUnregisterStringCodeModule(*m_pStringCodes));
    }
}

HRESULT CWQ_ComModule::UpdateClass(CWQ_ComModule& module, const SWQ_ClassEntry& entry, bool isRegistering)
{
    return ComGuard([&] { return UpdateOne(module, {entry.object.id, entry.object.name, {}}, isRegistering); });
}

HRESULT CWQ_ComModule::UpdateClassFromScript(CWQ_ComModule& module, const SWQ_ClassEntry& entry, bool isRegistering)
{
    return ComGuard([&] {
        SComponentManifest script;
        std::wstring error;
        if (!ParseComponentManifest(module.Replaced(entry.script), module.Path(), script, error)) {
            SetRegistrationError(error);
            return E_INVALIDARG;
        }
        for (const SComponentClass& component : script.classes)
            ThrowIfFailed(UpdateOne(module, component, isRegistering));
        return S_OK;
    });
}

std::wstring CWQ_ComModule::Replaced(std::wstring script) const
{
    std::map<std::wstring, std::wstring> replacements = m_replacements;
    replacements[L"MODULE"] = m_path;
    for (const auto& [name, value] : replacements) {
        const std::wstring placeholder = L"%" + name + L"%";
        const std::wstring text = EscapeForManifest(value);
        for (std::size_t at = 0; (at = script.find(placeholder, at)) != std::wstring::npos; at += text.size())
            script.replace(at, placeholder.size(), text);
    }
    return script;
}
