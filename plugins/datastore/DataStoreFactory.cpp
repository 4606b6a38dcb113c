#include "framework/Log.h"
#include "plugins/datastore/DataStoreTask.h"
#include "plugins/datastore/Palette.h"
#include "plugins/datastore/RequestLimits.h"
#include "plugins/datastore/SourceWatcher.h"

namespace {

/// A request to a data source. What is wrong with it comes to light before its XML is given away: that is where the
/// client can still be told the reason.
class CDataStoreRequest : public CZelXmlRequest {
public:
    using CZelXmlRequest::CZelXmlRequest;

protected:
    bool Check(CString& error) override
    {
        const CComPtr<CDataStoreTask> task = MakeDataStoreTask(TaskType());
        return task && task->Read(Task(), error) && task->Check(error);
    }
};

class CDataStoreResponse : public CZelXmlResponse<CDataStoreTask> {
protected:
    bool Write(CDataStoreTask& task, CZelXmlWriter& xml) override { return task.WriteResponse(xml); }
};

/// For a limit that is none every query will fail: whoever starts the server is told, and not its clients alone.
bool TellOfLimits()
{
    SRequestLimits limits;
    CString error;
    const bool areGood = limits.Read(error);
    if (!areGood)
        Brel::Log::Write(*Brel::Log::Get("ZelProcessor"), Brel::Log::eLogLevel_Error, ZEL_SOURCE_LOCATION, error);
    return areGood;
}

/// Makes the objects of requests; knows of changes in the data besides, and what they mean for the palette.
class CDataStoreFactory : public CZelXmlFactoryWith<IWQ_DsEventSource, IWQ_Palette> {
public:
    CDataStoreFactory()
    {
        static const bool areLimitsGood = TellOfLimits(); // once, of the several that a start makes
        static_cast<void>(areLimitsGood);
    }
    HRESULT STDMETHODCALLTYPE Start(IWQ_DsEventSink* sink) override
    {
        return ZelComResult([&] { return m_watcher.Start(sink); });
    }
    HRESULT STDMETHODCALLTYPE Stop() override
    {
        return ZelComResult([&] { return m_watcher.StopTelling(); });
    }
    HRESULT STDMETHODCALLTYPE GetChangedGroups(IWQ_DsEventsData* events, IWQ_Project*, VARIANT_BOOL* groupsChanged,
                                               IWQ_CLSIDArray** groups, VARIANT_BOOL* projectNeedsUpdate) override
    {
        return ZelComResult([&] { return ChangedGroups(events, groupsChanged, groups, projectNeedsUpdate); });
    }

protected:
    std::vector<CString> Types() override { return {L"Query", L"Statistics", L"Properties"}; }
    CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString& type) override
    {
        return CComPtr<IWQ_ZELProcessorTask>(MakeDataStoreTask(type).Get());
    }
    CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest&) override
    {
        return CComPtr<IWQ_ZELProcessorResponse>(ZelMake<CDataStoreResponse>().Get());
    }
    CComPtr<CZelXmlRequest> MakeRequest(const CString& path) override
    {
        return CComPtr<CZelXmlRequest>(ZelMake<CDataStoreRequest>(path).Get());
    }

private:
    CSourceWatcher m_watcher;
};

} // namespace

ZEL_PLUGIN_FACTORY(CDataStoreFactory)
