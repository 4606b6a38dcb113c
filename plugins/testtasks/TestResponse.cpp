#include "plugins/testtasks/TestResponse.h"

// The tasks are asked here and not in Write, where the kit would catch what they throw.

bool STDMETHODCALLTYPE CTestResponse::SetTask(IWQ_ZELProcessorTask* task)
{
    m_pTestTask = ZelOwn<ITestTask>(task);
    return m_pTestTask && m_pTestTask->AllowsSetTask() && CZelXmlResponse::SetTask(task);
}

bool STDMETHODCALLTYPE CTestResponse::Save(const wchar_t* path)
{
    return m_pTestTask && m_pTestTask->AllowsSave() && CZelXmlResponse::Save(path);
}

bool CTestResponse::Write(ITestTask& task, CZelXmlWriter& xml)
{
    xml.Element("Response", task.ResponseText());
    return true;
}
