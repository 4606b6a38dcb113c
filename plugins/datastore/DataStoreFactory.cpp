#include "plugins/datastore/DataStoreTask.h"

namespace {

// The build writes the same id into the component manifest.
constexpr CLSID kDataStoreFactoryId = {0x9AE21A0F, 0xCDB9, 0x40F5, {0x80, 0x5A, 0x5B, 0x40, 0xC4, 0x87, 0x72, 0x52}};

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

class CDataStoreFactory : public CZelXmlFactory {
protected:
    bool TakesType(const CString& type) override
    {
        return type == L"Query" || type == L"Statistics" || type == L"Properties";
    }
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
};

} // namespace

ZEL_PLUGIN_MODULE(ZelPluginClass<CDataStoreFactory>(kDataStoreFactoryId))
