#pragma once

#include "LaterList.h"
#include "TurnList.h"
#include "platform/Mutex.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class CZelProcessorContext;
namespace platform {
class CManualResetEvent;
}

/// What runs, as who watches its time sees it.
struct SRunningRequest {
    std::uint64_t number = 0; ///< of this run, no other has it
    CString path;
    unsigned attempts = 0; ///< TSRequestItem::m_nAttempts
    std::chrono::nanoseconds start{};
    std::chrono::milliseconds limit{0}; ///< 0 for none
    bool isLastAttempt = true;          ///< whatever becomes of it, the request is not run again
    bool hasReachedLimit = false;       ///< EndAtLimit was told so
};

/// The requests of a server: which wait, which are paused and which one runs. Paths are those of the files in the queue
/// directory. Safe from any thread; no operation touches a file, shows a box or waits under its lock. Nor may what it
/// calls there, SetCanceled of the host's context and onEmpty.
class CRequestQueue {
public:
    /// isRunning: the server's; once it is false, what wakes the executive stays set.
    explicit CRequestQueue(const std::atomic<bool>& isRunning);
    ~CRequestQueue();
    CRequestQueue(const CRequestQueue&) = delete;
    CRequestQueue& operator=(const CRequestQueue&) = delete;

    /// Whose cancel flag is set and cleared for what runs; null for none.
    void SetContext(CZelProcessorContext* context);
    /// Nothing waits and nothing is paused from now on. For the first two see CTurnList. backsOff: what is put back has
    /// a pause, from 10 ms, twice as long each time, to a good second.
    void Clear(bool takesTurns, bool isFair = false, bool backsOff = false);

    /// Behind all that wait, at once or when its time has come.
    void Add(TSRequestItem item);
    /// Before all that wait, if its time has come.
    void Unpause(TSRequestItem item);
    /// While it is held, nothing can be taken to run; all else goes on.
    void SetHeld(bool held);
    /// From now on what runs is the last one, or with isAllRun what waits for its turn runs as well. Until Clear.
    void Drain(bool isAllRun);
    [[nodiscard]] bool IsDraining() const;
    /// True once, when it drains and nothing is left to run.
    bool TakeDrained();
    /// What was taken out of the queue, or never was in it.
    void Pause(TSRequestItem item);
    /// Also one whose time has not come.
    bool TakeWaiting(const CString& path, TSRequestItem& item);
    bool TakePaused(const CString& path, TSRequestItem& item);
    /// Changes the order of what waits; one whose time has not come has no place in it. See CTurnList.
    CTurnList::eMoved Move(const CString& path, eRequestPlace place, const CString& otherPath);

    /// The next one runs, uncancelled; bLast: nothing waits behind it. False when nothing waits, and after onEmpty;
    /// false without that when the queue is held, or what runs was the last one.
    bool TakeRequest(TSRequestItem& item, bool& bLast, const std::function<void()>& onEmpty);
    /// What runs waits again, behind all others, after its pause. False, and it does not, when it was cancelled.
    bool PutBack(TSRequestItem item);
    /// What runs waits again for so long, behind all others. False, and it does not, when somebody cancelled it.
    bool RunAgain(TSRequestItem item, std::chrono::milliseconds pause);
    /// From now on its time counts.
    void BeginRunning();
    /// True when it had reached its limit.
    bool EndRunning();
    /// Cancels whatever runs, or with onlyThis only the request of this path. False, with nothing cancelled, when that
    /// request waits.
    bool CancelRunningRequest(const CString& path, bool onlyThis);
    /// Empty when nothing runs.
    [[nodiscard]] std::optional<SRunningRequest> Running() const;
    /// Cancels this run, which has reached its limit. False, with nothing cancelled, when it has ended.
    bool EndAtLimit(std::uint64_t number);
    /// That what runs was cancelled for its limit, and by nobody else.
    [[nodiscard]] bool IsEndedByLimit() const;

    [[nodiscard]] bool IsRequestInQueue(const CString& path) const;
    [[nodiscard]] bool IsRequestPaused(const CString& path) const;
    /// Whether it waits, is paused or runs.
    [[nodiscard]] bool IsKnown(const CString& path) const;
    /// How many requests of this owner wait or are paused.
    [[nodiscard]] std::size_t CountOf(const std::string& owner) const;

    /// Ends the wait of the executive, as a request that comes does.
    void Wake();
    /// For something to come, or for the time of a request.
    void Wait();
    /// How long that may take, if nothing comes: the time of a request, or a look whether it has come. The longest time
    /// there is when only something that comes can be run.
    [[nodiscard]] std::chrono::milliseconds UntilDue() const;
    /// False when the time is over before anything comes.
    bool WaitFor(std::chrono::milliseconds timeout);

private:
    /// False when its time has come.
    bool PutOff(TSRequestItem& item) ZEL_REQUIRES(m_cs);
    void TakeWhatIsDue() ZEL_REQUIRES(m_cs);
    /// Whether nothing can be taken to run.
    [[nodiscard]] bool IsClosed() const ZEL_REQUIRES(m_cs);
    [[nodiscard]] bool IsDrained() const ZEL_REQUIRES(m_cs);
    void PutBackLater(TSRequestItem item, std::chrono::milliseconds pause) ZEL_REQUIRES(m_cs);
    [[nodiscard]] bool Waits(const CString& path) const ZEL_REQUIRES(m_cs);

    const std::atomic<bool>& m_bRunning;
    mutable platform::CMutex m_cs;
    std::unique_ptr<CTurnList> m_queue ZEL_GUARDED_BY(m_cs); ///< never null
    CLaterList m_later ZEL_GUARDED_BY(m_cs);                 ///< their time has not come, in seconds since 1970
    CLaterList m_putBack ZEL_GUARDED_BY(m_cs);               ///< their pause goes on, in steady nanoseconds
    bool m_bBacksOff ZEL_GUARDED_BY(m_cs) = false;
    std::unique_ptr<CTurnList> m_paused ZEL_GUARDED_BY(m_cs); ///< never null
    SRunningRequest m_running ZEL_GUARDED_BY(m_cs);           ///< without a path when nothing runs
    bool m_bCanceled ZEL_GUARDED_BY(m_cs) = false;            ///< somebody wants what runs to stop
    bool m_bHeld ZEL_GUARDED_BY(m_cs) = false;
    enum eDrain { eDrain_No, eDrain_All, eDrain_Running, eDrain_Done };
    eDrain m_drain ZEL_GUARDED_BY(m_cs) = eDrain_No;
    CZelProcessorContext* m_pContext ZEL_GUARDED_BY(m_cs) = nullptr;
    const std::unique_ptr<platform::CManualResetEvent> m_evQueue; ///< reset under m_cs alone
};
