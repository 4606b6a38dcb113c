#include "apps/zel-server/LibraryOptions.h"

#include "plugins/common/Seconds.h"

using namespace std::chrono_literals;

namespace {

/// Of one user, unless he who starts the server says otherwise; the help texts tell these numbers. What waits takes
/// less than a kilobyte each, and the change of data that all clients are told of some 100 microseconds each.
constexpr unsigned kMaxQueued = 10000;
constexpr unsigned kMaxClients = 1000;
/// Readers need microseconds; a stranger who sends one request after the other and holds its status costs this each
/// time.
constexpr unsigned kPatienceMs = 100;

constexpr std::chrono::milliseconds kUsualQueryTime = 300s;

} // namespace

SZelServerOptions LibraryOptions(const SServerOptions& asked)
{
    SZelServerOptions options;
    options.syncing = !asked.noSync;
    options.cancelByName = !asked.strict;
    options.requestsOnly = !asked.strict;
    options.pausedStatus = !asked.strict;
    options.eventsLimit = EventsLimit(asked);
    options.xmlLimits = asked.xmlLimits;
    if (!asked.strict)
        options.crashReportTime = 30s;
    options.takeTurns = !asked.strict;
    options.maxQueued = asked.maxQueued.value_or(asked.strict ? 0 : kMaxQueued);
    options.maxClients = asked.maxClients.value_or(asked.strict ? 0 : kMaxClients);
    options.privateFiles = asked.privateFiles;
    options.followLinks = asked.followLinks;
    options.tellRefused = !asked.strict;
    options.patienceMs = asked.strict ? 0 : kPatienceMs;
    return options;
}

std::wstring QueryTimeLimit(const SServerOptions& options, const std::wstring& variable)
{
    if (options.queryTimeLimit)
        return SecondsText(*options.queryTimeLimit);
    return options.strict || !variable.empty() ? variable : SecondsText(kUsualQueryTime);
}
