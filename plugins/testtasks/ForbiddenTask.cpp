#include "plugins/testtasks/ForbiddenTask.h"

#include "platform/FileSystem.h"
#include "plugins/testtasks/Crash.h"
#include "plugins/testtasks/SystemCalls.h"

bool STDMETHODCALLTYPE CForbiddenTask::Init(IXMLDOMNode* task)
{
    const CParameters parameters(task);
    SetResponseText(L"was allowed");
    m_strFile = parameters.Text(L"File");
    m_strCall = parameters.Text(L"Call");
    m_strCrash = parameters.Text(L"Crash");
    return m_strCrash.empty() || IsCrashKind(m_strCrash);
}

bool STDMETHODCALLTYPE CForbiddenTask::ObtainData(CZelProcessorContext*, CZelProcessorProgress*)
{
    if (!m_strFile.empty()) {
        if (const platform::eOsError error = platform::WriteWholeFile(m_strFile, "forbidden");
            !platform::Succeeded(error))
            return Fail(platform::OsErrorText(error));
    }
    const CString error = m_strCall.empty() ? CString() : TrySystemCall(m_strCall);
    Crash(m_strCrash);
    return error.empty() || Fail(m_strCall + L": " + error);
}
