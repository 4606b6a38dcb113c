#include "apps/zel-regsvr/RegsvrOptions.h"

#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"

namespace {

constexpr const char* kDescription = "Registers plug-ins and other component modules, so that every server finds them.";

constexpr const char* kFooter =
    "A module registers itself: on Windows in the system's registry, elsewhere in a component manifest in\n"
    "\"components\" of the configuration folder. A module that others may write to is refused.\n"
    "\n"
    "Exit codes: 0 done, 1 something failed or, with --list, is broken, 2 usage.";

} // namespace

std::optional<int> ParseRegsvrOptions(const std::vector<std::wstring>& arguments, SRegsvrOptions& options)
{
    CLI::App app(kDescription, "zel-regsvr");
    app.footer(kFooter);
    app.set_help_flag("-h,--help", "Print this help and end");
    app.set_version_flag("--version", "zel-regsvr " ZEL_VERSION, "Print the version and end");
    std::vector<std::string> modules;
    bool user = false;
    bool system = false;
    auto* const files = app.add_option("MODULE", modules, "Files of the modules");
    auto* const unregister = app.add_flag("-u,--unregister", options.unregister, "Take the registration back");
    auto* const forUser = app.add_flag("--user", user, "For the current user");
    auto* const forSystem = app.add_flag("--system", system, "For every user of the machine, as without an option");
    auto* const list = app.add_flag("-l,--list", options.list,
                                    "Show what is registered, in the order in which servers ask, and what is broken");
    forUser->excludes(forSystem);
    for (auto* const other : {files, unregister, forUser, forSystem})
        list->excludes(other);
    if (const std::optional<int> code = ParseCommandLine(app, arguments))
        return code;
    if (!options.list && modules.empty()) {
        PrintError(L"zel-regsvr", L"name a module, or give --list\nRun with --help for more information.");
        return eExitCode_Usage;
    }
    options.scope = user ? eRegistrationScope_User : eRegistrationScope_System;
    options.modules = ToWide(modules);
    return std::nullopt;
}
