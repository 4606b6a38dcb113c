#pragma once

#include "plugins/testtasks/TestTask.h"

/// The factory of the test tasks. It goes past the kit's own operations where a crash must leave an operation uncaught.
class CTestFactory : public CZelXmlFactory {
public:
    bool STDMETHODCALLTYPE CreateRequest(const wchar_t* path, IWQ_ZELProcessorRequest** request) override;
    bool STDMETHODCALLTYPE CreateTask(const wchar_t* type, IWQ_ZELProcessorTask** task) override;
    bool STDMETHODCALLTYPE CreateResponse(IWQ_ZELProcessorRequest* request,
                                          IWQ_ZELProcessorResponse** response) override;

protected:
    [[nodiscard]] bool TakesType(const CString& type) override;
    [[nodiscard]] CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString& type) override;
    [[nodiscard]] CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest& request) override;
    [[nodiscard]] CComPtr<CZelXmlRequest> MakeRequest(const CString& path) override;
};
