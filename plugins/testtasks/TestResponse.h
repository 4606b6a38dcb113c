#pragma once

#include "plugins/testtasks/TestTask.h"

/// The response of every task here: `<Response>text</Response>`.
class CTestResponse : public CZelXmlResponse<ITestTask> {
public:
    bool STDMETHODCALLTYPE SetTask(IWQ_ZELProcessorTask* task) override;
    bool STDMETHODCALLTYPE Save(const wchar_t* path) override;

protected:
    [[nodiscard]] bool Write(ITestTask& task, CZelXmlWriter& xml) override;

private:
    CComPtr<ITestTask> m_pTestTask;
};
