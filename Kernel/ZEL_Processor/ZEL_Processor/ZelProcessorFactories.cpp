#include "ZelProcessorFactories.h"

#include "com/ZelCom.h"
#include "framework/Exceptions.h"
#include "framework/RegistryCathegory.h"
#include "framework/Services.h"

#include <memory>
#include <mutex>

namespace {

/// One per process, filled by the first caller that finds components, never freed: plug-in modules may outlive
/// everything else.
std::vector<CMOX_RegistryCathegoryItem> CategoryItems()
{
    static std::mutex guard;
    static CMOX_RegistryCathegory& category = *std::make_unique<CMOX_RegistryCathegory>().release();
    const std::lock_guard lock(guard);
    if (category.IsEmpty())
        category.Enumerate(CATID_ZELProcessorFactory);
    return category.GetItems();
}

/// The first result that a factory gives together with true. What a declining factory gave is released.
template <class Result, class Ask>
bool FindFirst(const CAutoInterfaceArray<IWQ_ZELProcessorFactory>& factories, const Ask& ask, CComPtr<Result>& result)
{
    for (std::size_t index = 0; index < factories.GetCount(); ++index) {
        const CComPtr<IWQ_ZELProcessorFactory> factory(factories.GetAt(index));
        CComPtr<Result> offered;
        if (ask(*factory, offered.Put())) {
            result = std::move(offered);
            return true;
        }
    }
    return false;
}

} // namespace

bool CZelProcessorFactories::LoadFactories()
{
    m_factories.RemoveAll();
    for (const CMOX_RegistryCathegoryItem& item : CategoryItems()) {
        CComPtr<IUnknown> component;
        if (FAILED(CoCreateInstanceZEL(item.GetClsid(), nullptr, CLSCTX_INPROC_SERVER, ComIid<IUnknown>(),
                                       component.PutVoid())))
            continue;
        if (const CComPtr<IWQ_ZELProcessorFactory> factory = component.QueryTo<IWQ_ZELProcessorFactory>())
            m_factories.Add(factory.Get());
    }
    return !m_factories.IsEmpty();
}

CComPtr<IWQ_ZELProcessorRequest> CZelProcessorFactories::FindRequest(const wchar_t* path) const
{
    CComPtr<IWQ_ZELProcessorRequest> request;
    FindFirst(
        m_factories, [&](auto& factory, auto** out) { return factory.CreateRequest(path, out); }, request);
    return request;
}

bool CZelProcessorFactories::FindTask(const wchar_t* type, CComPtr<IWQ_ZELProcessorTask>& task) const
{
    return FindFirst(
        m_factories, [&](auto& factory, auto** out) { return factory.CreateTask(type, out); }, task);
}

CComPtr<IWQ_ZELProcessorResponse> CZelProcessorFactories::FindResponse(IWQ_ZELProcessorRequest* request) const
{
    CComPtr<IWQ_ZELProcessorResponse> response;
    FindFirst(
        m_factories, [&](auto& factory, auto** out) { return factory.CreateResponse(request, out); }, response);
    return response;
}

void ThrowNoFactory()
{
    WQ_MessageBox(L"Unable to create Zel Processor Factory", eMessageStyle_Error);
    AfxThrowUserException();
}
