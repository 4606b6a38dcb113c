#include "ZelProcessorFactories.h"

#include "com/Components.h"
#include "com/Guid.h"
#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/RegistryCathegory.h"
#include "framework/Services.h"
#include "reports/SourceNames.h"

#include <memory>
#include <mutex>
#include <set>

namespace {

/// One per process, filled by the first caller that finds components, never destroyed: plug-in modules may outlive
/// everything else.
struct SProcessCategory {
    std::mutex mutex;
    // Guarded by mutex.
    CMOX_RegistryCathegory category;
    std::set<CLSID, SGuidLess> leftOut; ///< what the log has told already
};

SProcessCategory& ProcessCategory()
{
    static SProcessCategory& category = *std::make_unique<SProcessCategory>().release();
    return category;
}

std::vector<CMOX_RegistryCathegoryItem> CategoryItems()
{
    SProcessCategory& known = ProcessCategory();
    const std::lock_guard lock(known.mutex);
    if (known.category.IsEmpty())
        known.category.Enumerate(CATID_ZELProcessorFactory);
    return known.category.GetItems();
}

/// Each server loads the factories, and its processor again; one warning is enough.
void TellLeftOut(REFCLSID classId, const std::wstring& reason)
{
    SProcessCategory& known = ProcessCategory();
    {
        const std::lock_guard lock(known.mutex);
        if (!known.leftOut.insert(classId).second)
            return;
    }
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     L"A plug-in was left out: " + reason);
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
        CComPtr<IWQ_ZELProcessorFactory> factory;
        std::wstring reason;
        if (SUCCEEDED(CreateComponent(item.GetClsid(), ComIid<IWQ_ZELProcessorFactory>(), factory.PutVoid(), reason)))
            m_factories.Add(factory.Get());
        else
            TellLeftOut(item.GetClsid(), reason);
    }
    return !m_factories.IsEmpty();
}

void CZelProcessorFactories::ForgetCategory()
{
    SProcessCategory& known = ProcessCategory();
    const std::lock_guard lock(known.mutex);
    known.category.Clear();
    known.leftOut.clear();
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
