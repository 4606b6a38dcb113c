#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <memory>
#include <string>
#include <vector>

/// Dynamic modules and where things lie.
namespace platform {

/// A loaded module; unloads with the object.
class IModule {
public:
    virtual ~IModule() = default;
    /// Null when the module exports no such name.
    [[nodiscard]] virtual void* Symbol(const char* name) = 0;
};

/// Loads a module by its full path. On failure errorText holds the loader's own words.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError LoadDynamicModule(const std::wstring& path, std::unique_ptr<IModule>& loaded,
                                                           std::wstring& errorText);
/// ".so" or ".dll".
[[nodiscard]] ZEL_FRAMEWORK_API const wchar_t* ModuleExtension();
/// Full path of the module that holds this address; empty when unknown.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring ModulePathOf(const void* address);
/// Full path of the running program.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring ProgramPath();
/// Full paths of all modules loaded now.
[[nodiscard]] ZEL_FRAMEWORK_API std::vector<std::wstring> LoadedModules();

/// Value of an environment variable; empty when it is not set.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring Environment(const wchar_t* name);
/// Sets a variable for this process and its children; an empty value removes it. Not while other threads read the
/// environment.
ZEL_FRAMEWORK_API void SetEnvironment(const wchar_t* name, const std::wstring& value);
/// Separator of path lists in variables: ':' or ';'.
[[nodiscard]] ZEL_FRAMEWORK_API wchar_t PathListSeparator();
/// Folder for temporary files.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring TemporaryDirectory();
/// Folders for system-wide and per-user configuration ("/etc/zel-processor" and "$XDG_CONFIG_HOME/zel-processor";
/// below ProgramData and LocalAppData on Windows). They need not exist.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring SystemConfigDirectory();
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring UserConfigDirectory();

} // namespace platform
