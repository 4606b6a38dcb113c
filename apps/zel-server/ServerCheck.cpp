#include "apps/zel-server/ServerCheck.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"
#include "apps/zel-server/FigureKeeper.h"
#include "apps/zel-server/ServerDirectories.h"
#include "apps/zel-server/ServerPlugins.h"
#include "apps/zel-server/ServerStory.h"
#include "apps/zel-server/TakeOver.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include "ServerTexts.h"

#include <algorithm>

namespace {

void Say(const std::wstring& text)
{
    static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, text + L"\n"));
}

std::size_t FilesIn(const std::wstring& directory)
{
    std::vector<platform::SDirectoryEntry> entries;
    static_cast<void>(platform::Files().List(directory, entries));
    return static_cast<std::size_t>(
        std::ranges::count_if(entries, [](const platform::SDirectoryEntry& entry) { return !entry.isDirectory; }));
}

std::wstring PlaceText(const std::wstring& directory)
{
    return platform::DirectoryExists(directory) ? DirectoryText(directory)
                                                : WQ_ModuleText(ServerTexts::IDS_CHECK_CREATED, {directory});
}

bool CheckDirectories(const SServerOptions& options)
{
    std::wstring error;
    if (!CServerDirectories::Check(options, error)) {
        PrintError(L"zel-server", error);
        return false;
    }
    Say(WQ_ModuleText(ServerTexts::IDS_CHECK_DIRECTORIES,
                      {PlaceText(options.requestDir), PlaceText(options.outputDir)}));
    if (options.takeOver && TakeOver::HasOther(options))
        Say(WQ_ModuleText(ServerTexts::IDS_CHECK_TAKES_OVER, {options.outputDir}));
    else if (CServerDirectories::WaitsForOther(options))
        Say(WQ_ModuleText(ServerTexts::IDS_CHECK_WAITS, {options.outputDir}));
    const std::size_t files =
        FilesIn(options.outputDir) + FilesIn(platform::JoinPath(options.outputDir, ZelProtocol::kQueueDirectory));
    Say(WQ_ModuleText(options.resume && !options.strict ? ServerTexts::IDS_CHECK_RESUMES
                                                        : ServerTexts::IDS_CHECK_DELETES,
                      {std::to_wstring(files)}));
    return true;
}

bool CheckPlugins(const SServerOptions& options)
{
    for (const std::wstring& error : AddServerPlugins(options))
        PrintError(L"zel-server", WQ_ModuleText(ServerTexts::IDS_LEFT_OUT, {error}));
    const std::vector<std::wstring> plugins = PluginLines();
    for (const std::wstring& plugin : plugins)
        Say(plugin);
    if (plugins.empty())
        PrintError(L"zel-server", WQ_ModuleText(ServerTexts::IDS_NO_PLUGIN));
    return !plugins.empty();
}

bool CheckLogFile(const SServerOptions& options)
{
    const std::wstring folder = platform::DirectoryOf(options.logFile);
    if (options.logFile.empty() || platform::DirectoryExists(folder))
        return true;
    PrintError(L"zel-server", WQ_ModuleText(ServerTexts::IDS_CHECK_LOG_FOLDER, {options.logFile, folder}));
    return false;
}

bool CheckFigures(const SServerOptions& options)
{
    std::wstring error;
    if (CFigureKeeper::Check(options, error))
        return true;
    PrintError(L"zel-server", error);
    return false;
}

bool CheckTaskHost(const SServerOptions& options)
{
    const std::wstring self = platform::ProgramPath();
    const bool isExe = platform::EqualsNoCase(platform::ExtensionOf(self), L".exe");
    const std::wstring program =
        platform::JoinPath(platform::DirectoryOf(self), isExe ? L"zel-task-host.exe" : L"zel-task-host");
    if (!options.isolate || platform::PathExists(program))
        return true;
    PrintError(L"zel-server", WQ_ModuleText(ServerTexts::IDS_CHECK_NO_TASK_HOST, {program}));
    return false;
}

} // namespace

int CheckServer(const SServerOptions& options)
{
    Say(WQ_ModuleText(ServerTexts::IDS_CHECK_OPTIONS, {platform::FromUtf8(ZEL_VERSION), OptionsText(options)}));
    const bool hasDirectories = CheckDirectories(options);
    const bool hasPlugins = CheckPlugins(options);
    const bool hasLog = CheckLogFile(options);
    const bool hasFigures = CheckFigures(options);
    const bool hasTaskHost = CheckTaskHost(options);
    if (!hasDirectories || !hasPlugins || !hasLog || !hasFigures || !hasTaskHost)
        return eExitCode_ClientError;
    Say(WQ_ModuleText(ServerTexts::IDS_CHECK_STARTS));
    return eExitCode_Done;
}
