#include "platform/Thread.h"

#include "platform/Mutex.h"
#include "platform/NeverDestroyed.h"
#include "platform/Os.h"
#include "platform/ThreadName.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

namespace platform {
namespace {

/// Kept here because systems cut names short or forget them. An array, for MinGW frees the memory of a thread's
/// variables before it calls their destructors.
thread_local std::array<char, 64> currentName{};

/// Keeps "for ever" in the largest number from overflowing when the time of now is added.
std::chrono::milliseconds Bounded(std::chrono::milliseconds timeout)
{
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 365);
    return timeout < longest ? timeout : longest;
}

class CSystemThreads final : public IThreads {
public:
    bool Start(std::function<void()> body, std::thread& thread) override
    {
        try {
            thread = std::thread(std::move(body));
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }
};

} // namespace

void SetCurrentThreadName(const char* name)
{
    const std::size_t length = std::min(std::strlen(name), currentName.size() - 1);
    *std::copy_n(name, length, currentName.begin()) = '\0';
    NameThreadForTheSystem(name);
}

const char* CurrentThreadName()
{
    return currentName.data();
}

struct CManualResetEvent::SState {
    CMutex mutex;
    CCondition changed;
    bool set ZEL_GUARDED_BY(mutex) = false;
};

CManualResetEvent::CManualResetEvent() : m_pState(std::make_shared<SState>()) {}

CManualResetEvent::~CManualResetEvent() = default;

void CManualResetEvent::Set()
{
    // Its own hold on the state, because a waiter may destroy the event as soon as it is set. Waking somebody under the
    // lock would only send him to sleep again, before it.
    const std::shared_ptr<SState> state = m_pState;
    {
        const CMutexLock lock(state->mutex);
        state->set = true;
    }
    state->changed.NotifyAll();
}

void CManualResetEvent::Reset()
{
    const CMutexLock lock(m_pState->mutex);
    m_pState->set = false;
}

bool CManualResetEvent::IsSet() const
{
    const CMutexLock lock(m_pState->mutex);
    return m_pState->set;
}

void CManualResetEvent::Wait()
{
    CMutexLock lock(m_pState->mutex);
    m_pState->changed.Wait(lock, [this]() ZEL_REQUIRES(m_pState->mutex) { return m_pState->set; });
}

bool CManualResetEvent::WaitFor(std::chrono::milliseconds timeout)
{
    CMutexLock lock(m_pState->mutex);
    return m_pState->changed.WaitFor(lock, Bounded(timeout),
                                     [this]() ZEL_REQUIRES(m_pState->mutex) { return m_pState->set; });
}

struct CThread::SState {
    std::thread thread; // touched by the owner of the CThread only
    CMutex mutex;
    CCondition changed;
    bool ended ZEL_GUARDED_BY(mutex) = false;
    unsigned exitCode ZEL_GUARDED_BY(mutex) = 0;
};

CThread::CThread() = default;
CThread::CThread(CThread&&) noexcept = default;

CThread::~CThread()
{
    // A thread that destroys its own object cannot wait for itself: it goes on alone, for the process must not end
    // here.
    if (!Join() && IsStarted() && m_pState->thread.joinable()) {
        m_pState->thread.detach();
    }
}

CThread& CThread::operator=(CThread&& other) noexcept
{
    if (this != &other) {
        CThread old(std::move(*this));
        m_pState = std::move(other.m_pState);
    }
    return *this;
}

bool CThread::Start(std::function<unsigned()> body)
{
    if (IsStarted() && m_pState->thread.joinable()) {
        return false;
    }
    auto state = std::make_shared<SState>();
    const auto run = [state = state.get(), keep = state, body = std::move(body)] {
        const unsigned exitCode = body();
        const CMutexLock lock(state->mutex);
        state->exitCode = exitCode;
        state->ended = true;
        state->changed.NotifyAll();
    };
    if (!Threads().Start(run, state->thread)) {
        return false;
    }
    m_pState = std::move(state);
    return true;
}

bool CThread::IsStarted() const
{
    return m_pState != nullptr;
}

bool CThread::Join()
{
    if (m_pState == nullptr || !m_pState->thread.joinable() ||
        m_pState->thread.get_id() == std::this_thread::get_id()) {
        return false;
    }
    Threads().Join(m_pState->thread);
    return true;
}

bool CThread::WaitFor(std::chrono::milliseconds timeout)
{
    if (m_pState == nullptr) {
        return false;
    }
    CMutexLock lock(m_pState->mutex);
    return m_pState->changed.WaitFor(lock, Bounded(timeout),
                                     [this]() ZEL_REQUIRES(m_pState->mutex) { return m_pState->ended; });
}

unsigned CThread::ExitCode() const
{
    if (m_pState == nullptr) {
        return 0;
    }
    const CMutexLock lock(m_pState->mutex);
    return m_pState->exitCode;
}

IThreads& SystemThreads()
{
    static CNeverDestroyed<CSystemThreads> threads;
    return threads.Get();
}

} // namespace platform
