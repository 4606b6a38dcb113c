#include "RequestQueue.h"
#include "ZEL_Processor/ZelProcessorContext.h"
#include "platform/Os.h"
#include "platform/Thread.h"

#include <algorithm>
#include <utility>

namespace {

/// Between two looks whether the time of a request has come. Not a wait until then: the clock may be set.
constexpr std::chrono::milliseconds kClockPoll{500};

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

SQueueView CRequestQueue::View(std::size_t most) const
{
    const platform::CMutexLock lock(m_cs);
    SQueueView view;
    view.waiting = m_queue->Count() + m_runsStill.Count() + m_putBack.Count() + m_later.Count();
    view.paused = m_paused->Count();
    view.isHeld = m_bHeld;
    view.firstWaiting = m_queue->First(most);
    for (const CLaterList* const list : {&m_runsStill, &m_putBack, &m_later})
        list->AddFirst(most, view.firstWaiting);
    view.firstPaused = m_paused->First(most);
    return view;
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
