#include "plugins/testtasks/TestTask.h"

#include <utility>

bool STDMETHODCALLTYPE CEchoTask::Init(IXMLDOMNode* task)
{
    SetResponseText(CParameters(task).Text(L"Text"));
    return true;
}

bool STDMETHODCALLTYPE CEchoTask::ObtainData(CZelProcessorContext*, CZelProcessorProgress*)
{
    return true;
}

CFailTask::CFailTask(CString type) : m_strType(std::move(type)) {}

bool STDMETHODCALLTYPE CFailTask::Init(IXMLDOMNode* task)
{
    m_strComment = CParameters(task).Text(L"Text");
    m_strWords = CParameters(task).Text(L"Words");
    return m_strType != L"FailInit" || Fail(m_strWords);
}

bool STDMETHODCALLTYPE CFailTask::ObtainData(CZelProcessorContext*, CZelProcessorProgress* progress)
{
    if (m_strType != L"FailObtain")
        return true;
    if (!m_strComment.empty())
        progress->SetComment(m_strComment.c_str());
    return Fail(m_strWords);
}
