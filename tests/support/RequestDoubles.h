#pragma once

#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorProgress.h"
#include "ZEL_Processor/ZelTypes.h"
#include "platform/Thread.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <utility>
#include <vector>

/// Keeps what is reported.
class CRecordingProgress final : public CZelProcessorProgress {
public:
    void SetRange(std::uint64_t, std::uint64_t) override {}
    void SetPos(std::uint64_t) override {}
    void SetStep(std::int32_t) override {}
    void StepIt() override {}
    void SetComment(const wchar_t*) override {}
    void SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment) override
    {
        m_statuses.push_back(status);
        m_comments.emplace_back(comment);
    }

    std::vector<eZelProcRequestStatus> m_statuses;
    std::vector<CString> m_comments;
};

/// A host's context. onAsked is called before each answer, to cancel at a certain question.
class CTestContext final : public CZelProcessorContext {
public:
    HRESULT GetHostService(REFIID, void** service) override
    {
        *service = nullptr;
        return E_NOINTERFACE;
    }
    bool IsClosing() override { return false; }
    void SetCanceled(bool canceled) override
    {
        m_canceled = canceled;
        if (canceled)
            return;
        ++m_starts;
        if (m_onStart)
            m_onStart();
    }
    bool IsCanceled() override
    {
        if (m_onAsked)
            m_onAsked();
        return m_canceled;
    }

    std::function<void()> m_onAsked; ///< set before a server runs
    std::function<void()> m_onStart; ///< set before a server runs; called on its thread before it looks at a request
    std::atomic<bool> m_canceled = false;
    std::atomic<int> m_starts = 0;
};

/// A gate in a script: the task says that it has entered and waits to be let through.
class CGate {
public:
    /// For the task. False when nobody opened it in time.
    bool Pass()
    {
        m_entered.Set();
        return m_open.WaitFor(std::chrono::seconds(20));
    }
    [[nodiscard]] bool WaitUntilEntered() { return m_entered.WaitFor(std::chrono::seconds(20)); }
    void Open() { m_open.Set(); }

private:
    platform::CManualResetEvent m_entered;
    platform::CManualResetEvent m_open;
};
