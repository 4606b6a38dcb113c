#include "apps/zel-regsvr/RegsvrOptions.h"

#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"

#include "RegsvrTexts.h"

#include <CLI/CLI.hpp>

std::optional<int> ParseRegsvrOptions(const std::vector<std::wstring>& arguments, SRegsvrOptions& options)
{
    CLI::App app(HelpText(RegsvrTexts::IDS_HELP_DESCRIPTION), "zel-regsvr");
    DefineCommonParts(app);
    app.footer(HelpText(RegsvrTexts::IDS_HELP_FOOTER));
    std::vector<std::string> modules;
    bool user = false;
    bool system = false;
    auto* const files = app.add_option("MODULE", modules, HelpText(RegsvrTexts::IDS_HELP_MODULE));
    auto* const unregister =
        app.add_flag("-u,--unregister", options.unregister, HelpText(RegsvrTexts::IDS_HELP_UNREGISTER));
    auto* const forUser = app.add_flag("--user", user, HelpText(RegsvrTexts::IDS_HELP_USER));
    auto* const forSystem = app.add_flag("--system", system, HelpText(RegsvrTexts::IDS_HELP_SYSTEM));
    auto* const list = app.add_flag("-l,--list", options.list, HelpText(RegsvrTexts::IDS_HELP_LIST));
    forUser->excludes(forSystem);
    for (auto* const other : {files, unregister, forUser, forSystem})
        list->excludes(other);
    if (const std::optional<int> code = ParseCommandLine(app, arguments))
        return code;
    if (!options.list && modules.empty()) {
        PrintUsageError(L"zel-regsvr", WQ_ModuleText(RegsvrTexts::IDS_NAME_A_MODULE));
        return eExitCode_Usage;
    }
    options.scope = user ? eRegistrationScope_User : eRegistrationScope_System;
    options.modules = ToWide(modules);
    return std::nullopt;
}
