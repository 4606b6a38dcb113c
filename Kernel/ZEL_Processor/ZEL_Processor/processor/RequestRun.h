#pragma once

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "com/ComPtr.h"

/// One run of CZelProcessor::ProcessRequest. What it holds is released from the last member to the first on every way
/// out: a task may use the request it was made from, and a response both.
class CRequestRun {
public:
    CRequestRun(CZelProcessor& processor, CZelProcessorFactories& factories, CZelProcessorContext* context,
                const CString& requestPath, CZelProcessorProgress* progress)
        : m_processor(processor),
          m_factories(factories),
          m_pContext(context),
          m_requestPath(requestPath),
          m_progress(progress)
    {}

    /// True: the response is saved, and the status done.
    bool Run(bool bForce, bool& bRetry);

private:
    bool ReadRequest();
    bool ObtainData(bool bForce, bool& bRetry);
    bool WriteResponse();
    void DeleteRequestFile();
    bool IsCanceled();
    bool FailUnknown();
    bool Fail(const SStringCode& code);
    void Report(const SStringCode& code, eZelProcRequestStatus status);

    CZelProcessor& m_processor;
    CZelProcessorFactories& m_factories;
    CZelProcessorContext* const m_pContext;
    const CString& m_requestPath;
    CZelProcessorProgress* const m_progress;
    CComPtr<IWQ_ZELProcessorTask> m_task;
    CComPtr<IWQ_ZELProcessorRequest> m_request;
    CComPtr<IWQ_ZELProcessorResponse> m_response;
};
