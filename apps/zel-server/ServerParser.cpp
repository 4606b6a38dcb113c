#include "apps/zel-server/ServerParser.h"

#include "apps/common/CommandLine.h"
#include "apps/common/Directories.h"
#include "apps/zel-server/OptionWords.h"
#include "platform/Path.h"
#include "platform/Seconds.h"
#include "platform/Text.h"
#include "platform/Version.h"

#include "CommonTexts.h"
#include "ServerTexts.h"
#include "ThirdPartyList.h"

#include <algorithm>
#include <charconv>

namespace {

/// A tebibyte: more than anybody reads, and far from any limit of the number of bytes.
constexpr unsigned kMaxLogSizeMiB = 1U << 20;

constexpr unsigned kLargestEventsLimitMiB = SZelServerOptions::kLargestEventsLimit >> 20;
/// A hundred years.
constexpr unsigned kMostDays = 36'500;
/// What nobody reaches.
constexpr unsigned kMaxLimit = 1'000'000'000;
constexpr unsigned kMostMemoryMiB = 1U << 24;
constexpr unsigned kMostNice = 19;
/// An hour: who waits longer wants no server.
constexpr unsigned kLongestPollMs = 3'600'000;

CLI::Validator NotEmpty()
{
    return {[](const std::string& text) {
                return text.empty() ? HelpText(ServerTexts::IDS_MUST_NOT_BE_EMPTY) : std::string();
            },
            ""};
}

void DefineDirectories(CLI::App& app, SParsedTexts& raw, SServerOptions& options)
{
    const CLI::Validator notEmpty = NotEmpty();
    app.add_option("--request-dir", raw.requestDir, HelpText(ServerTexts::IDS_HELP_REQUEST_DIR))
        ->type_name("DIR")
        ->check(notEmpty);
    app.add_option("--output-dir", raw.outputDir, HelpText(ServerTexts::IDS_HELP_OUTPUT_DIR))
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

void DefineResume(CLI::App& app, SParsedTexts& raw, SServerOptions& options)
{
    app.add_flag("--resume", options.resume, HelpText(ServerTexts::IDS_HELP_RESUME));
    app.add_flag("--take-over", options.takeOver, HelpText(ServerTexts::IDS_HELP_TAKE_OVER));
    app.add_flag("--drain", options.drain, HelpText(ServerTexts::IDS_HELP_DRAIN));
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

/// A number, or the word for one that is found out at the start.
void DefineSlots(CLI::App& app, unsigned& slots)
{
    app.add_option_function<std::string>(
           "--slots", [](const std::string&) {}, HelpText(ServerTexts::IDS_HELP_SLOTS))
        ->type_name("N|auto")
        ->check(CLI::Validator(
            [&slots](const std::string& text) {
                constexpr unsigned kMost = SZelServerOptions::kMostSlots;
                slots = 0;
                if (text == "auto")
                    return std::string();
                const char* const end = text.data() + text.size();
                const auto [last, error] = std::from_chars(text.data(), end, slots);
                return error == std::errc() && last == end && slots >= 1 && slots <= kMost
                           ? std::string()
                           : HelpText(ServerTexts::IDS_SLOTS_RANGE, {std::to_wstring(kMost)});
            },
            ""));
}

void DefineFile(CLI::App& app, SParsedTexts& raw, bool& checksFile)
{
    auto* const file = app.add_option("--config", raw.configFile, HelpText(ServerTexts::IDS_HELP_CONFIG));
    file->type_name("FILE")->check(NotEmpty());
    app.add_flag("--check-config", checksFile, HelpText(ServerTexts::IDS_HELP_CHECK_CONFIG))->needs(file);
}

void DefineIsolation(CLI::App& app, SServerOptions& options)
{
    app.add_flag("--isolate", options.isolate, HelpText(ServerTexts::IDS_HELP_ISOLATE));
    const auto add = [&app](const char* name, unsigned& value, const char* unit, unsigned most, const STextCode& text) {
        app.add_option(name, value, HelpText(text))
            ->type_name(unit)
            ->check(CLI::Validator(CLI::Range(0U, most)).description(""));
    };
    add("--recycle", options.recycle, "N", kMaxLimit, ServerTexts::IDS_HELP_RECYCLE);
    add("--recycle-memory", options.recycleMemoryMiB, "MIB", kMostMemoryMiB, ServerTexts::IDS_HELP_RECYCLE_MEMORY);
    add("--memory-limit", options.memoryLimitMiB, "MIB", kMostMemoryMiB, ServerTexts::IDS_HELP_MEMORY_LIMIT);
    add("--nice", options.nice, "N", kMostNice, ServerTexts::IDS_HELP_NICE);
    app.add_flag("--sandbox", options.sandbox, HelpText(ServerTexts::IDS_HELP_SANDBOX));
    app.add_flag("--allow-network", options.allowNetwork, HelpText(ServerTexts::IDS_HELP_ALLOW_NETWORK))
        ->needs(app.get_option("--sandbox"));
}

void DefineBehaviour(CLI::App& app, SParsedTexts& raw, SServerOptions& options)
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
    DefineSlots(app, options.slots);
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
    DefineIsolation(app, options);
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
    const auto addDays = [&app](const char* name, unsigned& days, const STextCode& text) {
        app.add_option(name, days, HelpText(text))
            ->type_name("DAYS")
            ->check(CLI::Validator(CLI::Range(0U, kMostDays)).description(""));
    };
    addDays("--keep", options.keepDays, ServerTexts::IDS_HELP_KEEP);
    addDays("--keep-failed", options.keepFailedDays, ServerTexts::IDS_HELP_KEEP_FAILED);
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
    app.add_option("--log-file", raw.logFile, HelpText(ServerTexts::IDS_HELP_LOG_FILE))->type_name("FILE");
    app.add_option("--log-size", options.logSizeMiB, HelpText(ServerTexts::IDS_HELP_LOG_SIZE))
        ->type_name("MIB")
        ->check(CLI::Validator(CLI::Range(1U, kMaxLogSizeMiB)).description(""));
    app.add_flag("--log-json", options.logJson, HelpText(ServerTexts::IDS_HELP_LOG_JSON));
}

void DefineFigures(CLI::App& app, SParsedTexts& raw)
{
    const CLI::Validator notEmpty = NotEmpty();
    app.add_option("--metrics", raw.metricsFile, HelpText(ServerTexts::IDS_HELP_METRICS))
        ->type_name("FILE")
        ->check(notEmpty);
    app.add_option("--page", raw.pageDir, HelpText(ServerTexts::IDS_HELP_PAGE))->type_name("DIR")->check(notEmpty);
}

void DefineService(CLI::App& app, SParsedTexts& raw)
{
    app.add_option("--service", raw.service, HelpText(ServerTexts::IDS_HELP_SERVICE))
        ->type_name("install|remove|run")
        ->check(CLI::Validator(
            [](const std::string& action) {
                return ServiceActions().contains(action)
                           ? std::string()
                           : HelpText(ServerTexts::IDS_IS_NONE_OF,
                                      {platform::FromUtf8(action), L"install, remove, run"});
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

/// A path as it is meant whatever the working directory is; the value of another option as it stands.
std::wstring WholeValue(const std::string& option, const std::string& value)
{
    const std::wstring text = platform::FromUtf8(value);
    if (option == "request-dir" || option == "output-dir" || option == "components" || option == "page")
        return NormalDirectory(text);
    return option == "log-file" || option == "metrics" || option == "config" ? platform::AbsolutePath(text) : text;
}

} // namespace

CServerParser::CServerParser()
    : m_pApp(std::make_unique<CLI::App>(HelpText(ServerTexts::IDS_HELP_DESCRIPTION), "zel-server"))
{
    DefineCommonParts(*m_pApp);
    m_pApp->footer(HelpText(ServerTexts::IDS_HELP_FOOTER));
    DefineDirectories(*m_pApp, m_texts, m_options);
    DefineResume(*m_pApp, m_texts, m_options);
    DefineBehaviour(*m_pApp, m_texts, m_options);
    DefineFigures(*m_pApp, m_texts);
    DefineFile(*m_pApp, m_texts, m_bChecksFile);
    DefineService(*m_pApp, m_texts);
    DefineVersion(*m_pApp);
}

CServerParser::~CServerParser() = default;

void CServerParser::DemandAll(bool isForStart)
{
    for (const char* const directory : {"--request-dir", "--output-dir"})
        m_pApp->get_option(directory)->required(isForStart);
    m_pApp->get_option("--log-size")->needs(m_pApp->get_option("--log-file"));
    // A start that does not resume deletes the responses that nobody has taken yet.
    m_pApp->get_option("--take-over")->needs(m_pApp->get_option("--resume"))->excludes(m_pApp->get_option("--strict"));
    for (const char* const option : {"--recycle", "--recycle-memory", "--memory-limit", "--nice", "--sandbox"})
        m_pApp->get_option(option)->needs(m_pApp->get_option("--isolate"));
}

bool CServerParser::IsForStart() const
{
    // Whose service is removed serves nothing: the name is enough.
    return m_texts.service != "remove";
}

SServerOptions CServerParser::Options() const
{
    SServerOptions options = m_options;
    options.configFile = m_texts.configFile.empty() ? L"" : WholeValue("config", m_texts.configFile);
    options.requestDir = WholeValue("request-dir", m_texts.requestDir);
    options.outputDir = WholeValue("output-dir", m_texts.outputDir);
    for (const std::string& folder : m_texts.componentFolders)
        options.componentFolders.push_back(WholeValue("components", folder));
    options.interrupted = InterruptedWords().at(m_texts.interrupted);
    options.logLevel = LogLevels().at(m_texts.logLevel);
    options.logFile = m_texts.logFile.empty() ? L"" : WholeValue("log-file", m_texts.logFile);
    options.metricsFile = m_texts.metricsFile.empty() ? L"" : WholeValue("metrics", m_texts.metricsFile);
    options.pageDir = m_texts.pageDir.empty() ? L"" : WholeValue("page", m_texts.pageDir);
    if (!m_texts.service.empty())
        options.service = ServiceActions().at(m_texts.service);
    options.serviceName = platform::FromUtf8(m_texts.serviceName);
    return options;
}

std::vector<std::wstring> CServerParser::Given() const
{
    std::vector<std::wstring> arguments;
    for (const CLI::Option* const option :
         m_pApp->get_options([](const CLI::Option* each) { return each->count() != 0; })) {
        const std::string& name = option->get_lnames().front();
        const std::wstring shown = L"--" + platform::FromUtf8(name);
        if (option->get_items_expected_max() == 0) {
            arguments.push_back(shown);
            continue;
        }
        for (const std::string& value : option->results()) {
            // In one piece a value may begin with a dash; an empty one would be taken from the next word.
            if (value.empty())
                arguments.insert(arguments.end(), {shown, L""});
            else
                arguments.push_back(shown + L"=" + WholeValue(name, value));
        }
    }
    return arguments;
}
