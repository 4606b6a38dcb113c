#include "apps/zel-server/ServerOptions.h"

#include "apps/common/CommandLine.h"
#include "apps/common/Directories.h"
#include "apps/common/ExitCodes.h"
#include "apps/zel-server/OptionWords.h"
#include "apps/zel-server/ServerDirectories.h"
#include "platform/Path.h"
#include "platform/Seconds.h"
#include "platform/Text.h"
#include "platform/Version.h"

#include "CommonTexts.h"
#include "ServerTexts.h"
#include "ThirdPartyList.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

namespace {

/// A tebibyte: more than anybody reads, and far from any limit of the number of bytes.
constexpr unsigned kMaxLogSizeMiB = 1U << 20;

constexpr unsigned kUsualEventsLimitMiB = 16;
constexpr unsigned kLargestEventsLimitMiB = SZelServerOptions::kLargestEventsLimit >> 20;
/// A hundred years.
constexpr unsigned kMostDays = 36'500;
/// What nobody reaches.
constexpr unsigned kMaxLimit = 1'000'000'000;
/// An hour: who waits longer wants no server.
constexpr unsigned kLongestPollMs = 3'600'000;

/// What the parser fills: it knows narrow texts only.
struct SRawOptions {
    std::string requestDir;
    std::string outputDir;
    std::vector<std::string> componentFolders;
    std::vector<std::string> xmlLimits;
    std::string interrupted = "rerun";
    std::string logLevel = "info";
    std::string logFile;
    std::string service;
    std::string serviceName = "zel-server";
};

void DefineDirectories(CLI::App& app, SRawOptions& raw, SServerOptions& options)
{
    const CLI::Validator notEmpty(
        [](const std::string& text) {
            return text.empty() ? HelpText(ServerTexts::IDS_MUST_NOT_BE_EMPTY) : std::string();
        },
        "");
    app.add_option("--request-dir", raw.requestDir, HelpText(ServerTexts::IDS_HELP_REQUEST_DIR))
        ->required()
        ->type_name("DIR")
        ->check(notEmpty);
    app.add_option("--output-dir", raw.outputDir, HelpText(ServerTexts::IDS_HELP_OUTPUT_DIR))
        ->required()
        ->type_name("DIR")
        ->check(notEmpty);
    app.add_flag("--create-dirs", options.createDirs, HelpText(ServerTexts::IDS_HELP_CREATE_DIRS));
    app.add_flag("--adopt", options.adopt, HelpText(ServerTexts::IDS_HELP_ADOPT));
    app.add_flag("--share-requests", options.shareRequests, HelpText(ServerTexts::IDS_HELP_SHARE_REQUESTS));
    app.add_option("--components", raw.componentFolders, HelpText(ServerTexts::IDS_HELP_COMPONENTS))
        ->type_name("DIR")
        ->expected(1)
        ->take_all();
}

std::string XmlLimitNames()
{
    std::string names;
    for (const SXmlLimit& limit : kXmlLimits)
        names += (names.empty() ? "" : ", ") + std::string(limit.name);
    return names;
}

/// Sets what "NAME=NUMBER" says; empty, or what is wrong with it.
std::string SetXmlLimit(const std::string& text, SXmlLimits& limits)
{
    const std::size_t separator = std::min(text.find('='), text.size());
    const auto* const limit = std::find_if(kXmlLimits.begin(), kXmlLimits.end(), [&](const SXmlLimit& entry) {
        return text.compare(0, separator, entry.name) == 0;
    });
    if (limit == kXmlLimits.end())
        return HelpText(ServerTexts::IDS_IS_NONE_OF,
                        {platform::FromUtf8(text.substr(0, separator)), platform::FromUtf8(XmlLimitNames())});
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data() + std::min(separator + 1, text.size()), end, value);
    if (error != std::errc() || last != end || value < 1 || value > limit->highest)
        return HelpText(ServerTexts::IDS_XML_LIMIT_RANGE,
                        {platform::FromUtf8(limit->name), std::to_wstring(limit->highest)});
    limits.*limit->value = value;
    return {};
}

void DefineResume(CLI::App& app, SRawOptions& raw, SServerOptions& options)
{
    app.add_flag("--resume", options.resume, HelpText(ServerTexts::IDS_HELP_RESUME));
    app.add_option("--interrupted", raw.interrupted, HelpText(ServerTexts::IDS_HELP_INTERRUPTED))
        ->type_name("rerun|fail")
        ->check(CLI::Validator(
            [](const std::string& word) {
                return InterruptedWords().contains(word)
                           ? std::string()
                           : HelpText(ServerTexts::IDS_IS_NONE_OF, {platform::FromUtf8(word), L"rerun, fail"});
            },
            ""));
    app.add_option("--attempts", options.attempts, HelpText(ServerTexts::IDS_HELP_ATTEMPTS))
        ->type_name("N")
        ->check(CLI::Validator(CLI::Range(0U, kMaxLimit)).description(""));
}

void DefineSeconds(CLI::App& app, const char* name, std::optional<std::chrono::milliseconds>& time,
                   const STextCode& help)
{
    app.add_option_function<std::string>(
           name, [](const std::string&) {}, HelpText(help))
        ->type_name("SECONDS")
        ->check(CLI::Validator(
            [&time](const std::string& text) {
                return ParseSeconds(text, time.emplace())
                           ? std::string()
                           : HelpText(ServerTexts::IDS_QUERY_TIME_RANGE, {SecondsText(kMostSeconds)});
            },
            ""));
}

void DefineBehaviour(CLI::App& app, SRawOptions& raw, SServerOptions& options)
{
    app.add_flag("--check", options.check, HelpText(ServerTexts::IDS_HELP_CHECK));
    app.add_flag("--manual", options.manual, HelpText(ServerTexts::IDS_HELP_MANUAL));
    app.add_flag("--no-executive", options.noExecutive, HelpText(ServerTexts::IDS_HELP_NO_EXECUTIVE));
    app.add_flag("--no-sync", options.noSync, HelpText(ServerTexts::IDS_HELP_NO_SYNC));
    app.add_flag("--follow-links", options.followLinks, HelpText(ServerTexts::IDS_HELP_FOLLOW_LINKS));
    app.add_flag("--strict", options.strict, HelpText(ServerTexts::IDS_HELP_STRICT));
    app.add_option("--events-limit", options.eventsLimitMiB, HelpText(ServerTexts::IDS_HELP_EVENTS_LIMIT))
        ->type_name("MIB")
        ->check(CLI::Validator(CLI::Range(0U, kLargestEventsLimitMiB)).description(""));
    app.add_flag("--one-list", options.oneList, HelpText(ServerTexts::IDS_HELP_ONE_LIST));
    app.add_flag("--no-presence", options.noPresence, HelpText(ServerTexts::IDS_HELP_NO_PRESENCE));
    app.add_flag("--fair", options.fair, HelpText(ServerTexts::IDS_HELP_FAIR));
    app.add_option("--xml-limit", raw.xmlLimits,
                   HelpText(ServerTexts::IDS_HELP_XML_LIMIT, {platform::FromUtf8(XmlLimitNames())}))
        ->type_name("NAME=NUMBER")
        ->expected(1)
        ->take_all()
        ->check(
            CLI::Validator([&options](const std::string& text) { return SetXmlLimit(text, options.xmlLimits); }, ""));
    DefineSeconds(app, "--query-time-limit", options.queryTimeLimit, ServerTexts::IDS_HELP_QUERY_TIME_LIMIT);
    DefineSeconds(app, "--patience", options.patience, ServerTexts::IDS_HELP_PATIENCE);
    DefineSeconds(app, "--busy-warning", options.busyWarning, ServerTexts::IDS_HELP_BUSY_WARNING);
    DefineSeconds(app, "--time-limit", options.timeLimit, ServerTexts::IDS_HELP_TIME_LIMIT);
    DefineSeconds(app, "--grace", options.grace, ServerTexts::IDS_HELP_GRACE);
    DefineSeconds(app, "--stop-timeout", options.stopTimeout, ServerTexts::IDS_HELP_STOP_TIMEOUT);
    const auto addLimit = [&app](const char* name, std::optional<unsigned>& limit, const STextCode& text) {
        app.add_option(name, limit, HelpText(text))
            ->type_name("N")
            ->check(CLI::Validator(CLI::Range(0U, kMaxLimit)).description(""));
    };
    addLimit("--max-queued", options.maxQueued, ServerTexts::IDS_HELP_MAX_QUEUED);
    addLimit("--max-clients", options.maxClients, ServerTexts::IDS_HELP_MAX_CLIENTS);
    app.add_option("--poll", options.pollMs, HelpText(ServerTexts::IDS_HELP_POLL))
        ->type_name("MS")
        ->check(CLI::Validator(CLI::Range(0U, kLongestPollMs)).description(""));
    app.add_option("--keep", options.keepDays, HelpText(ServerTexts::IDS_HELP_KEEP))
        ->type_name("DAYS")
        ->check(CLI::Validator(CLI::Range(0U, kMostDays)).description(""));
    app.add_flag("--private", options.privateFiles, HelpText(ServerTexts::IDS_HELP_PRIVATE));
    std::string names;
    for (const auto* name : {"trace", "debug", "info", "warning", "error", "critical"})
        names += (names.empty() ? "" : ", ") + std::string(name);
    app.add_option("--log-level", raw.logLevel, HelpText(ServerTexts::IDS_HELP_LOG_LEVEL, {platform::FromUtf8(names)}))
        ->type_name("LEVEL")
        ->check(CLI::Validator(
            [names](const std::string& text) {
                return LogLevels().contains(text) ? std::string()
                                                  : HelpText(ServerTexts::IDS_IS_NONE_OF,
                                                             {platform::FromUtf8(text), platform::FromUtf8(names)});
            },
            ""));
    auto* const file = app.add_option("--log-file", raw.logFile, HelpText(ServerTexts::IDS_HELP_LOG_FILE));
    file->type_name("FILE");
    app.add_option("--log-size", options.logSizeMiB, HelpText(ServerTexts::IDS_HELP_LOG_SIZE))
        ->type_name("MIB")
        ->check(CLI::Validator(CLI::Range(1U, kMaxLogSizeMiB)).description(""))
        ->needs(file);
    app.add_flag("--log-json", options.logJson, HelpText(ServerTexts::IDS_HELP_LOG_JSON));
}

void DefineService(CLI::App& app, SRawOptions& raw)
{
    app.add_option("--service", raw.service, HelpText(ServerTexts::IDS_HELP_SERVICE))
        ->type_name("install|remove|run")
        ->check(CLI::Validator(
            [&app](const std::string& action) {
                if (!ServiceActions().contains(action))
                    return HelpText(ServerTexts::IDS_IS_NONE_OF, {platform::FromUtf8(action), L"install, remove, run"});
                // Nothing is served: the name is enough.
                for (const char* directory : {"--request-dir", "--output-dir"})
                    app.get_option(directory)->required(action != "remove");
                return std::string();
            },
            ""));
    app.add_option("--service-name", raw.serviceName, HelpText(ServerTexts::IDS_HELP_SERVICE_NAME))->type_name("NAME");
}

/// What is in the files, for a look at what has to be updated: one JSON object.
std::string VersionsAsJson()
{
    return R"({"program":"zel-server","version":")" ZEL_VERSION R"(","compiler":")" +
           platform::ToUtf8(platform::CompilerVersion()) + R"(","thirdParty":)" + kThirdParty + "}";
}

void DefineVersion(CLI::App& app)
{
    auto* const json = app.add_flag("--json")->description(HelpText(ServerTexts::IDS_HELP_JSON));
    app.set_version_flag(
        "--version", [json] { return json->count() != 0 ? VersionsAsJson() : std::string("zel-server " ZEL_VERSION); },
        HelpText(CommonTexts::IDS_HELP_VERSION));
    json->needs(app.get_version_ptr());
}

/// A mistake that the parser does not see; empty without one.
std::wstring MistakeOf(const SServerOptions& options)
{
    if (!options.logFile.empty() &&
        CServerDirectories::IsCleared(options.outputDir, platform::DirectoryOf(options.logFile)))
        return WQ_ModuleText(ServerTexts::IDS_LOG_IN_OUTPUT_DIR, {options.logFile, options.outputDir});
    if (options.service != eServiceAction_Install && options.service != eServiceAction_Run)
        return {};
    if (options.logFile.empty())
        return WQ_ModuleText(ServerTexts::IDS_SERVICE_NEEDS_LOG_FILE);
    if (options.manual)
        return WQ_ModuleText(ServerTexts::IDS_SERVICE_NOT_MANUAL);
    return {};
}

} // namespace

std::optional<int> ParseServerOptions(const std::vector<std::wstring>& arguments, SServerOptions& options)
{
    CLI::App app(HelpText(ServerTexts::IDS_HELP_DESCRIPTION), "zel-server");
    DefineCommonParts(app);
    app.footer(HelpText(ServerTexts::IDS_HELP_FOOTER));
    SRawOptions raw;
    DefineDirectories(app, raw, options);
    DefineResume(app, raw, options);
    DefineBehaviour(app, raw, options);
    DefineService(app, raw);
    DefineVersion(app);
    if (const std::optional<int> code = ParseCommandLine(app, arguments))
        return code;

    options.requestDir = NormalDirectory(platform::FromUtf8(raw.requestDir));
    options.outputDir = NormalDirectory(platform::FromUtf8(raw.outputDir));
    for (const std::wstring& folder : ToWide(raw.componentFolders))
        options.componentFolders.push_back(NormalDirectory(folder));
    options.interrupted = InterruptedWords().at(raw.interrupted);
    options.logLevel = LogLevels().at(raw.logLevel);
    options.logFile = raw.logFile.empty() ? L"" : platform::AbsolutePath(platform::FromUtf8(raw.logFile));
    if (!raw.service.empty())
        options.service = ServiceActions().at(raw.service);
    options.serviceName = platform::FromUtf8(raw.serviceName);
    if (const std::wstring mistake = MistakeOf(options); !mistake.empty()) {
        PrintUsageError(L"zel-server", mistake);
        return eExitCode_Usage;
    }
    return std::nullopt;
}

std::uint64_t EventsLimit(const SServerOptions& options)
{
    return std::uint64_t{options.eventsLimitMiB.value_or(options.strict ? 0 : kUsualEventsLimitMiB)} << 20;
}
