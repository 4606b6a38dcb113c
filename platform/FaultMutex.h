#pragma once

#include "platform/Mutex.h"
#include "platform/Os.h"

#include <atomic>
#include <chrono>
#include <mutex>

namespace platform {

/// A mutex for what is used while a fault is reported. A contained fault inside of what it guards jumps over the
/// unlocking; the thread then comes back for it, which is how the loss is noticed, and from there on nobody waits for
/// it any more. What it guards may be half changed then and is left alone for good.
class ZEL_THREAD_SAFETY(capability("mutex")) CFaultMutex {
public:
    /// False when a fault has left it locked.
    [[nodiscard]] bool Lock()
    {
        constexpr std::chrono::milliseconds look{100};
        if (m_owner == CurrentThreadId())
            m_isLost = true; // no thread locks it twice by itself
        while (!m_isLost) {
            // By the clock that the thread sanitizer knows the call of; a clock that is set makes one look longer.
            if (m_mutex.try_lock_until(std::chrono::system_clock::now() + look)) {
                m_owner = CurrentThreadId();
                return true;
            }
        }
        return false;
    }
    void Unlock()
    {
        m_owner = 0;
        m_mutex.unlock();
    }

private:
    std::timed_mutex m_mutex;
    std::atomic<std::uint32_t> m_owner = 0;
    std::atomic<bool> m_isLost = false;
};

/// Holds one, if it can be had. clang takes it for held always: that IsHeld is asked, no compiler sees.
class ZEL_THREAD_SAFETY(scoped_lockable) CFaultLock {
public:
    explicit CFaultLock(CFaultMutex& mutex) ZEL_THREAD_SAFETY(acquire_capability(mutex))
        : m_mutex(mutex), m_isHeld(mutex.Lock())
    {}
    ~CFaultLock() ZEL_THREAD_SAFETY(release_capability())
    {
        if (m_isHeld)
            m_mutex.Unlock();
    }
    CFaultLock(const CFaultLock&) = delete;
    CFaultLock& operator=(const CFaultLock&) = delete;

    [[nodiscard]] bool IsHeld() const { return m_isHeld; }

private:
    CFaultMutex& m_mutex;
    const bool m_isHeld;
};

} // namespace platform
