#pragma once

#include "Housekeeping.h"
#include "RequestRefusals.h"
#include "RequestTaker.h"
#include "ServerCommands.h"
#include "TimeLimits.h"
#include "platform/Mutex.h"
#include "platform/Thread.h"

#include <memory>

class CClientMail;
class CClientRegistry;
class CRequestIntake;
namespace platform {
class IDirectoryWatch;
}

/// Watches the request directory, has what comes taken into the queue and commands carried out. For one thread, but for
/// what starts and ends it.
class CRequestListener {
public:
    /// isRunning is set when it accepts and cleared by whoever ends it.
    CRequestListener(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses,
                     CClientRegistry& registry, CClientMail& mail, std::atomic<bool>& isRunning,
                     CKeptNames* keptNames = nullptr);
    ~CRequestListener();
    CRequestListener(const CRequestListener&) = delete;
    CRequestListener& operator=(const CRequestListener&) = delete;

    /// Before a thread calls Listen.
    void Prepare();
    /// True when it accepts, or would if it were not to end. From any thread.
    [[nodiscard]] bool IsListening() const { return m_evListening.IsSet(); }
    [[nodiscard]] bool WaitUntilListening(std::chrono::milliseconds timeout) { return m_evListening.WaitFor(timeout); }
    /// From any thread.
    void EndListener();
    /// Counts what it does. From any thread.
    [[nodiscard]] std::uint32_t Turns() const { return m_nTurns; }

    /// Returns true when the server stops. Throws CNotSupportedException, after a report, when the directory cannot be
    /// watched.
    bool Listen();
    /// The two parts of Listen: watching and accepting from now on, and one turn, false when the server stops.
    void Start();
    bool ListenStep();
    /// False, after a report, when the directory cannot be read.
    bool ScanRequestDir();
    [[nodiscard]] CRequestRefusals& Refusals() { return m_refusals; }
    [[nodiscard]] CRequestTaker& Taker() { return m_taker; }
    [[nodiscard]] CServerCommands& Commands() { return m_commands; }
    /// For whoever waits for what runs when the listener has ended.
    [[nodiscard]] CTimeLimits& Limits() { return m_limits; }

private:
    [[nodiscard]] platform::IDirectoryWatch& Watch();
    void SetWatch(std::unique_ptr<platform::IDirectoryWatch> watch);
    void Accept();
    void TellResumed();
    [[nodiscard]] std::chrono::milliseconds UntilLook();
    bool RearmWatch();
    void TakeInTurns(CRequestIntake& putOff, std::chrono::nanoseconds start);
    void TakeFile(const CString& name);
    [[nodiscard]] bool IsToBeTaken(const CString& name) const;

    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
    CRequestStatuses& m_statuses;
    CClientRegistry& m_registry;
    CClientMail& m_mail;
    std::atomic<bool>& m_bRunning;
    std::atomic<std::uint32_t> m_nTurns = 0;
    CRequestRefusals m_refusals;
    CRequestTaker m_taker;
    CServerCommands m_commands;
    CHousekeeping m_housekeeping;
    CTimeLimits m_limits;
    std::chrono::nanoseconds m_lastScan{};
    bool m_bScanPending = false; ///< a scan failed
    bool m_bRearmFailed = false; ///< the last time
    bool m_bBuriesDead = false;  ///< since its start
    bool m_bMoreToTake = false;  ///< the last scan left files for the next one
    platform::CManualResetEvent m_evStop;
    platform::CManualResetEvent m_evListening;

    /// Guards the watch and the beginning and end of running, never while anything waits.
    platform::CMutex m_csWatch;
    /// Replaced by the listening thread only.
    std::unique_ptr<platform::IDirectoryWatch> m_pWatch ZEL_GUARDED_BY(m_csWatch);
};
