#include "apps/zel/NewPluginCommand.h"

#include "apps/zel/PluginTemplate.h"
#include "com/Guid.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>
#include <bit>

void CNewPluginCommand::Define(CLI::App& app)
{
    app.add_option("NAME", m_given, HelpText(ToolTexts::IDS_HELP_NEW_PLUGIN_NAME))->type_name("")->required();
}

bool CNewPluginCommand::Check()
{
    const std::wstring name = platform::FileNameOf(platform::FromUtf8(m_given));
    if (!IsPluginName(name)) {
        PrintUsageError(L"zel", ShownText(ToolTexts::IDS_NO_PLUGIN_NAME, {name, std::to_wstring(kLongestPluginName)}));
        return false;
    }
    const std::wstring taken = TakenName(PluginNames(name));
    if (!taken.empty())
        PrintUsageError(L"zel", WQ_ModuleText(ToolTexts::IDS_PLUGIN_NAME_TAKEN, {name, taken}));
    return taken.empty();
}

int CNewPluginCommand::Run()
{
    const std::wstring folder = platform::FromUtf8(m_given);
    const SPluginNames names = PluginNames(platform::FileNameOf(folder));
    const auto fail = [](const std::wstring& path, platform::eOsError error) {
        PrintUsageError(L"zel", ShownText(ToolTexts::IDS_CANNOT_BE_WRITTEN, {path, platform::OsErrorText(error)}));
        return eExitCode_ClientError;
    };
    // Nothing that is there is touched: the folder is a new one.
    if (const platform::eOsError made = platform::Files().MakeDirectory(folder); !platform::Succeeded(made))
        return fail(folder, made);
    const auto id = platform::ToUtf8(GuidToText(std::bit_cast<GUID>(platform::NewUniqueId())));
    for (const SPluginFile& file : PluginFiles(names, id)) {
        const std::wstring path = platform::JoinPath(folder, platform::FromUtf8(file.name));
        if (const platform::eOsError written = platform::WriteWholeFile(path, file.text); !platform::Succeeded(written))
            return fail(path, written);
    }
    platform::WriteConsoleText(
        platform::eStream_Output,
        WQ_ModuleText(ToolTexts::IDS_PLUGIN_MADE, {folder, folder, folder, folder, folder,
                                                   platform::FromUtf8(names.target) + platform::ModuleExtension(),
                                                   folder, platform::FromUtf8(names.name)}) +
            L"\n");
    return eExitCode_Done;
}
