#include "apps/zel-server/LibraryOptions.h"

#include "platform/Seconds.h"
#include "platform/Text.h"

#include <algorithm>
#include <thread>

using namespace std::chrono_literals;

namespace {

/// Of one user, unless he who starts the server says otherwise; the help texts tell these numbers. What waits takes
/// less than a kilobyte each, and the change of data that all clients are told of some 100 microseconds each.
constexpr unsigned kMaxQueued = 10000;
constexpr unsigned kMaxClients = 1000;

constexpr std::chrono::milliseconds kUsualQueryTime = 300s;

} // namespace

SZelServerOptions LibraryOptions(const SServerOptions& asked)
{
    SZelServerOptions options;
    options.syncing = !asked.noSync;
    options.manual = asked.manual;
    options.cancelByName = !asked.strict;
    options.requestsOnly = !asked.strict;
    options.pausedStatus = !asked.strict;
    options.eventsLimit = EventsLimit(asked);
    options.ownLists = !asked.strict && !asked.oneList;
    options.presence = !asked.strict && !asked.noPresence;
    options.xmlLimits = asked.xmlLimits;
    if (!asked.strict)
        options.crashReportTime = 30s;
    options.takeTurns = !asked.strict;
    options.requestAttributes = !asked.strict;
    options.fair = asked.fair;
    options.operatorCommands = !asked.strict;
    options.maxQueued = asked.maxQueued.value_or(asked.strict ? 0 : kMaxQueued);
    options.maxClients = asked.maxClients.value_or(asked.strict ? 0 : kMaxClients);
    options.privateFiles = asked.privateFiles;
    options.followLinks = asked.followLinks;
    options.tellRefused = !asked.strict;
    options.tellReasons = !asked.strict;
    options.tellStory = !asked.strict;
    options.resume = asked.resume && !asked.strict;
    options.interrupted = asked.interrupted;
    options.attempts = asked.attempts;
    options.retryLastStatus = !asked.strict;
    options.checkedWatch = !asked.strict;
    options.poll = std::chrono::milliseconds(asked.pollMs.value_or(0));
    if (asked.patience || !asked.strict)
        options.patience = asked.patience.value_or(0ms);
    options.keep = 24h * asked.keepDays;
    options.keepFailed = 24h * asked.keepFailedDays;
    options.busyWarning = asked.busyWarning.value_or(options.busyWarning);
    options.timeLimit = asked.timeLimit.value_or(options.timeLimit);
    options.retryBackOff = !asked.strict;
    options.grace = asked.grace.value_or(options.grace);
    options.slots = asked.slots != 0
                        ? asked.slots
                        : std::clamp(std::thread::hardware_concurrency(), 1U, SZelServerOptions::kMostSlots);
    options.tellSlots = !asked.strict;
    options.figures = !asked.strict || !asked.metricsFile.empty() || !asked.pageDir.empty();
    options.isolation.isOn = asked.isolate;
    options.isolation.recycle = asked.recycle;
    options.isolation.memoryLimit = std::uint64_t{asked.memoryLimitMiB} << 20U;
    options.isolation.recycleMemory = std::uint64_t{asked.recycleMemoryMiB} << 20U;
    options.isolation.sandbox = asked.sandbox;
    options.isolation.allowNetwork = asked.allowNetwork;
    options.isolation.nice = static_cast<int>(asked.nice);
    return options;
}

SServerOptions OptionsInForce(const SServerOptions& asked, const std::wstring& variable)
{
    SServerOptions options = asked;
    const SZelServerOptions chosen = LibraryOptions(asked);
    options.eventsLimitMiB = static_cast<unsigned>(chosen.eventsLimit >> 20);
    options.maxQueued = static_cast<unsigned>(chosen.maxQueued);
    options.maxClients = static_cast<unsigned>(chosen.maxClients);
    options.patience = chosen.patience;
    options.resume = chosen.resume;
    options.busyWarning = chosen.busyWarning;
    options.timeLimit = chosen.timeLimit;
    options.grace = chosen.grace;
    options.slots = chosen.slots;
    options.stopTimeout = asked.stopTimeout.value_or(0ms);
    if (std::chrono::milliseconds limit{}; ParseSeconds(platform::ToUtf8(QueryTimeLimit(asked, variable)), limit))
        options.queryTimeLimit = limit;
    return options;
}

std::wstring QueryTimeLimit(const SServerOptions& options, const std::wstring& variable)
{
    if (options.queryTimeLimit)
        return SecondsText(*options.queryTimeLimit);
    return options.strict || !variable.empty() ? variable : SecondsText(kUsualQueryTime);
}
