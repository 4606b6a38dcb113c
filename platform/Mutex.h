#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// What clang checks (-Wthread-safety, the preset "clang"): which lock guards a value, and which a function wants to be
// held. Other compilers see nothing.
#ifdef __clang__
#define ZEL_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define ZEL_THREAD_SAFETY(attribute)
#endif
/// Behind a variable: touched only while this mutex is held.
#define ZEL_GUARDED_BY(mutex) ZEL_THREAD_SAFETY(guarded_by(mutex))
/// Behind a function or a lambda's parentheses: who calls holds the mutex. A condition says it, too: it is called by
/// the wait.
#define ZEL_REQUIRES(mutex) ZEL_THREAD_SAFETY(requires_capability(mutex))

namespace platform {

/// std::mutex, as clang can check it; held through a CMutexLock.
class ZEL_THREAD_SAFETY(capability("mutex")) CMutex {
public:
    CMutex() = default;
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

private:
    friend class CMutexLock;
    std::mutex m_mutex;
};

/// Holds a mutex to the end of the block.
class ZEL_THREAD_SAFETY(scoped_lockable) CMutexLock {
public:
    explicit CMutexLock(CMutex& mutex) ZEL_THREAD_SAFETY(acquire_capability(mutex)) : m_lock(mutex.m_mutex) {}
    ~CMutexLock() ZEL_THREAD_SAFETY(release_capability()) = default;
    CMutexLock(const CMutexLock&) = delete;
    CMutexLock& operator=(const CMutexLock&) = delete;

private:
    friend class CCondition;
    std::unique_lock<std::mutex> m_lock;
};

/// std::condition_variable for a CMutex.
class CCondition {
public:
    template <class Condition>
    void Wait(CMutexLock& lock, const Condition& condition)
    {
        m_changed.wait(lock.m_lock, condition);
    }
    /// False when the condition does not hold at the end of the time.
    template <class Condition>
    [[nodiscard]] bool WaitFor(CMutexLock& lock, std::chrono::milliseconds timeout, const Condition& condition)
    {
        return m_changed.wait_for(lock.m_lock, timeout, condition);
    }
    void NotifyAll() { m_changed.notify_all(); }

private:
    std::condition_variable m_changed;
};

} // namespace platform
