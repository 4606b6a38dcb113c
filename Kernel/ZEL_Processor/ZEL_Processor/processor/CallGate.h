#pragma once

#include "platform/Mutex.h"

#include <chrono>
#include <deque>

/// Lets one in at a time, of several threads, in the order in which they came. No lock is held by who is in: a fault
/// may take him out of there without a word, and whoever outlives it lets go for him. Safe from any thread.
class CCallGate {
public:
    /// Between two looks whether it is to be waited on.
    static constexpr std::chrono::milliseconds kPoll{50};

    /// who: stands for the caller, until he leaves. True also when he is in already; false while others wait.
    [[nodiscard]] bool TryEnter(const void* who)
    {
        const platform::CMutexLock lock(m_cs);
        return Take(who);
    }
    /// Waits for as long as goOn says, which is asked without a lock.
    template <class GoOn>
    [[nodiscard]] bool Enter(const void* who, const GoOn& goOn)
    {
        {
            const platform::CMutexLock lock(m_cs);
            if (m_pInside != who)
                m_waiting.push_back(who);
        }
        while (goOn()) {
            platform::CMutexLock lock(m_cs);
            if (m_changed.WaitFor(lock, kPoll, [this, who]() ZEL_REQUIRES(m_cs) { return Take(who); }))
                return true;
        }
        Leave(who);
        return false;
    }
    /// Also for one that was taken away while he waited. Nobody else is concerned.
    void Leave(const void* who)
    {
        {
            const platform::CMutexLock lock(m_cs);
            std::erase(m_waiting, who);
            if (m_pInside == who)
                m_pInside = nullptr;
        }
        m_changed.NotifyAll();
    }

private:
    bool Take(const void* who) ZEL_REQUIRES(m_cs)
    {
        if (m_pInside == who)
            return true;
        if (m_pInside || (!m_waiting.empty() && m_waiting.front() != who))
            return false;
        std::erase(m_waiting, who);
        m_pInside = who;
        return true;
    }

    platform::CMutex m_cs;
    platform::CCondition m_changed;
    const void* m_pInside ZEL_GUARDED_BY(m_cs) = nullptr;
    std::deque<const void*> m_waiting ZEL_GUARDED_BY(m_cs);
};
