#include "RequestQueue.h"
#include "ZEL_Processor/ZelProcessorContext.h"
#include "platform/Os.h"
#include "platform/Thread.h"

#include <algorithm>
#include <utility>

// What runs, and how it comes into a slot and out of it.

namespace {

constexpr std::chrono::milliseconds kFirstRetryPause{10};
/// A good second, or only every other try would be one that counts (CRetryRules).
constexpr std::chrono::milliseconds kLongestRetryPause{1100};

} // namespace

void CRequestQueue::SetSlots(const std::vector<CZelProcessorContext*>& contexts)
{
    const platform::CMutexLock lock(m_cs);
    m_runs.assign(contexts.size(), {});
    std::ranges::transform(contexts, m_runs.begin(), [](CZelProcessorContext* context) {
        SRun run;
        run.context = context;
        return run;
    });
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
    run.isBeingTold = false;
    run.isClosed = false;
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

void CRequestQueue::HoldTime(std::size_t slot)
{
    const platform::CMutexLock lock(m_cs);
    m_runs[slot].request.start = {};
}

std::optional<bool> CRequestQueue::CloseLimit(std::size_t slot)
{
    const platform::CMutexLock lock(m_cs);
    SRun& run = m_runs[slot];
    if (run.isBeingTold)
        return std::nullopt;
    run.isClosed = true;
    return run.request.hasReachedLimit;
}

void CRequestQueue::EndRunning(std::size_t slot)
{
    const platform::CMutexLock lock(m_cs);
    SRunningRequest& ended = m_runs[slot].request;
    if (TSRequestItem next; m_runsStill.Take(ended.path, next)) {
        m_queue->PutNext(std::move(next)); // whose turn it was
        m_evQueue->Set();
    }
    ended.path.clear();
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
    if (run == m_runs.end() || run->isClosed)
        return false;
    run->request.hasReachedLimit = true;
    run->Cancel(); // the host's own code
    run->isBeingTold = true;
    return true;
}

void CRequestQueue::TellLimit(std::uint64_t number)
{
    const platform::CMutexLock lock(m_cs);
    for (SRun& run : m_runs)
        run.isBeingTold = run.isBeingTold && run.request.number != number;
}

bool CRequestQueue::IsEndedByLimit(std::size_t slot) const
{
    const platform::CMutexLock lock(m_cs);
    return m_runs[slot].request.hasReachedLimit && !m_runs[slot].isCanceled;
}
