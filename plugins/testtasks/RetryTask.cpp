#include "plugins/testtasks/RetryTask.h"

#include "plugins/common/PluginOs.h"

#include <algorithm>

bool STDMETHODCALLTYPE CRetryTask::Init(IXMLDOMNode* task)
{
    const CParameters parameters(task);
    m_strRecordFile = parameters.Text(L"RecordFile");
    SetResponseText(L"ready");
    return !m_strRecordFile.empty() && parameters.Number(L"Times", 1, m_nTimes) &&
           parameters.Number(L"EvenForced", 0, m_nEvenForced);
}

bool STDMETHODCALLTYPE CRetryTask::ObtainData(CZelProcessorContext*, CZelProcessorProgress*)
{
    return true;
}

bool STDMETHODCALLTYPE CRetryTask::CanProcess(CZelProcessorContext*, bool force)
{
    const std::string record = ReadTextFile(m_strRecordFile);
    const auto asked = std::count(record.begin(), record.end(), '\n');
    if (!WriteTextFile(m_strRecordFile, record + (force ? "forced\n" : "asked\n")))
        return true; // a test that counts on the record sees that it is missing; the queue must not go round for ever
    const bool declines = asked < static_cast<std::ptrdiff_t>(m_nTimes) && (!force || m_nEvenForced != 0);
    return !declines;
}
