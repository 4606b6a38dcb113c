#pragma once

#include "PassedOver.h"
#include "ZEL_Processor/ZelTypes.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <set>
#include <string>

class CRequestQueue;
class CRequestRefusals;
class CRequestStatuses;
struct CServerSettings;

/// Takes files of the request directory into the queue directory, as soon as nobody has them open. For the listener's
/// thread.
class CRequestTaker {
public:
    /// turns: counts each try while somebody is waited for.
    CRequestTaker(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses,
                  CRequestRefusals& refusals, const std::atomic<bool>& isRunning, std::atomic<std::uint32_t>& turns);

    /// The host's patience with who holds files is that of a whole look.
    void StartLook();
    [[nodiscard]] CPassedOver& PassedOver() { return m_passedOver; }
    /// Whether a request could not be moved in the last look, for a reason that may pass: a server that loses nothing
    /// looks again, for nothing may ever change in the directory any more.
    [[nodiscard]] bool HasFailed() const { return m_bFailed; }

    enum eTaken { eTaken_Yes, eTaken_No, eTaken_Refused, eTaken_Held };
    /// Refused: it was a link that is not to be followed, is gone, and was told of.
    eTaken TakeIntoQueue(const CString& path, const CString& target);
    /// True when the request waits now. One beyond its owner's limit is refused.
    bool AddRequestToQueue(const CString& path);
    [[nodiscard]] bool IsFull(const std::string& owner) const;

private:
    [[nodiscard]] bool MayWaitForHolder();
    [[nodiscard]] bool IsToldBefore(const CString& path);
    void RefuseRequest(const CString& path, const std::string& owner);

    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
    CRequestStatuses& m_statuses;
    CRequestRefusals& m_refusals;
    const std::atomic<bool>& m_bRunning;
    std::atomic<std::uint32_t>& m_nTurns;
    CPassedOver m_passedOver;
    bool m_bFailed = false;
    std::set<CString> m_told;                ///< could not be moved
    std::chrono::nanoseconds m_holdersEnd{}; ///< who holds a file is waited for until then
};
