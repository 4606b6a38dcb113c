#pragma once

#include "ZEL_Processor/ZelProcessorContext.h"
#include "apps/zel/Patience.h"
#include "platform/Process.h"
#include "platform/Thread.h"

#include <atomic>

/// The context of a task that the user can cancel with Ctrl-C. A second Ctrl-C ends the process at once, for a task
/// that does not ask. Made in main, before other threads start.
class CTaskInterrupt final : public CZelProcessorContext, public IPatience {
public:
    CTaskInterrupt();
    ~CTaskInterrupt();

    HRESULT GetHostService(REFIID iid, void** service) override;
    bool IsClosing() override { return false; }
    void SetCanceled(bool canceled) override { m_bCanceled = canceled; }
    bool IsCanceled() override { return m_bCanceled; }
    bool IsInterrupted() override { return m_bCanceled; }
    bool GoOn() override { return !m_bCanceled; }
    bool HasGivenUp() const override { return m_bCanceled; }

private:
    [[nodiscard]] unsigned Watch();

    platform::CProgramSignals m_signals;
    std::atomic<bool> m_bCanceled = false;
    std::atomic<bool> m_bEnd = false;
    platform::CThread m_thread; // ends before what it uses
};
