#include "capi/ServerOptions.h"

#include "capi/Arguments.h"

#include <limits>

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMaxFolders = 1000;
constexpr std::uint32_t kMostNice = 19;

/// What zel-server chooses when nothing is said.
SZelServerOptions UsualOptions()
{
    constexpr std::uint64_t kEventsLimit = std::uint64_t{16} << 20;
    constexpr std::size_t kQueuedOfUser = 10'000;
    constexpr std::size_t kClientsOfUser = 1000;
    SZelServerOptions options;
    options.cancelByName = options.requestsOnly = options.pausedStatus = true;
    options.eventsLimit = kEventsLimit;
    options.ownLists = options.presence = options.takeTurns = true;
    options.crashReportTime = 30s;
    options.requestAttributes = options.operatorCommands = true;
    options.maxQueued = kQueuedOfUser;
    options.maxClients = kClientsOfUser;
    options.followLinks = false;
    options.tellRefused = options.tellReasons = options.tellStory = options.tellSlots = true;
    options.retryLastStatus = options.retryBackOff = options.checkedWatch = true;
    options.patience = 0ms;
    return options;
}

/// False for a time that is out of range.
template <class Duration>
bool TakeTime(std::int64_t given, Duration& time)
{
    constexpr std::int64_t kLongest = std::numeric_limits<std::int64_t>::max() / 1'000'000'000'000;
    if (given < 0 || given > kLongest)
        return false;
    time = Duration(given);
    return true;
}

SOutcome TakeFolders(const zel_server_options& given, std::vector<std::wstring>& folders)
{
    if (given.plugin_folder_count > kMaxFolders || (given.plugin_folder_count != 0 && given.plugin_folders == nullptr))
        return BadArgument("plugin_folders");
    for (std::size_t index = 0; index < given.plugin_folder_count; ++index) {
        if (!TakePath(given.plugin_folders[index], folders.emplace_back()))
            return BadArgument("plugin_folders");
    }
    return {};
}

bool TakeTimes(const zel_server_options& given, SZelServerOptions& options)
{
    std::chrono::milliseconds patience{0};
    if (given.patience_ms >= 0 && !TakeTime(given.patience_ms, patience))
        return false;
    options.patience = given.patience_ms < 0 ? std::nullopt : std::optional(patience);
    return TakeTime(given.poll_ms, options.poll) && TakeTime(given.busy_warning_ms, options.busyWarning) &&
           TakeTime(given.crash_report_ms, options.crashReportTime) &&
           TakeTime(given.time_limit_ms, options.timeLimit) && TakeTime(given.grace_ms, options.grace) &&
           TakeTime(given.keep_s, options.keep) && TakeTime(given.keep_failed_s, options.keepFailed);
}

void TakeSwitches(const zel_server_options& given, SZelServerOptions& options)
{
    options.manual = given.manual != 0;
    options.syncing = given.syncing != 0;
    options.cancelByName = given.cancel_by_name != 0;
    options.requestsOnly = given.requests_only != 0;
    options.pausedStatus = given.paused_status != 0;
    options.ownLists = given.own_lists != 0;
    options.presence = given.presence != 0;
    options.takeTurns = given.take_turns != 0;
    options.privateFiles = given.private_files != 0;
    options.followLinks = given.follow_links != 0;
    options.tellRefused = given.tell_refused != 0;
    options.tellReasons = given.tell_reasons != 0;
    options.tellStory = given.tell_story != 0;
    options.retryLastStatus = given.retry_last_status != 0;
    options.resume = given.resume != 0;
    options.interrupted = given.fail_interrupted != 0 ? eInterrupted_Fail : eInterrupted_Rerun;
    options.checkedWatch = given.checked_watch != 0;
    options.requestAttributes = given.request_attributes != 0;
    options.fair = given.fair != 0;
    options.operatorCommands = given.operator_commands != 0;
    options.retryBackOff = given.retry_back_off != 0;
    options.tellSlots = given.tell_slots != 0;
    options.isolation.isOn = given.isolation != 0;
    options.isolation.sandbox = given.sandbox != 0;
    options.isolation.allowNetwork = given.allow_network != 0;
}

} // namespace

zel_server_options MakeServerOptions(bool usual)
{
    const SZelServerOptions from = usual ? UsualOptions() : SZelServerOptions();
    zel_server_options to{};
    to.size = sizeof to;
    to.manual = from.manual;
    to.syncing = from.syncing;
    to.cancel_by_name = from.cancelByName;
    to.requests_only = from.requestsOnly;
    to.paused_status = from.pausedStatus;
    to.own_lists = from.ownLists;
    to.presence = from.presence;
    to.take_turns = from.takeTurns;
    to.private_files = from.privateFiles;
    to.follow_links = from.followLinks;
    to.tell_refused = from.tellRefused;
    to.tell_reasons = from.tellReasons;
    to.tell_story = from.tellStory;
    to.retry_last_status = from.retryLastStatus;
    to.resume = from.resume;
    to.fail_interrupted = from.interrupted == eInterrupted_Fail;
    to.checked_watch = from.checkedWatch;
    to.request_attributes = from.requestAttributes;
    to.fair = from.fair;
    to.operator_commands = from.operatorCommands;
    to.retry_back_off = from.retryBackOff;
    to.tell_slots = from.tellSlots;
    to.isolation = from.isolation.isOn;
    to.sandbox = from.isolation.sandbox;
    to.allow_network = from.isolation.allowNetwork;
    to.slots = from.slots;
    to.attempts = from.attempts;
    to.recycle = from.isolation.recycle;
    to.nice = static_cast<std::uint32_t>(from.isolation.nice);
    to.max_queued = from.maxQueued;
    to.max_clients = from.maxClients;
    to.events_limit = from.eventsLimit;
    to.memory_limit = from.isolation.memoryLimit;
    to.recycle_memory = from.isolation.recycleMemory;
    to.poll_ms = from.poll.count();
    to.patience_ms = from.patience ? from.patience->count() : -1;
    to.busy_warning_ms = from.busyWarning.count();
    to.crash_report_ms = from.crashReportTime.count();
    to.time_limit_ms = from.timeLimit.count();
    to.grace_ms = from.grace.count();
    to.keep_s = from.keep.count();
    to.keep_failed_s = from.keepFailed.count();
    return to;
}

SOutcome TakeServerOptions(const zel_server_options* given, STakenOptions& taken)
{
    taken.given = MakeServerOptions(false);
    if (given != nullptr && !TakeStructure(*given, sizeof taken.given, taken.given))
        return BadArgument("options");
    const zel_server_options& from = taken.given;
    SZelServerOptions& options = taken.options;
    if (SOutcome folders = TakeFolders(from, taken.folders); !folders.IsGood())
        return folders;
    if (!TakeTimes(from, options))
        return BadArgument("a time in options");
    if (from.slots == 0 || from.slots > SZelServerOptions::kMostSlots || from.nice > kMostNice)
        return BadArgument("slots or nice");
    if (!TakeOptionalPath(from.task_host, options.isolation.program))
        return BadArgument("task_host");
    TakeSwitches(from, options);
    options.slots = from.slots;
    options.attempts = from.attempts;
    options.isolation.recycle = from.recycle;
    options.isolation.nice = static_cast<int>(from.nice);
    options.maxQueued = static_cast<std::size_t>(from.max_queued);
    options.maxClients = static_cast<std::size_t>(from.max_clients);
    options.eventsLimit = from.events_limit;
    options.isolation.memoryLimit = from.memory_limit;
    options.isolation.recycleMemory = from.recycle_memory;
    return {};
}
