#include "TimeLimits.h"
#include "RequestQueue.h"
#include "ServerSettings.h"
#include "framework/CrashReport.h"
#include "framework/Log.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Seconds.h"
#include "platform/SourceLocation.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kLongestPauseOfChecks = 1s;
constexpr std::chrono::nanoseconds kBetweenWarnings = 1min;
constexpr std::chrono::milliseconds kLongestGrace = 1h;

void Warn(const SRunningRequest& running, const CString& text)
{
    const MOXCrashRpt::CScopedSubject subject(running.path);
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     running.path + L": " + text);
}

bool IsLimited(const SRunningRequest& running)
{
    return running.limit != 0ms && running.start != 0ns;
}

} // namespace

void CTimeLimits::Check()
{
    const std::vector<SRunningRequest> all = m_requests.AllRunning();
    std::erase_if(m_nextWarnings, [&](const auto& warning) {
        return std::ranges::find(all, warning.first, &SRunningRequest::number) == all.end();
    });
    for (const SRunningRequest& running : all) {
        if (IsLimited(running))
            CheckRun(running);
    }
}

void CTimeLimits::CheckRun(const SRunningRequest& running)
{
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    if (!running.hasReachedLimit) {
        if (now - running.start >= running.limit)
            Reach(running, now);
    } else if (std::chrono::nanoseconds& next = m_nextWarnings[running.number]; now >= next) {
        next = now + kBetweenWarnings;
        TellDeaf(running);
    }
}

std::chrono::milliseconds CTimeLimits::UntilCheck() const
{
    std::chrono::milliseconds pause = kLongestPauseOfChecks;
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    for (const SRunningRequest& running : m_requests.AllRunning()) {
        if (!IsLimited(running))
            continue;
        const auto warning = m_nextWarnings.find(running.number);
        const std::chrono::nanoseconds next = running.hasReachedLimit && warning != m_nextWarnings.end()
                                                  ? warning->second
                                                  : running.start + running.limit;
        pause = std::min(pause, std::max(std::chrono::ceil<std::chrono::milliseconds>(next - now), 0ms));
    }
    return pause;
}

void CTimeLimits::Reach(const SRunningRequest& running, std::chrono::nanoseconds now)
{
    if (!m_requests.EndAtLimit(running.number))
        return;
    struct STold { // whoever ends the run waits for it, so nothing that may throw stands before it
        ~STold() { requests.TellLimit(number); }
        CRequestQueue& requests;
        const std::uint64_t number;
    };
    const STold told{m_requests, running.number};
    // In the host's own unit, of which the largest number fits into no finer one.
    m_nextWarnings[running.number] = now + std::clamp(m_settings.m_options.grace, 0ms, kLongestGrace);
    Warn(running, L"it has run for its limit of " + SecondsText(running.limit) + L" seconds and is cancelled");
    if (!m_settings.m_options.resume || !running.isLastAttempt)
        return;
    const CString name = platform::FileNameOf(running.path);
    const platform::eOsError error = m_attempts.ReachLimit(name, {running.attempts + 1, running.limit});
    if (!platform::Succeeded(error))
        Warn(running, L"if the server is ended now, the next one runs it again: " + platform::OsErrorText(error));
}

void CTimeLimits::TellDeaf(const SRunningRequest& running) const
{
    if (m_settings.m_options.isolation.isOn)
        return; // who runs it ends it
    const std::chrono::seconds since =
        std::chrono::duration_cast<std::chrono::seconds>(platform::Clock().Steady() - running.start - running.limit);
    Warn(running, L"it still runs " + SecondsText(since) +
                      L" seconds after it was cancelled for its limit, for its task does not look. It runs in the "
                      L"server's process and cannot be ended without it");
}
