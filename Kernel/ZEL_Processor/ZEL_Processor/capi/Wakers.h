#pragma once

#include "ZEL_Processor/ZelRequestWatch.h"
#include "capi/Handles.h"
#include "capi/Interface.h"

#include <atomic>
#include <memory>
#include <set>

/// Ends waits from another thread, and stays in force until it is reset.
class CWaker {
public:
    void Wake();
    void Reset() { m_bWoken = false; }
    [[nodiscard]] bool IsWoken() const { return m_bWoken; }

private:
    friend class CWakerUse;

    std::atomic<bool> m_bWoken = false;
    platform::CMutex m_cs;
    std::multiset<CZelRequestWatch*> m_watches ZEL_GUARDED_BY(m_cs);
};

using CWakers = CHandles<CWaker, zel_waker>;

/// A wait that a waker may end, for the length of the wait.
class CWakerUse {
public:
    CWakerUse(std::shared_ptr<CWaker> waker, CZelRequestWatch& watch);
    ~CWakerUse();
    CWakerUse(const CWakerUse&) = delete;
    CWakerUse& operator=(const CWakerUse&) = delete;

    [[nodiscard]] bool IsWoken() const { return m_pWaker && m_pWaker->IsWoken(); }

private:
    const std::shared_ptr<CWaker> m_pWaker;
    CZelRequestWatch& m_watch;
};

/// False for a handle that is none; null is none that is wanted.
[[nodiscard]] bool TakeWaker(const zel_waker* given, std::shared_ptr<CWaker>& waker);
