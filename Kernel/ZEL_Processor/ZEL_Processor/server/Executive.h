#pragma once

#include "AttemptRecords.h"
#include "ContainedRun.h"
#include "EndedRequests.h"
#include "SlotRecords.h"
#include "ZEL_Processor/ZelProcessorEnums.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>

class CRequestQueue;
class CRequestStatuses;
class IRequestRunner;
struct CServerSettings;

/// Takes the requests out of the queue and has them run in its slot, one after the other, and writes statuses that had
/// to wait. For one thread, but for what MakesProgress asks.
class CExecutive {
public:
    /// keptNames: see CEndedRequests.
    CExecutive(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses,
               const std::atomic<bool>& isRunning, std::size_t slot = 0, CKeptNames* keptNames = nullptr);

    /// Borrowed; before ProcessQueue. stepping: the one that is asked whether the queue may go on, in place of runner:
    /// that of the first slot, for it goes on in all of them.
    void SetRunner(IRequestRunner* runner, IRequestRunner* stepping = nullptr);
    /// For whoever runs requests: takes the file of one that is done away. Empty when it is to be deleted.
    [[nodiscard]] std::function<platform::eOsError(const CString&)> Remover();
    /// Returns true when the server stops.
    bool ProcessQueue();
    /// False when the server stops.
    bool ProcessQueueStep();
    /// False when nothing waits.
    bool ExecuteRequest();

    /// Counts what it does. From any thread.
    [[nodiscard]] std::uint32_t Turns() const { return m_nTurns; }
    /// In a task, or without one. From any thread.
    [[nodiscard]] bool MayTakeLong() const { return m_bMayTakeLong; }

private:
    void WaitForWork();
    bool HasReachedLimit();
    void RunRequest(TSRequestItem& item, bool bLast, bool isNews);
    void TellRun(const TSRequestItem& item, const CZelProcessorProgressStatusFile& statusFile,
                 std::chrono::nanoseconds duration, bool isNews) const;
    void CountBegin(const TSRequestItem& item) const;
    void CountEnd(eZelProcRequestStatus status, const CString& reason) const;
    [[nodiscard]] static CString StartText(const TSRequestItem& item);
    bool BeginRun(const TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool isNews);

    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
    CRequestStatuses& m_statuses;
    const std::atomic<bool>& m_bRunning;
    std::atomic<std::uint32_t> m_nTurns = 0;
    std::atomic<bool> m_bMayTakeLong = false;
    const CAttemptRecords m_attempts;
    const CSlotRecords m_slots;
    CEndedRequests m_ended;
    const std::size_t m_nSlot;
    CContainedRun m_run;
    IRequestRunner* m_pRunner = nullptr;
    IRequestRunner* m_pStepping = nullptr;
    bool m_bTellsStart = false; ///< of the request that runs: the story has not told it yet
};
