#pragma once

#include "plugins/testtasks/TestTask.h"

/// "Gate": runs until a file is there, so that a test can hold a request in the middle of its work.
class CGateTask : public CTestTask {
public:
    ~CGateTask() override;
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;

private:
    CString m_strGateFile;
    std::uint32_t m_nDeaf = 0;
    CString m_strEndFile;
};
