#pragma once

#include "RequestReasons.h"
#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "com/ComPtr.h"
#include "platform/OsError.h"

#include <functional>

/// One run of CZelProcessor::ProcessRequest. What it holds is released from the last member to the first on every way
/// out: a task may use the request it was made from, and a response both.
class CRequestRun {
public:
    /// removeRequest: in place of deleting the file of a request whose response is saved; empty for that.
    CRequestRun(CZelProcessor& processor, CZelProcessorFactories& factories, const SRequestReasons& reasons,
                CZelProcessorContext* context, const std::function<platform::eOsError(const CString&)>& removeRequest,
                const CString& requestPath, CZelProcessorProgress* progress)
        : m_processor(processor),
          m_factories(factories),
          m_reasons(reasons),
          m_pContext(context),
          m_removeRequest(removeRequest),
          m_requestPath(requestPath),
          m_progress(progress)
    {}

    /// True: the response is saved, and the status done.
    bool Run(bool bForce, bool& bRetry);

private:
    bool ReadRequest(bool& bRetry);
    bool ObtainData(bool bForce, bool& bRetry);
    bool WriteResponse();
    void DeleteRequestFile();
    bool GiveUp(bool& bRetry);
    bool IsCanceled();
    bool FailUnknown();
    bool FailToSave();
    bool Fail(const SStringCode& code);
    /// The general failure, or the reason when there is one.
    bool Fail(const SStringCode& code, const CString& reason);
    void Report(const SStringCode& code, eZelProcRequestStatus status);

    CZelProcessor& m_processor;
    CZelProcessorFactories& m_factories;
    const SRequestReasons& m_reasons;
    CZelProcessorContext* const m_pContext;
    const std::function<platform::eOsError(const CString&)>& m_removeRequest;
    const CString& m_requestPath;
    CZelProcessorProgress* const m_progress;
    CComPtr<IWQ_ZELProcessorTask> m_task;
    CComPtr<IWQ_ZELProcessorRequest> m_request;
    CComPtr<IWQ_ZELProcessorResponse> m_response;
};
