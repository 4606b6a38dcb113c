#pragma once

#include "plugins/testtasks/TestTask.h"

#include <ZEL_Processor/IWQ_DsEventSource.h>
#include <ZEL_Processor/IWQ_Palette.h>

/// The factory of the test tasks. It goes past the kit's own operations where a crash must leave an operation uncaught.
/// As a palette it has a group for every data source that changed as a whole.
class CTestFactory : public CZelXmlFactoryWith<IWQ_DsEventSource, IWQ_Palette> {
public:
    HRESULT STDMETHODCALLTYPE Start(IWQ_DsEventSink* sink) override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE GetChangedGroups(IWQ_DsEventsData* events, IWQ_Project* project,
                                               VARIANT_BOOL* groupsChanged, IWQ_CLSIDArray** groups,
                                               VARIANT_BOOL* projectNeedsUpdate) override;

    bool STDMETHODCALLTYPE CreateRequest(const wchar_t* path, IWQ_ZELProcessorRequest** request) override;
    bool STDMETHODCALLTYPE CreateTask(const wchar_t* type, IWQ_ZELProcessorTask** task) override;
    bool STDMETHODCALLTYPE CreateResponse(IWQ_ZELProcessorRequest* request,
                                          IWQ_ZELProcessorResponse** response) override;

protected:
    [[nodiscard]] std::vector<CString> Types() override;
    [[nodiscard]] CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString& type) override;
    [[nodiscard]] CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest& request) override;
    [[nodiscard]] CComPtr<CZelXmlRequest> MakeRequest(const CString& path) override;
};
