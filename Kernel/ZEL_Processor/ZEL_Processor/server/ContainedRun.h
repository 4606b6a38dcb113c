#pragma once

#include "FailedRequests.h"
#include "ZEL_Processor/ZelTypes.h"

#include <atomic>
#include <cstddef>
#include <functional>

class CEndedRequests;
class CRequestQueue;
class CZelProcessorProgressStatusFile;
class IRequestRunner;
struct CServerSettings;
struct TSRequestItem;
namespace platform {
struct SFaultRecord;
}

/// Runs a request and contains what leaves the run, an exception or a fault of the processor, with a crash report when
/// the host wants one. What the run held then leaks: docs/architecture.md, "Faults". For one thread.
class CContainedRun {
public:
    /// isInTask is true while a task may take as long as it likes. slot: in which the requests run.
    CContainedRun(const CServerSettings& settings, CRequestQueue& requests, CEndedRequests& ended,
                  std::atomic<bool>& isInTask, std::size_t slot = 0)
        : m_settings(settings),
          m_requests(requests),
          m_ended(ended),
          m_failed(settings),
          m_bInTask(isInTask),
          m_nSlot(slot)
    {}

    void SetRunner(IRequestRunner* runner) { m_pRunner = runner; }
    /// bForce: the task should take the request, for nothing else waits. A request whose task declines it is put back
    /// into the queue, and one that fails loses its file before its status tells of that. False, with bException, when
    /// something left the run: its file and its status are still as they were then.
    bool Try_ExecuteRequest(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool bForce,
                            bool& bException);
    /// What left the last run that something left: the type and text of an exception, or the kind of fault.
    [[nodiscard]] const CString& LastFault() const { return m_strFault; }
    /// What to say behind the reason of a request that may be run several times: which run it was that failed. Empty of
    /// others, and where reasons are not told.
    [[nodiscard]] CString WhichAttempt(const TSRequestItem& item) const;
    /// After a run that crashed, or that its limit has ended: the request waits for its next attempt, as if it had not
    /// been run. False, with nothing changed, after the last one, and when somebody cancelled it.
    bool RunAgain(TSRequestItem item, CZelProcessorProgressStatusFile& statusFile);
    /// Whether the last run was one of these.
    [[nodiscard]] bool IsRunAgain() const { return m_bRunAgain; }
    /// Ends a request that is not to be run with a report. tell writes its last status.
    void RefuseRequest(const TSRequestItem& item, const CString& reason, const std::function<void()>& tell);
    /// Takes the file away, and then has the last status written. reason: why it failed, of a request that is kept when
    /// the host wants that; empty of one that was refused or cancelled.
    void EndFailedRequest(const TSRequestItem& item, const std::function<void()>& tell, const CString& reason);

private:
    enum eRetry { eRetry_None, eRetry_Counted, eRetry_TooSoon, eRetry_Canceled };

    bool SEH__ExecuteRequest(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool bForce);
    class CHeldFailure;
    void EndRun(const TSRequestItem& item, CHeldFailure& progress);
    bool KeepFile(const CString& path);
    eRetry PutBack(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile);
    static int HandleCatchAll(const wchar_t* context, const platform::SFaultRecord* exceptionPointers,
                              const wchar_t* file, long line, CString& report);

    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
    CEndedRequests& m_ended;
    CFailedRequests m_failed;
    std::atomic<bool>& m_bInTask;
    const std::size_t m_nSlot;
    IRequestRunner* m_pRunner = nullptr;
    CString m_strFault;
    CString m_strReport; ///< of the crash of the last run; empty without one
    bool m_bRunAgain = false;
};
