#pragma once

#include "LaterList.h"
#include "RetryRules.h"
#include "TurnList.h"
#include "platform/Mutex.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

/// What waits and what is paused, as who watches the server sees it.
struct SQueueView {
    std::size_t waiting = 0;
    std::size_t paused = 0;
    bool isHeld = false;
    std::vector<TSRequestItem> firstWaiting; ///< the next ones in front; behind them those whose time has not come
    std::vector<TSRequestItem> firstPaused;
};

/// The requests of a server: which wait, which are paused and which run, one in each slot. Paths are those of the files
/// in the queue directory. Safe from any thread; no operation touches a file, shows a box or waits under its lock. Nor
/// may what it calls there, SetCanceled of the slots' contexts and onEmpty.
class CRequestQueue {
public:
    /// isRunning: the server's; once it is false, what wakes the executive stays set.
    explicit CRequestQueue(const std::atomic<bool>& isRunning);
    ~CRequestQueue();
    CRequestQueue(const CRequestQueue&) = delete;
    CRequestQueue& operator=(const CRequestQueue&) = delete;

    /// Whose cancel flag is set and cleared for what runs in the first slot; null for none.
    void SetContext(CZelProcessorContext* context);
    /// So many slots, each with its context. While nothing runs; there is one at first.
    void SetSlots(const std::vector<CZelProcessorContext*>& contexts);
    /// One set for all slots.
    [[nodiscard]] CRetryRules& Retries() { return m_retries; }
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

    /// The next one runs in this slot, uncancelled; bLast: nothing waits behind it. One whose name runs still, in
    /// another slot, waits for the end of that. False when nothing waits, and when nothing runs either, after onEmpty;
    /// false without that when the queue is held, or what runs was the last one.
    bool TakeRequest(TSRequestItem& item, bool& bLast, const std::function<void()>& onEmpty, std::size_t slot = 0);
    /// What runs waits again, behind all others, after its pause. False, and it does not, when it was cancelled.
    bool PutBack(TSRequestItem item, std::size_t slot = 0);
    /// What runs waits again for so long, behind all others. False, and it does not, when somebody cancelled it.
    bool RunAgain(TSRequestItem item, std::chrono::milliseconds pause, std::size_t slot = 0);
    /// From now on its time counts.
    void BeginRunning(std::size_t slot = 0);
    /// Until it is begun again its time does not count.
    void HoldTime(std::size_t slot = 0);
    /// What runs can reach its limit no more. Whether it has; empty, and it can, until it is told that it has.
    [[nodiscard]] std::optional<bool> CloseLimit(std::size_t slot = 0);
    /// From here on the next one of its name can run.
    void EndRunning(std::size_t slot = 0);
    /// Cancels whatever runs, or with onlyThis only the request of this path. False, with nothing cancelled, when that
    /// request waits.
    bool CancelRunningRequest(const CString& path, bool onlyThis);
    /// Empty when nothing runs there.
    [[nodiscard]] std::optional<SRunningRequest> Running(std::size_t slot = 0) const;
    /// In all slots.
    [[nodiscard]] std::vector<SRunningRequest> AllRunning() const;
    /// Cancels this run, which has reached its limit. False, with nothing cancelled, when it has ended. True is
    /// followed by TellLimit.
    bool EndAtLimit(std::uint64_t number);
    /// All is told of that limit that has to be told while it runs.
    void TellLimit(std::uint64_t number);
    /// That what runs was cancelled for its limit, and by nobody else.
    [[nodiscard]] bool IsEndedByLimit(std::size_t slot = 0) const;

    [[nodiscard]] bool IsRequestInQueue(const CString& path) const;
    [[nodiscard]] bool IsRequestPaused(const CString& path) const;
    /// Whether it waits, is paused or runs.
    [[nodiscard]] bool IsKnown(const CString& path) const;
    /// How many requests of this owner wait or are paused.
    [[nodiscard]] std::size_t CountOf(const std::string& owner) const;

    /// The lists with at most so many each.
    [[nodiscard]] SQueueView View(std::size_t most) const;

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
    static constexpr std::size_t kNoSlot = std::numeric_limits<std::size_t>::max();

    /// False when its time has come.
    bool PutOff(TSRequestItem& item) ZEL_REQUIRES(m_cs);
    void TakeWhatIsDue() ZEL_REQUIRES(m_cs);
    void WakeOther() ZEL_REQUIRES(m_cs);
    /// Whether nothing can be taken to run.
    [[nodiscard]] bool IsClosed() const ZEL_REQUIRES(m_cs);
    [[nodiscard]] bool IsDrained() const ZEL_REQUIRES(m_cs);
    void PutBackLater(TSRequestItem item, std::chrono::milliseconds pause) ZEL_REQUIRES(m_cs);
    [[nodiscard]] bool Waits(const CString& path) const ZEL_REQUIRES(m_cs);
    /// In one of the slots, or in another one than this.
    [[nodiscard]] bool Runs(const CString& path, std::size_t butSlot = kNoSlot) const ZEL_REQUIRES(m_cs);
    [[nodiscard]] bool RunsAny(std::size_t butSlot = kNoSlot) const ZEL_REQUIRES(m_cs);
    /// The next one that no other slot runs still.
    bool TakeNext(TSRequestItem& item, std::size_t slot) ZEL_REQUIRES(m_cs);

    /// What runs in a slot.
    struct SRun {
        SRunningRequest request;  ///< without a path when nothing runs
        bool isCanceled = false;  ///< somebody wants it to stop
        bool isBeingTold = false; ///< between EndAtLimit and TellLimit
        bool isClosed = false;    ///< CloseLimit was told so
        CZelProcessorContext* context = nullptr;

        void Cancel();
    };

    const std::atomic<bool>& m_bRunning;
    mutable platform::CMutex m_cs;
    std::unique_ptr<CTurnList> m_queue ZEL_GUARDED_BY(m_cs); ///< never null
    CLaterList m_later ZEL_GUARDED_BY(m_cs);                 ///< their time has not come, in seconds since 1970
    CLaterList m_putBack ZEL_GUARDED_BY(m_cs);               ///< their pause goes on, in steady nanoseconds
    bool m_bBacksOff ZEL_GUARDED_BY(m_cs) = false;
    std::unique_ptr<CTurnList> m_paused ZEL_GUARDED_BY(m_cs); ///< never null
    CLaterList m_runsStill ZEL_GUARDED_BY(m_cs);              ///< sent again; the run before has not ended yet
    std::vector<SRun> m_runs ZEL_GUARDED_BY(m_cs) = std::vector<SRun>(1);
    std::uint64_t m_nRuns ZEL_GUARDED_BY(m_cs) = 0;
    bool m_bHeld ZEL_GUARDED_BY(m_cs) = false;
    enum eDrain { eDrain_No, eDrain_All, eDrain_Running, eDrain_Done };
    eDrain m_drain ZEL_GUARDED_BY(m_cs) = eDrain_No;
    CRetryRules m_retries;
    const std::unique_ptr<platform::CManualResetEvent> m_evQueue; ///< reset under m_cs alone
};
