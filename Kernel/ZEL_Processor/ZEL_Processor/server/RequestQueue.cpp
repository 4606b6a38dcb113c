#include "RequestQueue.h"
#include "ZEL_Processor/ZelProcessorContext.h"
#include "platform/Os.h"
#include "platform/Thread.h"

#include <algorithm>
#include <utility>

namespace {

/// Between two looks whether the time of a request has come. Not a wait until then: the clock may be set.
constexpr std::chrono::milliseconds kClockPoll{500};
constexpr std::chrono::milliseconds kFirstRetryPause{10};
/// A good second, or only every other try would be one that counts (CRetryRules).
constexpr std::chrono::milliseconds kLongestRetryPause{1100};

} // namespace

CRequestQueue::CRequestQueue(const std::atomic<bool>& isRunning)
    : m_bRunning(isRunning),
      m_queue(std::make_unique<CTurnList>(false)),
      m_paused(std::make_unique<CTurnList>(false)),
      m_evQueue(std::make_unique<platform::CManualResetEvent>())
{}

CRequestQueue::~CRequestQueue() = default;

void CRequestQueue::SetContext(CZelProcessorContext* context)
{
    const platform::CMutexLock lock(m_cs);
    m_runs.front().context = context;
}

void CRequestQueue::SetSlots(const std::vector<CZelProcessorContext*>& contexts)
{
    const platform::CMutexLock lock(m_cs);
    m_runs.assign(contexts.size(), {});
    std::ranges::transform(contexts, m_runs.begin(), [](CZelProcessorContext* context) {
        return SRun{{}, false, context};
    });
}

void CRequestQueue::Clear(bool takesTurns, bool isFair, bool backsOff)
{
    const platform::CMutexLock lock(m_cs);
    m_queue = std::make_unique<CTurnList>(takesTurns, isFair);
    m_later = {};
    m_putBack = {};
    m_runsStill = {};
    m_bBacksOff = backsOff;
    m_drain = eDrain_No;
    m_paused = std::make_unique<CTurnList>(false, isFair); // which keeps whose client's it is
}

void CRequestQueue::Add(TSRequestItem item)
{
    {
        const platform::CMutexLock lock(m_cs);
        if (!PutOff(item))
            m_queue->Append(std::move(item));
    }
    m_evQueue->Set();
}

void CRequestQueue::Unpause(TSRequestItem item)
{
    {
        const platform::CMutexLock lock(m_cs);
        if (!PutOff(item))
            m_queue->PutNext(std::move(item));
    }
    m_evQueue->Set();
}

void CRequestQueue::SetHeld(bool held)
{
    const platform::CMutexLock lock(m_cs);
    if (std::exchange(m_bHeld, held) && !held)
        m_evQueue->Set();
}

void CRequestQueue::Drain(bool isAllRun)
{
    const platform::CMutexLock lock(m_cs);
    if (m_drain == eDrain_No)
        m_drain = isAllRun ? eDrain_All : eDrain_Running;
    m_evQueue->Set();
}

bool CRequestQueue::IsDraining() const
{
    const platform::CMutexLock lock(m_cs);
    return m_drain != eDrain_No;
}

bool CRequestQueue::TakeDrained()
{
    const platform::CMutexLock lock(m_cs);
    if (!IsDrained())
        return false;
    m_drain = eDrain_Done;
    return true;
}

bool CRequestQueue::IsDrained() const
{
    return !RunsAny() &&
           (m_drain == eDrain_Running || (m_drain == eDrain_All && m_queue->IsEmpty() && m_putBack.IsEmpty()));
}

void CRequestQueue::Pause(TSRequestItem item)
{
    const platform::CMutexLock lock(m_cs);
    m_paused->Append(std::move(item));
}

bool CRequestQueue::TakeWaiting(const CString& path, TSRequestItem& item)
{
    const platform::CMutexLock lock(m_cs);
    const bool isTaken = m_queue->Take(path, item) || m_later.Take(path, item) || m_putBack.Take(path, item) ||
                         m_runsStill.Take(path, item);
    if (isTaken && IsDrained()) // it was the last one
        m_evQueue->Set();
    return isTaken;
}

bool CRequestQueue::TakePaused(const CString& path, TSRequestItem& item)
{
    const platform::CMutexLock lock(m_cs);
    return m_paused->Take(path, item);
}

CTurnList::eMoved CRequestQueue::Move(const CString& path, eRequestPlace place, const CString& otherPath)
{
    const platform::CMutexLock lock(m_cs);
    return m_queue->Move(path, place, otherPath);
}

bool CRequestQueue::TakeRequest(TSRequestItem& item, bool& bLast, const std::function<void()>& onEmpty,
                                std::size_t slot)
{
    const platform::CMutexLock lock(m_cs);
    TakeWhatIsDue();
    if (IsClosed() || !TakeNext(item, slot)) {
        if (!IsClosed() && m_putBack.IsEmpty() && !RunsAny(slot)) // for what runs may wait again
            onEmpty();
        // A stop set the event for good; taking that back would leave who takes requests waiting for ever. Nor is
        // anybody else there to wake him for what is drained.
        if (m_bRunning && !IsDrained())
            m_evQueue->Reset();
        return false;
    }
    bLast = m_queue->IsEmpty() && m_putBack.IsEmpty() && m_runsStill.IsEmpty();
    // Under the lock: a cancel finds the request either in the queue or ready to be flagged, and never in between.
    SRun& run = m_runs[slot];
    run.request = {.number = ++m_nRuns,
                   .path = item.m_strFile,
                   .attempts = item.m_nAttempts,
                   .limit = item.m_timeLimit,
                   .isLastAttempt = item.m_nFailedRuns + 1 >= item.m_nMaxRuns};
    run.isCanceled = false;
    if (run.context)
        run.context->SetCanceled(false);
    WakeOther();
    return true;
}

/// Whoever waits for the time of a request may run another one when it has come: one that has nothing to do has to look
/// for it then.
void CRequestQueue::WakeOther()
{
    if (m_runs.size() > 1 && !(m_putBack.IsEmpty() && m_later.IsEmpty()))
        m_evQueue->Set();
}

bool CRequestQueue::TakeNext(TSRequestItem& item, std::size_t slot)
{
    while (m_queue->TakeNext(item)) {
        if (!Runs(item.m_strFile, slot))
            return true;
        m_runsStill.Add(0, std::move(item));
    }
    return false;
}

bool CRequestQueue::PutBack(TSRequestItem item, std::size_t slot)
{
    const platform::CMutexLock lock(m_cs);
    // The host's own flag is not asked here: a fault in it would leave the lock taken.
    if (m_runs[slot].isCanceled || m_runs[slot].request.hasReachedLimit)
        return false;
    if (m_bBacksOff) {
        item.m_pause = std::clamp(2 * item.m_pause, kFirstRetryPause, kLongestRetryPause);
        const std::chrono::milliseconds pause = item.m_pause;
        PutBackLater(std::move(item), pause);
        return true;
    }
    m_queue->PutBack(std::move(item));
    m_evQueue->Set();
    return true;
}

bool CRequestQueue::RunAgain(TSRequestItem item, std::chrono::milliseconds pause, std::size_t slot)
{
    const platform::CMutexLock lock(m_cs);
    if (m_runs[slot].isCanceled)
        return false;
    PutBackLater(std::move(item), pause);
    return true;
}

void CRequestQueue::PutBackLater(TSRequestItem item, std::chrono::milliseconds pause)
{
    const std::chrono::nanoseconds due = platform::Clock().Steady() + pause;
    m_putBack.Add(due.count(), std::move(item));
    WakeOther();
}

void CRequestQueue::TakeWhatIsDue()
{
    TSRequestItem due;
    while (!m_later.IsEmpty() && m_later.TakeDue(platform::Clock().UtcSeconds(), due))
        m_queue->Append(std::move(due));
    while (!m_putBack.IsEmpty() && m_putBack.TakeDue(platform::Clock().Steady().count(), due))
        m_queue->PutBack(std::move(due));
}

bool CRequestQueue::IsClosed() const
{
    return m_bHeld || m_drain == eDrain_Running || m_drain == eDrain_Done;
}

bool CRequestQueue::Waits(const CString& path) const
{
    return m_queue->Contains(path) || m_later.Contains(path) || m_putBack.Contains(path) || m_runsStill.Contains(path);
}

bool CRequestQueue::Runs(const CString& path, std::size_t butSlot) const
{
    for (std::size_t slot = 0; slot < m_runs.size(); ++slot) {
        if (slot != butSlot && m_runs[slot].request.path == path)
            return true;
    }
    return false;
}

bool CRequestQueue::RunsAny(std::size_t butSlot) const
{
    for (std::size_t slot = 0; slot < m_runs.size(); ++slot) {
        if (slot != butSlot && !m_runs[slot].request.path.empty())
            return true;
    }
    return false;
}

void CRequestQueue::SRun::Cancel()
{
    if (context)
        context->SetCanceled(true);
}

void CRequestQueue::BeginRunning(std::size_t slot)
{
    const platform::CMutexLock lock(m_cs);
    m_runs[slot].request.start = platform::Clock().Steady();
}

bool CRequestQueue::EndRunning(std::size_t slot)
{
    const platform::CMutexLock lock(m_cs);
    SRunningRequest& ended = m_runs[slot].request;
    if (TSRequestItem next; m_runsStill.Take(ended.path, next)) {
        m_queue->PutNext(std::move(next)); // whose turn it was
        m_evQueue->Set();
    }
    ended.path.clear();
    return ended.hasReachedLimit;
}

bool CRequestQueue::CancelRunningRequest(const CString& path, bool onlyThis)
{
    // Under the lock: the request that is meant is neither ended nor put back meanwhile.
    const platform::CMutexLock lock(m_cs);
    if (Waits(path))
        return false;
    for (SRun& run : m_runs) {
        if (onlyThis && run.request.path != path)
            continue;
        run.isCanceled = true;
        run.Cancel();
    }
    return true;
}

std::optional<SRunningRequest> CRequestQueue::Running(std::size_t slot) const
{
    const platform::CMutexLock lock(m_cs);
    const SRunningRequest& running = m_runs[slot].request;
    return running.path.empty() ? std::nullopt : std::optional(running);
}

std::vector<SRunningRequest> CRequestQueue::AllRunning() const
{
    const platform::CMutexLock lock(m_cs);
    std::vector<SRunningRequest> running;
    for (const SRun& run : m_runs) {
        if (!run.request.path.empty())
            running.push_back(run.request);
    }
    return running;
}

bool CRequestQueue::EndAtLimit(std::uint64_t number)
{
    const platform::CMutexLock lock(m_cs);
    const auto run = std::ranges::find_if(
        m_runs, [&](const SRun& any) { return !any.request.path.empty() && any.request.number == number; });
    if (run == m_runs.end())
        return false;
    run->request.hasReachedLimit = true;
    run->Cancel();
    return true;
}

bool CRequestQueue::IsEndedByLimit(std::size_t slot) const
{
    const platform::CMutexLock lock(m_cs);
    return m_runs[slot].request.hasReachedLimit && !m_runs[slot].isCanceled;
}

bool CRequestQueue::IsRequestInQueue(const CString& path) const
{
    const platform::CMutexLock lock(m_cs);
    return Waits(path);
}

bool CRequestQueue::IsRequestPaused(const CString& path) const
{
    const platform::CMutexLock lock(m_cs);
    return m_paused->Contains(path);
}

bool CRequestQueue::IsKnown(const CString& path) const
{
    const platform::CMutexLock lock(m_cs);
    return Waits(path) || m_paused->Contains(path) || Runs(path);
}

std::size_t CRequestQueue::CountOf(const std::string& owner) const
{
    const platform::CMutexLock lock(m_cs);
    return m_queue->CountOf(owner) + m_later.CountOf(owner) + m_putBack.CountOf(owner) + m_runsStill.CountOf(owner) +
           m_paused->CountOf(owner);
}

void CRequestQueue::Wake()
{
    const platform::CMutexLock lock(m_cs);
    m_evQueue->Set();
}

void CRequestQueue::Wait()
{
    // One that comes meanwhile sets the event, whenever its time is.
    if (const std::chrono::milliseconds due = UntilDue(); due != std::chrono::milliseconds::max())
        static_cast<void>(WaitFor(due));
    else
        m_evQueue->Wait();
}

std::chrono::milliseconds CRequestQueue::UntilDue() const
{
    const platform::CMutexLock lock(m_cs);
    if (IsClosed()) // a release wakes
        return std::chrono::milliseconds::max();
    std::chrono::milliseconds due = m_later.IsEmpty() ? std::chrono::milliseconds::max() : kClockPoll;
    if (!m_putBack.IsEmpty()) {
        const std::chrono::nanoseconds left =
            std::chrono::nanoseconds(m_putBack.NextTime()) - platform::Clock().Steady();
        due = std::min(due, std::max(std::chrono::ceil<std::chrono::milliseconds>(left), std::chrono::milliseconds(0)));
    }
    return due;
}

bool CRequestQueue::PutOff(TSRequestItem& item)
{
    if (item.m_nNotBefore == 0 || item.m_nNotBefore <= platform::Clock().UtcSeconds())
        return false;
    const std::int64_t time = item.m_nNotBefore;
    m_later.Add(time, std::move(item));
    return true;
}

bool CRequestQueue::WaitFor(std::chrono::milliseconds timeout)
{
    return m_evQueue->WaitFor(timeout);
}
