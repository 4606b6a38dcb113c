#pragma once

#include "com/Com.h"
#include "com/ModuleClasses.h"
#include "platform/Export.h"

#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

class IWQ_StringCodeModule;
class CWQ_ComModule;

/// One class of a module, with what is registered of it.
struct SWQ_ClassEntry {
    SModuleClass object;
    std::vector<CATID> categories = {};
    /// Writes the class into the registry, or takes it out: CWQ_ComModule::UpdateClass, UpdateClassFromScript, or one
    /// of the class's own.
    HRESULT (*updateRegistry)(CWQ_ComModule& module, const SWQ_ClassEntry& entry, bool isRegistering);
    /// For UpdateClassFromScript: a component manifest (com/Components.h) in which %NAME% stands for the replacement of
    /// NAME. There always is MODULE, the module's path.
    const wchar_t* script = nullptr;
};

/// The COM module object: class tables, registration, and the truth about whether the module may be unloaded. One for
/// each module; safe from any thread once it is set up.
class ZEL_FRAMEWORK_API CWQ_ComModule {
public:
    /// Makes itself known to the host (ZELAtlRegisterAtlModule). The address is any of the module's: it tells the
    /// module's path. The count outlives the object.
    CWQ_ComModule(const void* address, CModuleUses& uses);
    ~CWQ_ComModule();
    CWQ_ComModule(const CWQ_ComModule&) = delete;
    CWQ_ComModule& operator=(const CWQ_ComModule&) = delete;

    // Set up, before anything else.

    /// The first table is walked before the second.
    void SetClasses(std::vector<SWQ_ClassEntry> first, std::vector<SWQ_ClassEntry> second);
    void SetTypeLibrary(REFGUID id) { m_typeLibrary = id; }
    /// Called at the end of a registration with true, of an unregistration with false.
    void SetRegistrationHook(std::function<HRESULT(bool isRegistering)> hook) { m_hook = std::move(hook); }
    void SetStringCodeModule(IWQ_StringCodeModule* module) { m_pStringCodes = module; }
    void AddReplacement(const std::wstring& name, const std::wstring& value) { m_replacements[name] = value; }

    /// The module serves its classes from now on (ZELAtlRegisterComModule), and no more.
    HRESULT Init();
    void Term();

    // The entry points of a module.

    HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** object) noexcept;
    /// True when no object lives, no lock is held, and the host agrees.
    [[nodiscard]] bool CanUnload() noexcept;
    /// Registers all classes, or only the one asked for, then the type library when wanted, the module and its string
    /// codes, in the system's own registry whatever the process uses otherwise. Stops at the first failure and returns
    /// it; what was written before stays.
    HRESULT RegisterServer(bool withTypeLibrary, const CLSID* only = nullptr) noexcept;
    /// The same in the same order through the counterparts.
    HRESULT UnregisterServer(bool withTypeLibrary, const CLSID* only = nullptr) noexcept;

    [[nodiscard]] const std::wstring& Path() const { return m_path; }
    [[nodiscard]] const GUID& TypeLibrary() const { return m_typeLibrary; }

    /// Writes what the entry says of the class.
    static HRESULT UpdateClass(CWQ_ComModule& module, const SWQ_ClassEntry& entry, bool isRegistering);
    /// Writes the classes of the entry's script.
    static HRESULT UpdateClassFromScript(CWQ_ComModule& module, const SWQ_ClassEntry& entry, bool isRegistering);

private:
    HRESULT Walk(bool isRegistering, bool withTypeLibrary, const CLSID* only) noexcept;
    void WalkTable(const std::vector<SWQ_ClassEntry>& table, bool isRegistering, const CLSID* only);
    void WalkModule(bool isRegistering, bool withTypeLibrary);
    [[nodiscard]] std::wstring Replaced(std::wstring script) const;

    const std::wstring m_path;
    CModuleUses& m_uses;
    std::vector<SWQ_ClassEntry> m_first;
    std::vector<SWQ_ClassEntry> m_second;
    std::vector<SModuleClass> m_objects; ///< of both tables
    std::map<std::wstring, std::wstring> m_replacements;
    std::function<HRESULT(bool)> m_hook;
    IWQ_StringCodeModule* m_pStringCodes = nullptr;
    GUID m_typeLibrary = {};
};
