#include "plugins/testtasks/CrashTask.h"

#include "plugins/testtasks/Crash.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {
constexpr std::array<std::wstring_view, 8> kPlaces = {L"CreateRequest", L"GetXml",         L"Init",    L"CanProcess",
                                                      L"ObtainData",    L"CreateResponse", L"SetTask", L"Save"};
}

SCrashPlan::SCrashPlan(IXMLDOMNode* task)
    : kind(CParameters(task).Text(L"Kind")), where(CParameters(task).Text(L"Where", L"ObtainData"))
{}

bool SCrashPlan::IsValid() const
{
    return IsCrashKind(kind) && std::find(kPlaces.begin(), kPlaces.end(), where) != kPlaces.end();
}

void SCrashPlan::At(const wchar_t* place) const
{
    if (where == place)
        Crash(kind);
}

bool STDMETHODCALLTYPE CCrashTask::Init(IXMLDOMNode* task)
{
    m_plan = SCrashPlan(task);
    m_plan.At(L"Init");
    SetResponseText(L"did not crash");
    return m_plan.IsValid();
}

bool STDMETHODCALLTYPE CCrashTask::ObtainData(CZelProcessorContext*, CZelProcessorProgress* progress)
{
    if (const int line = CrashLine(m_plan.kind); line != 0)
        progress->SetComment((L"about to crash in Crash.cpp:" + std::to_wstring(line)).c_str());
    m_plan.At(L"ObtainData");
    return true;
}

bool STDMETHODCALLTYPE CCrashTask::CanProcess(CZelProcessorContext*, bool)
{
    m_plan.At(L"CanProcess");
    return true;
}

bool CCrashTask::AllowsSetTask()
{
    m_plan.At(L"SetTask");
    return true;
}

bool CCrashTask::AllowsSave()
{
    m_plan.At(L"Save");
    return true;
}
