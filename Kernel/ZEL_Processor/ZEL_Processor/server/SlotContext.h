#pragma once

#include "ZEL_Processor/ZelProcessorContext.h"

#include <atomic>

/// What a task may ask while others run beside it: the host, and whether it is this one that is to stop.
class CSlotContext final : public CZelProcessorContext {
public:
    /// The host's; before it is asked.
    void SetHost(CZelProcessorContext* host) { m_pHost = host; }

    HRESULT GetHostService(REFIID iid, void** service) override { return m_pHost->GetHostService(iid, service); }
    bool IsClosing() override { return m_pHost->IsClosing(); }
    void SetCanceled(bool canceled) override { m_bCanceled = canceled; }
    /// Also when the host wants all to stop.
    bool IsCanceled() override { return m_bCanceled || m_pHost->IsCanceled(); }

private:
    CZelProcessorContext* m_pHost = nullptr;
    std::atomic<bool> m_bCanceled = false;
};
