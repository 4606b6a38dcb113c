#include "apps/zel-server/ServerOptions.h"

#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"
#include "apps/common/ShownText.h"
#include "apps/zel-server/FileArguments.h"
#include "apps/zel-server/ServerDirectories.h"
#include "apps/zel-server/ServerParser.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "platform/Sandbox.h"

#include "ServerTexts.h"

namespace {

constexpr unsigned kUsualEventsLimitMiB = 16;

/// A mistake that the parser does not see; empty without one.
std::optional<SArgumentMistake> MistakeOf(const SServerOptions& options)
{
    if (!options.logFile.empty() &&
        CServerDirectories::IsCleared(options.outputDir, platform::DirectoryOf(options.logFile)))
        return SArgumentMistake{WQ_ModuleText(ServerTexts::IDS_LOG_IN_OUTPUT_DIR, {options.logFile, options.outputDir}),
                                "log-file"};
    if (!options.metricsFile.empty() &&
        CServerDirectories::IsCleared(options.outputDir, platform::DirectoryOf(options.metricsFile)))
        return SArgumentMistake{
            WQ_ModuleText(ServerTexts::IDS_FIGURES_IN_OUTPUT_DIR, {options.metricsFile, options.outputDir}), "metrics"};
    if (!options.pageDir.empty() && CServerDirectories::IsCleared(options.outputDir, options.pageDir))
        return SArgumentMistake{
            WQ_ModuleText(ServerTexts::IDS_FIGURES_IN_OUTPUT_DIR, {options.pageDir, options.outputDir}), "page"};
    if (options.sandbox && !platform::SandboxSupport())
        return SArgumentMistake{WQ_ModuleText(ServerTexts::IDS_NO_SANDBOX), "sandbox"};
    if (options.service != eServiceAction_Install && options.service != eServiceAction_Run)
        return std::nullopt;
    if (options.logFile.empty())
        return SArgumentMistake{WQ_ModuleText(ServerTexts::IDS_SERVICE_NEEDS_LOG_FILE), {}};
    if (options.manual)
        return SArgumentMistake{WQ_ModuleText(ServerTexts::IDS_SERVICE_NOT_MANUAL), "manual"};
    return std::nullopt;
}

/// The options of the command line and of the file that it names. Empty, or what is wrong with them.
std::wstring Complete(CServerParser& given, SServerOptions& options)
{
    const std::wstring path = given.Options().configFile;
    CFileArguments file;
    std::wstring error;
    // A service can be removed when its file is gone.
    if (!path.empty() && given.IsForStart() && !file.Read(path, given.App(), error))
        return error;
    CServerParser all;
    all.DemandAll(given.IsForStart());
    const std::vector<std::wstring> named = given.Given();
    std::vector<std::wstring> arguments = file.Arguments();
    arguments.insert(arguments.end(), named.begin(), named.end());
    if (const auto mistake = FindArgumentMistake(all.App(), arguments))
        return file.Explain(*mistake);
    options = all.Options();
    if (!path.empty())
        options.arguments = named;
    const auto mistake = MistakeOf(options);
    return mistake ? file.Explain(*mistake) : std::wstring();
}

} // namespace

std::optional<int> ParseServerOptions(const std::vector<std::wstring>& arguments, SServerOptions& options)
{
    CServerParser given;
    if (const std::optional<int> code = ParseCommandLine(given.App(), arguments))
        return code;
    if (const std::wstring mistake = Complete(given, options); !mistake.empty()) {
        PrintUsageError(L"zel-server", mistake);
        return eExitCode_Usage;
    }
    if (!given.ChecksFile())
        return std::nullopt;
    platform::WriteConsoleText(platform::eStream_Output,
                               L"zel-server: " + ShownText(ServerTexts::IDS_CONFIG_IS_GOOD, {options.configFile}) +
                                   L"\n");
    return eExitCode_Done;
}

std::wstring ReadServerOptionsAgain(const SServerOptions& options, SServerOptions& read)
{
    CServerParser given;
    if (const auto mistake = FindArgumentMistake(given.App(), options.arguments))
        return mistake->text; // not of arguments that were taken before
    return Complete(given, read);
}

std::uint64_t EventsLimit(const SServerOptions& options)
{
    return std::uint64_t{options.eventsLimitMiB.value_or(options.strict ? 0 : kUsualEventsLimitMiB)} << 20;
}
