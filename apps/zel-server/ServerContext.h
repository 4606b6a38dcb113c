#pragma once

#include "ZEL_Processor/ZelProcessorContext.h"

#include <atomic>

/// The cancel flag of the running request, and whether the program is about to end.
class CServerContext : public CZelProcessorContext {
public:
    CServerContext();
    virtual ~CServerContext();

    HRESULT GetHostService(REFIID iid, void** service) override;
    bool IsClosing() override;
    void SetCanceled(bool canceled) override;
    bool IsCanceled() override;

    /// The program is about to end.
    void SetClosing();
    /// Cancels the running request, and one that the server may be just about to start: it sets the flag back before
    /// each.
    void CancelForGood();

private:
    std::atomic<bool> m_bClosing = false;
    std::atomic<bool> m_bCanceled = false;
    std::atomic<bool> m_bCanceledForGood = false;
};
