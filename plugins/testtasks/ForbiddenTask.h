#pragma once

#include "plugins/testtasks/TestTask.h"

/// "Forbidden": does what a sandbox keeps from it.
class CForbiddenTask : public CTestTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;

private:
    CString m_strFile;
    CString m_strTemporary;
    CString m_strLink;
    CString m_strCall;
    CString m_strCrash;
};
