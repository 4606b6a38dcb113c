#include "plugins/testtasks/TestFactory.h"

#include "plugins/testtasks/ComputeTask.h"
#include "plugins/testtasks/CrashTask.h"
#include "plugins/testtasks/FireEventsTask.h"
#include "plugins/testtasks/ForbiddenTask.h"
#include "plugins/testtasks/GateTask.h"
#include "plugins/testtasks/LeaveTask.h"
#include "plugins/testtasks/RetryTask.h"
#include "plugins/testtasks/SleepTask.h"
#include "plugins/testtasks/TestEvents.h"
#include "plugins/testtasks/TestResponse.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace {

constexpr std::array<std::wstring_view, 18> kTypes = {
    L"Echo",         L"Sleep",       L"Gate",     L"Retry",    L"FailGetXml",  L"FailInit",          L"FailObtain",
    L"FailResponse", L"FailSetTask", L"FailSave", L"NullTask", L"UnknownTask", L"ThrowInCreateTask", L"Crash",
    L"FireEvents",   L"Leave",       L"Compute",  L"Forbidden"};

CComPtr<IWQ_CLSIDArray> MakeGroups(IWQ_DsGuidSet& sources)
{
    CComPtr<IWQ_CLSIDArray> groups;
    ThrowIfFailed(CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), groups.PutVoid()));
    GUID id{};
    for (LONG index = 0; sources.GetAt(index, &id) == S_OK; ++index)
        ThrowIfFailed(groups->Add(&id));
    return groups;
}

/// A request that can refuse its XML, or crash when asked for it.
class CTestRequest : public CZelXmlRequest {
public:
    using CZelXmlRequest::CZelXmlRequest;

    /// What the request says of crashing; nothing for another type.
    [[nodiscard]] SCrashPlan CrashPlan() const { return TaskType() == L"Crash" ? SCrashPlan(Task()) : SCrashPlan(); }
    bool STDMETHODCALLTYPE GetXml(BSTR* xml) override
    {
        CrashPlan().At(L"GetXml");
        return CZelXmlRequest::GetXml(xml);
    }

protected:
    bool Check(CString& error) override
    {
        if (TaskType() != L"FailGetXml")
            return true;
        error = CParameters(Task()).Text(L"Text", L"GetXml was told to fail");
        return false;
    }
};

} // namespace

HRESULT STDMETHODCALLTYPE CTestFactory::Start(IWQ_DsEventSink* sink)
{
    return ZelComResult([&] { return CTestEvents::Instance().Start(sink); });
}

HRESULT STDMETHODCALLTYPE CTestFactory::Stop()
{
    return ZelComResult([] { return CTestEvents::Instance().Stop(); });
}

HRESULT STDMETHODCALLTYPE CTestFactory::GetChangedGroups(IWQ_DsEventsData* events, IWQ_Project*,
                                                         VARIANT_BOOL* groupsChanged, IWQ_CLSIDArray** groups,
                                                         VARIANT_BOOL* projectNeedsUpdate)
{
    if (groupsChanged == nullptr || groups == nullptr || projectNeedsUpdate == nullptr)
        return E_POINTER;
    return ZelComResult([&] {
        *groups = nullptr;
        LONG kind = eDsEventKind_Unknown;
        CComPtr<IWQ_DsGuidSet> sources;
        if (events != nullptr) {
            ThrowIfFailed(events->GetKind(&kind));
            ThrowIfFailed(events->GetChangedSources(sources.Put()));
        }
        *groupsChanged = sources ? VARIANT_TRUE : VARIANT_FALSE;
        *projectNeedsUpdate = kind == eDsEventKind_Reload ? VARIANT_TRUE : VARIANT_FALSE;
        if (sources)
            *groups = MakeGroups(*sources).Detach();
        return S_OK;
    });
}

bool STDMETHODCALLTYPE CTestFactory::CreateRequest(const wchar_t* path, IWQ_ZELProcessorRequest** request)
{
    if (!CZelXmlFactoryWith::CreateRequest(path, request))
        return false;
    ZelOwn<CTestRequest>(*request)->CrashPlan().At(L"CreateRequest");
    return true;
}

bool STDMETHODCALLTYPE CTestFactory::CreateTask(const wchar_t* type, IWQ_ZELProcessorTask** task)
{
    const std::wstring_view name(type == nullptr ? L"" : type);
    if (name == L"ThrowInCreateTask")
        throw std::runtime_error("CreateTask was told to throw");
    if (name == L"NullTask") {
        *task = nullptr;
        return true;
    }
    return CZelXmlFactoryWith::CreateTask(type, task);
}

bool STDMETHODCALLTYPE CTestFactory::CreateResponse(IWQ_ZELProcessorRequest* request,
                                                    IWQ_ZELProcessorResponse** response)
{
    if (const auto own = ZelOwn<CTestRequest>(request))
        own->CrashPlan().At(L"CreateResponse");
    return CZelXmlFactoryWith::CreateResponse(request, response);
}

std::vector<CString> CTestFactory::Types()
{
    return {kTypes.begin(), kTypes.end()};
}

CComPtr<IWQ_ZELProcessorTask> CTestFactory::MakeTask(const CString& type)
{
    CComPtr<IWQ_ZELProcessorTask> task;
    if (type == L"Echo")
        task.Attach(ZelMake<CEchoTask>().Detach());
    else if (type == L"Sleep")
        task.Attach(ZelMake<CSleepTask>().Detach());
    else if (type == L"Compute")
        task.Attach(ZelMake<CComputeTask>().Detach());
    else if (type == L"Gate")
        task.Attach(ZelMake<CGateTask>().Detach());
    else if (type == L"Retry")
        task.Attach(ZelMake<CRetryTask>().Detach());
    else if (type == L"Leave")
        task.Attach(ZelMake<CLeaveTask>().Detach());
    else if (type == L"Forbidden")
        task.Attach(ZelMake<CForbiddenTask>().Detach());
    else if (type == L"FireEvents")
        task.Attach(ZelMake<CFireEventsTask>().Detach());
    else if (type == L"Crash")
        task.Attach(ZelMake<CCrashTask>().Detach());
    else if (type.starts_with(L"Fail") && TakesType(type))
        task.Attach(ZelMake<CFailTask>(type).Detach());
    return task;
}

CComPtr<IWQ_ZELProcessorResponse> CTestFactory::MakeResponse(CZelXmlRequest& request)
{
    CComPtr<IWQ_ZELProcessorResponse> response;
    if (request.TaskType() != L"FailResponse")
        response.Attach(ZelMake<CTestResponse>().Detach());
    return response;
}

CComPtr<CZelXmlRequest> CTestFactory::MakeRequest(const CString& path)
{
    CComPtr<CZelXmlRequest> request;
    request.Attach(ZelMake<CTestRequest>(path).Detach());
    return request;
}

ZEL_PLUGIN_FACTORY(CTestFactory)
