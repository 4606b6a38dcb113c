#pragma once

#include "platform/Mutex.h"

#include <chrono>

/// Lets one in at a time, of several threads. No lock is held by who is in: a fault may take him out of there without a
/// word, and whoever outlives it lets go for him. Safe from any thread.
class CCallGate {
public:
    /// Between two looks whether it is to be waited on.
    static constexpr std::chrono::milliseconds kPoll{50};

    /// who: stands for the caller, until he leaves. True also when he is in already.
    [[nodiscard]] bool TryEnter(const void* who)
    {
        const platform::CMutexLock lock(m_cs);
        return Take(who);
    }
    /// Waits for as long as goOn says, which is asked without a lock.
    template <class GoOn>
    [[nodiscard]] bool Enter(const void* who, const GoOn& goOn)
    {
        while (goOn()) {
            platform::CMutexLock lock(m_cs);
            if (m_changed.WaitFor(lock, kPoll, [this, who]() ZEL_REQUIRES(m_cs) { return Take(who); }))
                return true;
        }
        return false;
    }
    /// Nothing happens when somebody else is in, or nobody.
    void Leave(const void* who)
    {
        {
            const platform::CMutexLock lock(m_cs);
            if (m_pInside != who)
                return;
            m_pInside = nullptr;
        }
        m_changed.NotifyAll();
    }

private:
    bool Take(const void* who) ZEL_REQUIRES(m_cs)
    {
        if (m_pInside && m_pInside != who)
            return false;
        m_pInside = who;
        return true;
    }

    platform::CMutex m_cs;
    platform::CCondition m_changed;
    const void* m_pInside ZEL_GUARDED_BY(m_cs) = nullptr;
};
