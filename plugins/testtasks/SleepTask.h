#pragma once

#include "plugins/testtasks/TestTask.h"

/// "Sleep": takes a given time in steps.
class CSleepTask : public CTestTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;

private:
    CString m_strRecordFile;
    std::uint32_t m_nMilliseconds = 0;
    std::uint32_t m_nSteps = 0;
};
