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

} // namespace

void CTimeLimits::Check()
{
    const std::optional<SRunningRequest> running = m_requests.Running();
    if (!running || running->limit == 0ms || running->start == 0ns)
        return;
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    if (!running->hasReachedLimit) {
        if (now - running->start < running->limit || !m_requests.EndAtLimit(running->number))
            return;
        // In the host's own unit, of which the largest number fits into no finer one.
        m_nextWarning = now + std::clamp(m_settings.m_options.grace, 0ms, kLongestGrace);
        Reach(*running);
    } else if (now >= m_nextWarning) {
        m_nextWarning = now + kBetweenWarnings;
        TellDeaf(*running);
    }
}

std::chrono::milliseconds CTimeLimits::UntilCheck() const
{
    const std::optional<SRunningRequest> running = m_requests.Running();
    if (!running || running->limit == 0ms || running->start == 0ns)
        return kLongestPauseOfChecks;
    const std::chrono::nanoseconds next = running->hasReachedLimit ? m_nextWarning : running->start + running->limit;
    const std::chrono::nanoseconds left = next - platform::Clock().Steady();
    return std::clamp(std::chrono::ceil<std::chrono::milliseconds>(left), 0ms, kLongestPauseOfChecks);
}

/// The run may have ended meanwhile. Its record is then removed by whoever of the two comes last.
void CTimeLimits::Reach(const SRunningRequest& running)
{
    Warn(running, L"it has run for its limit of " + SecondsText(running.limit) + L" seconds and is cancelled");
    if (!m_settings.m_options.resume || !running.isLastAttempt)
        return;
    const CString name = platform::FileNameOf(running.path);
    const platform::eOsError error = m_attempts.ReachLimit(name, {running.attempts + 1, running.limit});
    if (!platform::Succeeded(error))
        Warn(running, L"if the server is ended now, the next one runs it again: " + platform::OsErrorText(error));
    if (const auto now = m_requests.Running(); !now || now->number != running.number)
        m_attempts.Forget(name);
}

void CTimeLimits::TellDeaf(const SRunningRequest& running) const
{
    const std::chrono::seconds since =
        std::chrono::duration_cast<std::chrono::seconds>(platform::Clock().Steady() - running.start - running.limit);
    Warn(running, L"it still runs " + SecondsText(since) +
                      L" seconds after it was cancelled for its limit, for its task does not look. It runs in the "
                      L"server's process and cannot be ended without it");
}
