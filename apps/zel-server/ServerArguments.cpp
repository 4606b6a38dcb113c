#include "apps/zel-server/OptionWords.h"
#include "platform/Seconds.h"
#include "platform/Text.h"

SServerOptions ServiceOptions(const SServerOptions& options)
{
    SServerOptions started = options;
    started.service = eServiceAction_Run;
    started.resume = !options.strict; // nobody is there to send again what a restart of the system would lose
    return started;
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
    if (options.logSizeMiB != 0)
        add(L"--log-size", std::to_wstring(options.logSizeMiB));
    addFlag(L"--log-json", options.logJson);
    addFlag(L"--create-dirs", options.createDirs);
    addFlag(L"--adopt", options.adopt);
    addFlag(L"--share-requests", options.shareRequests);
    addFlag(L"--manual", options.manual);
    addFlag(L"--no-executive", options.noExecutive);
    addFlag(L"--no-sync", options.noSync);
    addFlag(L"--follow-links", options.followLinks);
    addFlag(L"--strict", options.strict);
    addFlag(L"--resume", options.resume);
    if (options.interrupted != SServerOptions().interrupted)
        addNamed(L"--interrupted", InterruptedWords(), options.interrupted);
    if (options.attempts != SServerOptions().attempts)
        add(L"--attempts", std::to_wstring(options.attempts));
    if (options.eventsLimitMiB)
        add(L"--events-limit", std::to_wstring(*options.eventsLimitMiB));
    addFlag(L"--one-list", options.oneList);
    addFlag(L"--no-presence", options.noPresence);
    addFlag(L"--fair", options.fair);
    for (const SXmlLimit& limit : kXmlLimits) {
        if (const std::uint64_t value = options.xmlLimits.*limit.value; value != SXmlLimits().*limit.value)
            add(L"--xml-limit", platform::FromUtf8(limit.name) + L"=" + std::to_wstring(value));
    }
    const auto addSeconds = [&add](const wchar_t* name, const std::optional<std::chrono::milliseconds>& time) {
        if (time)
            add(name, SecondsText(*time));
    };
    addSeconds(L"--query-time-limit", options.queryTimeLimit);
    addSeconds(L"--patience", options.patience);
    addSeconds(L"--busy-warning", options.busyWarning);
    addSeconds(L"--time-limit", options.timeLimit);
    addSeconds(L"--grace", options.grace);
    addSeconds(L"--stop-timeout", options.stopTimeout);
    if (options.keepDays != 0)
        add(L"--keep", std::to_wstring(options.keepDays));
    addFlag(L"--private", options.privateFiles);
    if (options.maxQueued)
        add(L"--max-queued", std::to_wstring(*options.maxQueued));
    if (options.maxClients)
        add(L"--max-clients", std::to_wstring(*options.maxClients));
    if (options.pollMs)
        add(L"--poll", std::to_wstring(*options.pollMs));
    return arguments;
}
