#pragma once

#include "plugins/testtasks/TestTask.h"

/// "Leave": starts a program and leaves it.
class CLeaveTask : public CTestTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;

private:
    CString m_strProgram;
    std::vector<CString> m_arguments;
};
