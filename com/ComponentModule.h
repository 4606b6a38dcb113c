#pragma once

#include "com/Com.h"
#include "platform/Export.h"
#include "platform/Module.h"
#include "platform/Version.h"

#include <cstdint>
#include <memory>
#include <string>

/// Modules that serve components, and what is asked of one before its code is trusted.

/// The version of the interfaces between plug-ins and the program that loads them: the major and the minor number of
/// these headers, which fit together with no other.
inline constexpr std::uint32_t kComponentVersion = (ZEL_VERSION_MAJOR << 16U) | ZEL_VERSION_MINOR;

/// A plug-in made with the kit exports this function; what it answers must be the number above.
inline constexpr char kComponentVersionFunction[] = "ZelPluginVersion";

/// Exported as well by a plug-in made with the kit, for tools: gives its table of classes (com/ModuleClasses.h), and
/// their number.
inline constexpr char kModuleClassesFunction[] = "ZelPluginClasses";
/// The number of its living objects.
inline constexpr char kModuleObjectsFunction[] = "ZelPluginObjects";

struct SComponentModule {
    std::unique_ptr<platform::IModule> module;
    HRESULT(STDMETHODCALLTYPE* getClassObject)(REFCLSID classId, REFIID iid, void** object) = nullptr;
};

/// Why the file may not be used as a module, before anything of it is loaded: it does not exist, or somebody else could
/// have put it there or may change it (platform/Trust.h). Empty when it may.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring RefusalOfModule(const std::wstring& path);

/// Loads a module. CO_E_DLLNOTFOUND when it is refused or cannot be loaded, CO_E_ERRORINDLL when it has no
/// DllGetClassObject or was built for another version; a module without a version is taken as it is.
/// The reason names the file.
[[nodiscard]] ZEL_FRAMEWORK_API HRESULT LoadComponentModule(const std::wstring& path, SComponentModule& loaded,
                                                            std::wstring& reason);
