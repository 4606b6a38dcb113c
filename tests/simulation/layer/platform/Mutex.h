#pragma once

// In place of the header of this name in simulated programs: the same classes, whose waits are the scheduler's.

#include "tests/simulation/Waiting.h"

#include <chrono>
#include <functional>

#ifdef __clang__
#define ZEL_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define ZEL_THREAD_SAFETY(attribute)
#endif
#define ZEL_GUARDED_BY(mutex) ZEL_THREAD_SAFETY(guarded_by(mutex))
#define ZEL_REQUIRES(mutex) ZEL_THREAD_SAFETY(requires_capability(mutex))

namespace platform {

class ZEL_THREAD_SAFETY(capability("mutex")) CMutex {
public:
    CMutex() = default;
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

private:
    friend class CMutexLock;
    bool m_isHeld = false;
};

class ZEL_THREAD_SAFETY(scoped_lockable) CMutexLock {
public:
    explicit CMutexLock(CMutex& mutex) ZEL_THREAD_SAFETY(acquire_capability(mutex)) : m_isHeld(mutex.m_isHeld)
    {
        Lock();
    }
    ~CMutexLock() ZEL_THREAD_SAFETY(release_capability()) { m_isHeld = false; }
    CMutexLock(const CMutexLock&) = delete;
    CMutexLock& operator=(const CMutexLock&) = delete;

private:
    friend class CCondition;
    void Lock()
    {
        sim::Pause();
        if (m_isHeld)
            sim::WaitFor(sim::kForever, [this] { return !m_isHeld; });
        m_isHeld = true;
    }
    bool& m_isHeld;
};

/// Nobody has to be notified: the scheduler looks at the conditions itself.
class CCondition {
public:
    template <class Condition>
    void Wait(CMutexLock& lock, const Condition& condition)
    {
        static_cast<void>(WaitFor(lock, sim::kForever, condition));
    }
    template <class Condition>
    [[nodiscard]] bool WaitFor(CMutexLock& lock, std::chrono::milliseconds timeout, const Condition& condition)
    {
        const std::function<bool()> holds = std::cref(condition); // whose call clang does not look into
        lock.m_isHeld = false;
        sim::WaitFor(timeout, [&] { return !lock.m_isHeld && holds(); });
        lock.Lock();
        return holds();
    }
    void NotifyAll() {}
};

} // namespace platform
