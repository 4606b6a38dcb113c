#include "plugins/testtasks/GateTask.h"

#include "plugins/common/PluginOs.h"

bool STDMETHODCALLTYPE CGateTask::Init(IXMLDOMNode* task)
{
    m_strGateFile = CParameters(task).Text(L"GateFile");
    SetResponseText(L"passed");
    return !m_strGateFile.empty();
}

bool STDMETHODCALLTYPE CGateTask::ObtainData(CZelProcessorContext* context, CZelProcessorProgress*)
{
    if (!CreateEmptyFile(m_strGateFile + L".entered"))
        return false;
    while (!context->IsCanceled() && !FileExists(m_strGateFile))
        SleepFor(std::chrono::milliseconds(2));
    return true;
}
