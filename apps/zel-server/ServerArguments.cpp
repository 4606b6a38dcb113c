#include "apps/zel-server/OptionWords.h"
#include "platform/Seconds.h"
#include "platform/Text.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

namespace {

/// The values that each option has, by its name.
std::map<std::wstring, std::vector<std::wstring>> ByName(const SServerOptions& options)
{
    std::map<std::wstring, std::vector<std::wstring>> values;
    std::vector<std::wstring>* last = nullptr;
    for (const std::wstring& argument : ServerArguments(options)) {
        if (argument.starts_with(L"--"))
            last = &values[argument];
        else if (last != nullptr)
            last->push_back(argument);
    }
    return values;
}

} // namespace

std::vector<std::wstring> ServiceArguments(const SServerOptions& options)
{
    SServerOptions started = options;
    started.service = eServiceAction_Run;
    started.resume = !options.strict; // nobody is there to send again what a restart of the system would lose
    if (options.configFile.empty())
        return ServerArguments(started);
    std::vector<std::wstring> arguments = {L"--service", L"run"};
    std::ranges::copy_if(options.arguments, std::back_inserter(arguments),
                         [](const std::wstring& argument) { return !argument.starts_with(L"--service="); });
    if (started.resume && !options.resume)
        arguments.emplace_back(L"--resume");
    return arguments;
}

std::vector<std::wstring> DifferentOptions(const SServerOptions& left, const SServerOptions& right)
{
    auto before = ByName(left);
    std::vector<std::wstring> names;
    for (const auto& [name, values] : ByName(right)) {
        const auto same = before.find(name);
        if (same == before.end() || same->second != values)
            names.push_back(name);
        before.erase(name);
    }
    for (const auto& [name, values] : before)
        names.push_back(name);
    std::ranges::sort(names);
    return names;
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
    add(L"--config", options.configFile);
    add(L"--request-dir", options.requestDir);
    add(L"--output-dir", options.outputDir);
    for (const std::wstring& folder : options.componentFolders)
        add(L"--components", folder);
    addNamed(L"--log-level", LogLevels(), options.logLevel);
    add(L"--log-file", options.logFile);
    if (options.logSizeMiB != 0)
        add(L"--log-size", std::to_wstring(options.logSizeMiB));
    addFlag(L"--log-json", options.logJson);
    add(L"--metrics", options.metricsFile);
    add(L"--page", options.pageDir);
    for (const auto& [name, isSet] :
         {std::pair(L"--create-dirs", options.createDirs), std::pair(L"--adopt", options.adopt),
          std::pair(L"--share-requests", options.shareRequests), std::pair(L"--manual", options.manual),
          std::pair(L"--no-executive", options.noExecutive), std::pair(L"--no-sync", options.noSync),
          std::pair(L"--follow-links", options.followLinks), std::pair(L"--strict", options.strict),
          std::pair(L"--resume", options.resume), std::pair(L"--take-over", options.takeOver)})
        addFlag(name, isSet);
    if (options.interrupted != SServerOptions().interrupted)
        addNamed(L"--interrupted", InterruptedWords(), options.interrupted);
    if (options.attempts != SServerOptions().attempts)
        add(L"--attempts", std::to_wstring(options.attempts));
    if (options.eventsLimitMiB)
        add(L"--events-limit", std::to_wstring(*options.eventsLimitMiB));
    addFlag(L"--one-list", options.oneList);
    addFlag(L"--no-presence", options.noPresence);
    addFlag(L"--fair", options.fair);
    if (options.slots != SServerOptions().slots)
        add(L"--slots", options.slots == 0 ? L"auto" : std::to_wstring(options.slots));
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
    addFlag(L"--isolate", options.isolate);
    if (options.recycle != SServerOptions().recycle)
        add(L"--recycle", std::to_wstring(options.recycle));
    if (options.recycleMemoryMiB != 0)
        add(L"--recycle-memory", std::to_wstring(options.recycleMemoryMiB));
    if (options.memoryLimitMiB != 0)
        add(L"--memory-limit", std::to_wstring(options.memoryLimitMiB));
    if (options.nice != 0)
        add(L"--nice", std::to_wstring(options.nice));
    addFlag(L"--sandbox", options.sandbox);
    addFlag(L"--allow-network", options.allowNetwork);
    addSeconds(L"--stop-timeout", options.stopTimeout);
    if (options.keepDays != 0)
        add(L"--keep", std::to_wstring(options.keepDays));
    if (options.keepFailedDays != 0)
        add(L"--keep-failed", std::to_wstring(options.keepFailedDays));
    addFlag(L"--private", options.privateFiles);
    if (options.maxQueued)
        add(L"--max-queued", std::to_wstring(*options.maxQueued));
    if (options.maxClients)
        add(L"--max-clients", std::to_wstring(*options.maxClients));
    if (options.pollMs)
        add(L"--poll", std::to_wstring(*options.pollMs));
    return arguments;
}
