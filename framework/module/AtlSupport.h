#pragma once

#include "com/Com.h"
#include "platform/Export.h"

#include <string>

class CWQ_ComModule;
class IComponentRegistry;
struct SWQ_ClassEntry;

/// A module's texts, as the host asks for them: by codes that begin with the module's prefix, "DLLRC:116".
class IWQ_StringCodeModule {
public:
    /// What the module's codes begin with, the colon included.
    virtual std::wstring Prefix() = 0;
    /// The text of a code without its prefix; empty when the module has none.
    virtual std::wstring Text(const std::wstring& code) = 0;

protected:
    ~IWQ_StringCodeModule() = default;
};

/// What a host does for component modules: it knows them, and it writes what they register. The default services are
/// real; a host may install others, which may derive from CWQ_DefaultAtlSupport. From any thread.
class IWQ_AtlSupport {
public:
    /// A module of this process came into being, and went.
    virtual HRESULT RegisterAtlModule(CWQ_ComModule& module) = 0;
    virtual HRESULT UnregisterAtlModule(CWQ_ComModule& module) = 0;

    /// Puts a class that is in the registry already into its categories, and takes it out of them.
    virtual HRESULT RegisterComClass(CWQ_ComModule& module, const SWQ_ClassEntry& entry) = 0;
    virtual HRESULT UnregisterComClass(CWQ_ComModule& module, const SWQ_ClassEntry& entry) = 0;
    virtual HRESULT RegisterTypeLibrary(CWQ_ComModule& module) = 0;
    virtual HRESULT UnregisterTypeLibrary(CWQ_ComModule& module) = 0;

    /// The module is ready to serve its classes, and is no more.
    virtual HRESULT RegisterComModule(CWQ_ComModule& module) = 0;
    virtual HRESULT UnregisterComModule(CWQ_ComModule& module) = 0;

    /// From now on the module's codes are resolved, and are no more. The module must outlive the time between.
    virtual HRESULT RegisterStringCodeModule(IWQ_StringCodeModule& module) = 0;
    virtual HRESULT UnregisterStringCodeModule(IWQ_StringCodeModule& module) = 0;
    /// The text of a whole code, from the module whose prefix it has; empty when no module has it.
    virtual std::wstring ResolveStringCode(const std::wstring& code) = 0;

    /// Where registrations of this process go: the system's own registry, or the folder of component manifests that
    /// stands in for it. Off at first. Returns what was set before. Elsewhere than on Windows both are one.
    virtual bool SetUseWinRegistry(bool use) = 0;
    [[nodiscard]] virtual bool IsWinRegistryUsed() = 0;

    /// The host's own word on unloading a module: false while the host still runs code of it.
    [[nodiscard]] virtual bool CanUnload(const CWQ_ComModule& module) = 0;

protected:
    ~IWQ_AtlSupport() = default;
};

/// The services in force.
[[nodiscard]] ZEL_FRAMEWORK_API IWQ_AtlSupport& WQ_AtlSupport();
/// Installs others for the whole process, null for the default ones; returns what was installed before (null for the
/// default). Not owned; must outlive its use.
ZEL_FRAMEWORK_API IWQ_AtlSupport* SetWQ_AtlSupport(IWQ_AtlSupport* support);

/// The registry that registrations of this process go to now, see SetUseWinRegistry.
[[nodiscard]] ZEL_FRAMEWORK_API IComponentRegistry& WQ_ComponentRegistry();

// The services under the names by which modules call them.

ZEL_FRAMEWORK_API HRESULT ZELAtlRegisterAtlModule(CWQ_ComModule& module);
ZEL_FRAMEWORK_API HRESULT ZELAtlUnregisterAtlModule(CWQ_ComModule& module);
ZEL_FRAMEWORK_API HRESULT ZELAtlRegisterComModule(CWQ_ComModule& module);
ZEL_FRAMEWORK_API HRESULT ZELAtlUnregisterComModule(CWQ_ComModule& module);
ZEL_FRAMEWORK_API HRESULT ZELAtlRegisterStringCodeModule(IWQ_StringCodeModule& module);
ZEL_FRAMEWORK_API HRESULT ZELAtlUnregisterStringCodeModule(IWQ_StringCodeModule& module);
ZEL_FRAMEWORK_API bool SetUseWinRegistry(bool use);
