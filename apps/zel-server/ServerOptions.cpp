#include "apps/zel-server/ServerOptions.h"

#include "apps/common/CommandLine.h"
#include "apps/common/Directories.h"
#include "apps/common/ExitCodes.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <map>

namespace {

constexpr const char* kDescription =
    "Serves requests: takes request files from the request directory, runs them one at a time\n"
    "and leaves responses and status files in the output directory.";

constexpr const char* kFooter =
    "Prints \"zel-server: ready\" on standard output when requests are accepted. The first SIGTERM or SIGINT\n"
    "stops the server when the running request has ended, the second one cancels that request.\n"
    "\n"
    "STARTING DELETES EVERY FILE in the output directory and in its folder Queue; subfolders stay.\n"
    "\n"
    "Plug-ins are looked for in the folders of --components, then in \"components\" of the system's and of\n"
    "the user's configuration folder, then in the folders of the variable ZEL_COMPONENT_PATH.\n"
    "\n"
    "Exit codes: 0 stopped cleanly, 1 could not start or run, 2 usage.";

const std::map<std::string, Brel::Log::eLogLevel>& LogLevels()
{
    static const std::map<std::string, Brel::Log::eLogLevel> levels = {
        {"trace", Brel::Log::eLogLevel_Trace}, {"debug", Brel::Log::eLogLevel_Debug},
        {"info", Brel::Log::eLogLevel_Info},   {"warning", Brel::Log::eLogLevel_Warning},
        {"error", Brel::Log::eLogLevel_Error}, {"critical", Brel::Log::eLogLevel_Critical},
    };
    return levels;
}

const std::map<std::string, eServiceAction>& ServiceActions()
{
    static const std::map<std::string, eServiceAction> actions = {
        {"install", eServiceAction_Install}, {"remove", eServiceAction_Remove}, {"run", eServiceAction_Run}};
    return actions;
}

/// What the parser fills: it knows narrow texts only.
struct SRawOptions {
    std::string requestDir;
    std::string outputDir;
    std::vector<std::string> componentFolders;
    std::string logLevel = "info";
    std::string logFile;
    std::string service;
    std::string serviceName = "zel-server";
};

void DefineDirectories(CLI::App& app, SRawOptions& raw, SServerOptions& options)
{
    const CLI::Validator notEmpty(
        [](const std::string& text) { return text.empty() ? "must not be empty" : std::string(); }, "");
    app.add_option("--request-dir", raw.requestDir, "Directory that clients put requests into")
        ->required()
        ->type_name("DIR")
        ->check(notEmpty);
    app.add_option("--output-dir", raw.outputDir, "Directory for responses and status files")
        ->required()
        ->type_name("DIR")
        ->check(notEmpty);
    app.add_flag("--create-dirs", options.createDirs, "Create the directories when they are missing");
    app.add_flag("--adopt", options.adopt,
                 "Take an output directory that holds files but no folder Queue, and delete those files");
    app.add_option("--components", raw.componentFolders, "Folder with component manifests of plug-ins; repeatable")
        ->type_name("DIR")
        ->expected(1)
        ->take_all();
}

void DefineBehaviour(CLI::App& app, SRawOptions& raw, SServerOptions& options)
{
    app.add_flag("--manual", options.manual,
                 "Run what is queued only when told to: SIGUSR1, on Windows a line on standard input");
    app.add_flag("--no-executive", options.noExecutive, "Queue requests, but never run one");
    app.add_flag("--no-sync", options.noSync, "Do not wait for the storage device when taking requests over");
    std::string names;
    for (const auto* name : {"trace", "debug", "info", "warning", "error", "critical"})
        names += (names.empty() ? "" : ", ") + std::string(name);
    app.add_option("--log-level", raw.logLevel, "How much to log: " + names + " (info)")
        ->type_name("LEVEL")
        ->check(CLI::Validator(
            [names](const std::string& text) {
                return LogLevels().contains(text) ? std::string() : "'" + text + "' is none of " + names;
            },
            ""));
    app.add_option("--log-file", raw.logFile, "Append the log to FILE instead of writing it to standard error")
        ->type_name("FILE");
    app.add_flag("--log-json", options.logJson, "Log one JSON object per line");
}

void DefineService(CLI::App& app, SRawOptions& raw)
{
    app.add_option("--service", raw.service,
                   "Windows: install a service that runs with these options, or remove it; run is for the system")
        ->type_name("install|remove|run")
        ->check(CLI::Validator(
            [&app](const std::string& action) {
                if (!ServiceActions().contains(action))
                    return "'" + action + "' is none of install, remove, run";
                // Nothing is served: the name is enough.
                for (const char* directory : {"--request-dir", "--output-dir"})
                    app.get_option(directory)->required(action != "remove");
                return std::string();
            },
            ""));
    app.add_option("--service-name", raw.serviceName, "Name of the service (zel-server)")->type_name("NAME");
}

/// A mistake that the parser does not see; empty without one.
std::wstring ServiceMistake(const SServerOptions& options)
{
    if (options.service != eServiceAction_Install && options.service != eServiceAction_Run)
        return {};
    if (options.logFile.empty())
        return L"a service has no standard error to log to: name a file with --log-file";
    if (options.manual)
        return L"a service has no standard input: --manual cannot be used";
    return {};
}

} // namespace

std::optional<int> ParseServerOptions(const std::vector<std::wstring>& arguments, SServerOptions& options)
{
    CLI::App app(kDescription, "zel-server");
    app.footer(kFooter);
    app.set_help_flag("-h,--help", "Print this help and end");
    app.set_version_flag("--version", "zel-server " ZEL_VERSION, "Print the version and end");
    SRawOptions raw;
    DefineDirectories(app, raw, options);
    DefineBehaviour(app, raw, options);
    DefineService(app, raw);
    if (const std::optional<int> code = ParseCommandLine(app, arguments))
        return code;

    options.requestDir = NormalDirectory(platform::FromUtf8(raw.requestDir));
    options.outputDir = NormalDirectory(platform::FromUtf8(raw.outputDir));
    for (const std::wstring& folder : ToWide(raw.componentFolders))
        options.componentFolders.push_back(NormalDirectory(folder));
    options.logLevel = LogLevels().at(raw.logLevel);
    options.logFile = raw.logFile.empty() ? L"" : platform::AbsolutePath(platform::FromUtf8(raw.logFile));
    if (!raw.service.empty())
        options.service = ServiceActions().at(raw.service);
    options.serviceName = platform::FromUtf8(raw.serviceName);
    if (const std::wstring mistake = ServiceMistake(options); !mistake.empty()) {
        PrintError(L"zel-server", mistake + L"\nRun with --help for more information.");
        return eExitCode_Usage;
    }
    return std::nullopt;
}

std::vector<std::wstring> ServerArguments(const SServerOptions& options)
{
    std::vector<std::wstring> arguments;
    const auto add = [&arguments](const wchar_t* name, const std::wstring& value) {
        if (!value.empty())
            arguments.insert(arguments.end(), {name, value});
    };
    const auto addNamed = [&add](const wchar_t* name, const auto& names, auto value) {
        for (const auto& [text, meaning] : names) {
            if (meaning == value)
                add(name, platform::FromUtf8(text));
        }
    };
    const auto addFlag = [&arguments](const wchar_t* name, bool isSet) {
        if (isSet)
            arguments.emplace_back(name);
    };
    addNamed(L"--service", ServiceActions(), options.service);
    add(L"--service-name", options.serviceName);
    add(L"--request-dir", options.requestDir);
    add(L"--output-dir", options.outputDir);
    for (const std::wstring& folder : options.componentFolders)
        add(L"--components", folder);
    addNamed(L"--log-level", LogLevels(), options.logLevel);
    add(L"--log-file", options.logFile);
    addFlag(L"--log-json", options.logJson);
    addFlag(L"--create-dirs", options.createDirs);
    addFlag(L"--adopt", options.adopt);
    addFlag(L"--manual", options.manual);
    addFlag(L"--no-executive", options.noExecutive);
    addFlag(L"--no-sync", options.noSync);
    return arguments;
}
