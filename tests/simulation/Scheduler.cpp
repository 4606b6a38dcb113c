#include "tests/simulation/Scheduler.h"

#include <algorithm>

namespace sim {
namespace {

thread_local CScheduler::SThread* t_current = nullptr;
CScheduler* g_running = nullptr;

/// Far beyond what the longest history takes; who comes here goes on without end.
constexpr std::size_t kMostPicks = 3'000'000;

} // namespace

CScheduler::CScheduler(CRandom& random, SProcess& process)
    : m_random(random), m_rarely(std::size_t{1} << random.Below(6))
{
    g_running = this;
    SThread& first = Add(process);
    first.id = std::this_thread::get_id();
    t_current = &first;
}

CScheduler::~CScheduler()
{
    t_current = nullptr;
    g_running = nullptr;
}

CScheduler::SThread* CScheduler::Current()
{
    return t_current;
}

CScheduler* CScheduler::Running()
{
    return g_running;
}

CScheduler::SThread& CScheduler::Add(SProcess& process)
{
    m_threads.push_back(std::make_unique<SThread>());
    SThread& thread = *m_threads.back();
    thread.process = &process;
    thread.number = static_cast<std::uint32_t>(m_threads.size());
    return thread;
}

bool CScheduler::Start(SProcess& process, std::function<void()> body, std::thread& thread)
{
    SThread& added = Add(process);
    thread = std::thread([this, &added, body = std::move(body)] {
        t_current = &added;
        added.turn.Take();
        body();
        added.hasEnded = true;
        Pick(added, true).turn.Give();
    });
    added.id = thread.get_id();
    return true;
}

void CScheduler::Join(std::thread& thread)
{
    const auto isThis = [id = thread.get_id()](const auto& known) { return known->id == id && !known->hasEnded; };
    const auto found = std::find_if(m_threads.begin(), m_threads.end(), isThis);
    if (found != m_threads.end()) {
        const SThread& joined = **found;
        WaitFor(kForever, [&joined] { return joined.hasEnded; });
    }
    thread.join();
}

void CScheduler::Pause(bool isForOthers)
{
    if (isForOthers || m_random.OneIn(m_rarely))
        PassOn(*t_current, isForOthers);
}

bool CScheduler::WaitFor(nanoseconds timeout, const std::function<bool()>& condition)
{
    SThread& self = *t_current;
    if (condition())
        return true;
    self.waitsFor = &condition;
    self.until = m_now + std::min<nanoseconds>(timeout, kForever);
    PassOn(self, true);
    if (self.process->isDead && timeout < kForever)
        self.process->ahead += timeout;
    self.waitsFor = nullptr;
    return condition();
}

bool CScheduler::CanRun(const SThread& thread) const
{
    if (thread.hasEnded)
        return false;
    if (thread.waitsFor == nullptr || (*thread.waitsFor)() || thread.until <= m_now)
        return true;
    return thread.process->isDead && thread.until < m_now + kForever / 2;
}

CScheduler::SThread& CScheduler::Pick(SThread& self, bool isForOthers)
{
    if (++m_picks > kMostPicks)
        m_onStuck("no end after so many calls:" + Threads());
    for (;;) {
        m_ready.clear();
        for (const auto& thread : m_threads) {
            if (CanRun(*thread))
                m_ready.push_back(thread.get());
        }
        if (!m_ready.empty())
            break;
        AdvanceToNext();
    }
    if (isForOthers && m_ready.size() > 1)
        std::erase(m_ready, &self);
    return *m_ready[m_random.Below(m_ready.size())];
}

void CScheduler::AdvanceToNext()
{
    nanoseconds next = m_now + kForever / 2;
    for (const auto& thread : m_threads) {
        if (!thread->hasEnded && thread->waitsFor != nullptr)
            next = std::min(next, thread->until);
    }
    for (const nanoseconds alarm : m_alarms)
        next = alarm > m_now ? std::min(next, alarm) : next;
    if (next >= m_now + kForever / 2)
        m_onStuck("everybody waits for ever:" + Threads());
    m_now = next;
    std::erase_if(m_alarms, [this](nanoseconds alarm) { return alarm <= m_now; });
}

std::string CScheduler::Threads() const
{
    std::string text;
    for (const auto& thread : m_threads) {
        if (!thread->hasEnded)
            text += " " + std::to_string(thread->number) + " of " +
                    std::string(thread->process->name.begin(), thread->process->name.end()) +
                    (thread->process->isDead ? " (dead)" : "");
    }
    return text;
}

void CScheduler::PassOn(SThread& self, bool isForOthers)
{
    SThread& next = Pick(self, isForOthers);
    if (&next == &self)
        return;
    next.turn.Give();
    self.turn.Take();
}

void Pause(bool isForOthers)
{
    if (t_current != nullptr)
        g_running->Pause(isForOthers);
}

void WaitFor(nanoseconds timeout, const std::function<bool()>& condition)
{
    if (t_current != nullptr)
        g_running->WaitFor(timeout, condition);
}

} // namespace sim
