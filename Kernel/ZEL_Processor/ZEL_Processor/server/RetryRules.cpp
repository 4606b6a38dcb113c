#include "RetryRules.h"
#include "TurnList.h"
#include "platform/Os.h"

namespace {

constexpr std::uint32_t kIdleBeforeForceMs = 5000;
constexpr std::uint32_t kCountedRetryMs = 1001;
constexpr std::int32_t kRetriesBeforeForce = 2;

} // namespace

bool CRetryRules::IsForced(const TSRequestItem& item, bool bLast) const
{
    const bool isIdle = platform::Clock().TickCount() - m_dwLastRequestTick >= kIdleBeforeForceMs;
    return (bLast && isIdle) || item.m_nRetries > kRetriesBeforeForce;
}

bool CRetryRules::Count(TSRequestItem& item) const
{
    if (platform::Clock().TickCount() - m_dwLastRequestTick < kCountedRetryMs)
        return false;
    ++item.m_nRetries;
    return true;
}

void CRetryRules::EndRun()
{
    m_dwLastRequestTick = platform::Clock().TickCount();
}
