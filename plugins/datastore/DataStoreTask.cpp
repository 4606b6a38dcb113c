#include "plugins/datastore/DataStoreTask.h"

#include "plugins/datastore/PropertiesTask.h"
#include "plugins/datastore/QueryTask.h"
#include "plugins/datastore/StatisticsTask.h"

#include "framework/Services.h"

#include <exception>
#include <utility>

bool STDMETHODCALLTYPE CDataStoreTask::Init(IXMLDOMNode* task)
{
    return SUCCEEDED(ZelComResult([&] {
        CString error; // the request was checked with the same words before its XML was given away
        return task != nullptr && Read(task, error) ? S_OK : E_INVALIDARG;
    }));
}

bool STDMETHODCALLTYPE CDataStoreTask::ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress)
{
    return SUCCEEDED(ZelComResult([&] {
        if (context == nullptr || progress == nullptr)
            return E_POINTER;
        CString error;
        eOutcome outcome = eOutcome_Failed;
        try {
            outcome = Run(*context, *progress, error);
        } catch (const std::exception& exception) {
            error = platform::FromUtf8(exception.what());
        }
        if (outcome != eOutcome_Failed)
            return S_OK; // a cancellation as well: the processor asks for it itself and says so
        WQ_ReportErrorNow(L"plugins/datastore/DataStoreTask", 36, L"CDataStoreTask::ObtainData", error);
        progress->SetComment(error.c_str());
        Fail(std::move(error));
        return E_FAIL;
    }));
}

CComPtr<CDataStoreTask> MakeDataStoreTask(const CString& type)
{
    if (type == L"Properties")
        return CComPtr<CDataStoreTask>(ZelMake<CPropertiesTask>().Get());
    if (type == L"Query")
        return CComPtr<CDataStoreTask>(ZelMake<CQueryTask>().Get());
    if (type == L"Statistics")
        return CComPtr<CDataStoreTask>(ZelMake<CStatisticsTask>().Get());
    return {};
}
