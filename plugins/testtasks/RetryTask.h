#pragma once

#include "plugins/testtasks/TestTask.h"

/// "Retry": puts the request off a number of times. Each attempt has a task object of its own, so the count lives in a
/// file, where the test can read it too.
class CRetryTask : public CTestTaskOf<IWQ_ZELProcessorTaskReadiness> {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;
    bool STDMETHODCALLTYPE CanProcess(CZelProcessorContext* context, bool force) override;

private:
    CString m_strRecordFile;
    std::uint32_t m_nTimes = 0;
    std::uint32_t m_nEvenForced = 0;
};
