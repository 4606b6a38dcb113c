#pragma once

#include <atomic>
#include <cstdint>

struct TSRequestItem;

/// When a request whose task declines it counts as declined once more, and when its task has to take it. Safe from
/// any thread: there is one set for all that run requests.
class CRetryRules {
public:
    /// bLast: nothing waits behind it.
    [[nodiscard]] bool IsForced(const TSRequestItem& item, bool bLast) const;
    /// Counts that the task declined. False, with nothing counted, when that is too soon after the last run that
    /// counted: a request that waits alone is asked for again at once.
    bool Count(TSRequestItem& item) const;
    /// A run that counts has ended.
    void EndRun();

private:
    std::atomic<std::uint32_t> m_dwLastRequestTick = 0;
};
