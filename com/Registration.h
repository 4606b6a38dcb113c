#pragma once

#include "com/Com.h"
#include "com/Components.h"
#include "platform/Export.h"

#include <string>
#include <vector>

/// Where component modules are registered: on Windows in the system's registry, elsewhere in component manifests. Each
/// module registers itself (DllRegisterServer), class by class; all of it ends here. For one thread of a process at a
/// time.

enum eRegistrationScope {
    eRegistrationScope_System, ///< for every user of the machine
    eRegistrationScope_User,   ///< for the current user
};

/// Folder of the manifests of registered modules: "components" of the system's configuration folder, or of the one that
/// the variable ZEL_CONFIG_DIR names in its place, and of the user's. Empty when the user has none.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring RegistrationFolder(eRegistrationScope scope);

/// Where registrations of this process go while the object lives; the system without one. On Windows what any module
/// writes below the system's classes then goes to the user's.
class ZEL_FRAMEWORK_API CRegistrationScope {
public:
    /// Throws CComError when the system has no place for such registrations.
    explicit CRegistrationScope(eRegistrationScope scope);
    ~CRegistrationScope();
    CRegistrationScope(const CRegistrationScope&) = delete;
    CRegistrationScope& operator=(const CRegistrationScope&) = delete;

    [[nodiscard]] static eRegistrationScope Current();

private:
    eRegistrationScope m_previous;
};

/// A place that knows classes. What is removed and not there is a success. What belongs to another module that exists
/// is left as it is: removing it does nothing, and writing in its place is E_ACCESSDENIED. Modules are named by full
/// paths. Every failure leaves its reason in RegistrationError.
class IComponentRegistry {
public:
    /// A class that the module has written before is replaced as a whole.
    virtual HRESULT WriteComponent(const std::wstring& modulePath, const SComponentClass& component) = 0;
    virtual HRESULT RemoveComponent(const std::wstring& modulePath, REFCLSID classId) = 0;
    /// Adds to a class that the module has written already, else REGDB_E_CLASSNOTREG.
    virtual HRESULT WriteCategories(const std::wstring& modulePath, REFCLSID classId,
                                    const std::vector<CATID>& categories) = 0;
    virtual HRESULT RemoveCategories(const std::wstring& modulePath, REFCLSID classId,
                                     const std::vector<CATID>& categories) = 0;
    /// For a module that has written at least one class already, else REGDB_E_CLASSNOTREG.
    virtual HRESULT WriteTypeLibrary(const std::wstring& modulePath, REFGUID id) = 0;
    virtual HRESULT RemoveTypeLibrary(const std::wstring& modulePath, REFGUID id) = 0;

protected:
    ~IComponentRegistry() = default;
};

/// The system's own: the registry on Windows, elsewhere the manifests.
[[nodiscard]] ZEL_FRAMEWORK_API IComponentRegistry& SystemComponentRegistry();

/// The manifests in RegistrationFolder, one for each module and named after it. A module that is not to be trusted
/// (platform/Trust.h) is refused, and so is a folder; a manifest that was made by hand, or belongs to another module
/// that exists, is left as it is and fails the call.
[[nodiscard]] ZEL_FRAMEWORK_API IComponentRegistry& ManifestComponentRegistry();

/// The reason of the last failure of a registration in this process, which names the file or key; empty when there was
/// none since the last call with a text. HRESULTs alone do not tell people what to do.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring RegistrationError();
ZEL_FRAMEWORK_API void SetRegistrationError(const std::wstring& text);
