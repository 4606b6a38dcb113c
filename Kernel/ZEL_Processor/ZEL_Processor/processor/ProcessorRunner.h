#pragma once

#include "IRequestRunner.h"
#include "ProcessorState.h"

#include <utility>

/// Runs requests in this process, on the thread that asks for it.
class CProcessorRunner final : public IRequestRunner {
public:
    /// removeRequest: takes the file of a request away whose response is saved; empty: it is deleted. leftOut: plug-ins
    /// that the host did not use, for the reasons.
    explicit CProcessorRunner(CZelProcessor& processor,
                              std::function<platform::eOsError(const CString&)> removeRequest = {},
                              const std::vector<CString>& leftOut = {})
        : m_processor(processor)
    {
        m_processor.m_pState->m_reasons.leftOut = leftOut;
        m_processor.m_pState->m_removeRequest = std::move(removeRequest);
    }

    /// Through which all processors go that tell the same host of what is done.
    void SetEventGate(CCallGate* gate) { m_processor.m_pState->m_pEventGate = gate; }
    /// See CZelProcessorFactories::SetGate.
    void SetPluginGate(CCallGate* gate, std::function<bool(const void* who)> wait)
    {
        m_processor.m_pState->m_pFactories->SetGate(gate, std::move(wait));
    }

    [[nodiscard]] bool CanProceedQueue() const override { return m_processor.CanProceedQueue(); }
    void ProceedQueue(bool proceed) override { m_processor.ProceedQueue(proceed); }
    bool ProcessRequest(const CString& requestPath, CZelProcessorProgress* progress, bool bForce, bool& bRetry) override
    {
        return m_processor.ProcessRequest(requestPath, progress, bForce, bRetry);
    }
    void EndRun() override
    {
        m_processor.m_pState->LeaveEvent();
        m_processor.m_pState->m_pFactories->EndUse();
    }
    [[nodiscard]] bool HasToldDone() const override { return m_processor.HasToldDone(); }
    [[nodiscard]] CString TaskType() const override { return m_processor.m_pState->m_strTaskType; }
    void SetOnTask(std::function<void(const CString& type)> onTask) override
    {
        m_processor.m_pState->m_onTask = std::move(onTask);
    }

private:
    CZelProcessor& m_processor;
};
