#include "plugins/testtasks/GateTask.h"

#include "plugins/common/PluginOs.h"

CGateTask::~CGateTask()
{
    while (!m_strEndFile.empty() && !FileExists(m_strEndFile))
        SleepFor(std::chrono::milliseconds(2));
}

bool STDMETHODCALLTYPE CGateTask::Init(IXMLDOMNode* task)
{
    const CParameters parameters(task);
    m_strGateFile = parameters.Text(L"GateFile");
    m_strEndFile = parameters.Text(L"EndFile");
    SetResponseText(L"passed");
    return !m_strGateFile.empty() && parameters.Number(L"Deaf", 0, m_nDeaf);
}

bool STDMETHODCALLTYPE CGateTask::ObtainData(CZelProcessorContext* context, CZelProcessorProgress*)
{
    if (!CreateEmptyFile(m_strGateFile + L".entered"))
        return false;
    while ((m_nDeaf != 0 || !context->IsCanceled()) && !FileExists(m_strGateFile))
        SleepFor(std::chrono::milliseconds(2));
    return true;
}
