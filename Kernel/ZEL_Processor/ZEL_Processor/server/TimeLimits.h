#pragma once

#include "AttemptRecords.h"

#include <chrono>
#include <cstdint>
#include <map>

class CRequestQueue;
struct CServerSettings;
struct SRunningRequest;

/// Has runs cancelled that take longer than they may, and tells the log of those that do not end then. It runs none of
/// the code of a task, so it may be asked while one hangs. For one thread at a time.
class CTimeLimits {
public:
    CTimeLimits(const CServerSettings& settings, CRequestQueue& requests)
        : m_settings(settings), m_requests(requests), m_attempts(settings)
    {}

    void Check();
    /// How long nothing has to be checked, a second at most: what runs then may have begun meanwhile.
    [[nodiscard]] std::chrono::milliseconds UntilCheck() const;

private:
    void CheckRun(const SRunningRequest& running);
    void Reach(const SRunningRequest& running, std::chrono::nanoseconds now);
    void TellDeaf(const SRunningRequest& running) const;

    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
    const CAttemptRecords m_attempts;
    std::map<std::uint64_t, std::chrono::nanoseconds> m_nextWarnings; ///< of runs that have reached their limit
};
