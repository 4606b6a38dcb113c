#include "apps/zel-server/ServerPlugins.h"

#include "com/Components.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Path.h"

#include <string_view>

namespace {

/// The folder of the plug-ins that came with the program, found by where the program lies: beside it in a build folder
/// and in a Windows archive, elsewhere in the place that the installation gave it. Empty without one.
std::wstring ShippedPlugins()
{
    const std::wstring programs = platform::DirectoryOf(platform::ProgramPath());
    const std::wstring beside = platform::JoinPath(programs, L"plugins");
    if (platform::DirectoryExists(beside))
        return beside;
    // Without "..": a registered module is known by its path, and this folder may be the one that it lies in.
    std::wstring folder = programs;
    std::wstring_view way = ZEL_PLUGINS_FROM_PROGRAMS;
    for (constexpr std::wstring_view up = L"../"; way.starts_with(up); way.remove_prefix(up.size()))
        folder = platform::DirectoryOf(folder);
    folder = platform::JoinPath(folder, way);
    return platform::DirectoryExists(folder) ? folder : std::wstring();
}

} // namespace

std::vector<std::wstring> AddServerPlugins(const SServerOptions& options)
{
    std::vector<std::wstring> errors;
    // Those that the user named come first: of two modules for one class the first wins.
    for (const std::wstring& folder : options.componentFolders)
        AddComponentFolder(folder, errors);
    LoadDefaultComponentFolders(errors);
    // Last: what somebody chose for this machine comes before what everybody gets.
    if (const std::wstring shipped = ShippedPlugins(); !shipped.empty())
        AddComponentFolder(shipped, errors);
    return errors;
}
