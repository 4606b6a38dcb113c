#pragma once

#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorProgress.h"
#include "ZEL_Processor/ZelTypes.h"

#include <atomic>
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
