#include "ZelProcessorFactories.h"

#include "com/Bstr.h"
#include "com/Components.h"
#include "com/Guid.h"
#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/module/RegistryCathegory.h"
#include "platform/Mutex.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>

namespace {

/// One per process, filled by the first caller that finds components, never destroyed: plug-in modules may outlive
/// everything else.
struct SProcessCategory {
    platform::CMutex mutex;
    CMOX_RegistryCathegory category ZEL_GUARDED_BY(mutex);
    std::map<CLSID, std::wstring, SGuidLess> leftOut ZEL_GUARDED_BY(mutex); ///< why; the log has told it already
};

SProcessCategory& ProcessCategory()
{
    static SProcessCategory& category = *std::make_unique<SProcessCategory>().release();
    return category;
}

std::vector<CMOX_RegistryCathegoryItem> CategoryItems()
{
    SProcessCategory& known = ProcessCategory();
    const platform::CMutexLock lock(known.mutex);
    if (known.category.IsEmpty())
        known.category.Enumerate(CATID_ZELProcessorFactory);
    return known.category.GetItems();
}

/// Each server loads the factories, and its processor again; one warning is enough.
void TellLeftOut(REFCLSID classId, const std::wstring& reason)
{
    SProcessCategory& known = ProcessCategory();
    {
        const platform::CMutexLock lock(known.mutex);
        if (!known.leftOut.emplace(classId, reason).second)
            return;
    }
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     L"A plug-in was left out: " + reason);
}

/// Those that a factory tells.
std::vector<CString> TaskTypesOf(const CComPtr<IWQ_ZELProcessorFactory>& factory)
{
    std::vector<CString> types;
    const auto told = factory.QueryTo<IWQ_ZELProcessorTaskTypes>();
    CBstr lines;
    if (!told || !told->GetTaskTypes(lines.Put()))
        return types;
    std::wistringstream stream{CString(lines.View())};
    for (CString type; std::getline(stream, type);)
        types.push_back(type);
    return types;
}

} // namespace

bool CZelProcessorFactories::LoadFactories()
{
    m_factories.RemoveAll();
    m_classes.clear();
    m_isAlone.clear();
    const std::vector<SComponentInfo> components = ListComponents(CATID_ZELProcessorFactory);
    for (const CMOX_RegistryCathegoryItem& item : CategoryItems()) {
        CComPtr<IWQ_ZELProcessorFactory> factory;
        std::wstring reason;
        if (SUCCEEDED(CreateComponent(item.GetClsid(), ComIid<IWQ_ZELProcessorFactory>(), factory.PutVoid(), reason))) {
            m_factories.Add(factory.Get());
            m_classes.push_back(item.GetClsid());
            const auto info = std::ranges::find(components, item.GetClsid(), &SComponentInfo::id);
            m_isAlone.push_back(info != components.end() && !info->mayServeSeveral);
        } else {
            TellLeftOut(item.GetClsid(), reason);
        }
    }
    return !m_factories.IsEmpty();
}

void CZelProcessorFactories::ForgetCategory()
{
    SProcessCategory& known = ProcessCategory();
    const platform::CMutexLock lock(known.mutex);
    known.category.Clear();
    known.leftOut.clear();
}

/// What a declining factory gave is released.
template <class Result, class Ask>
bool CZelProcessorFactories::AskOne(std::size_t index, const Ask& ask, CComPtr<Result>& result) const
{
    const CComPtr<IWQ_ZELProcessorFactory> factory(m_factories.GetAt(index));
    CComPtr<Result> offered;
    if (!ask(*factory, offered.Put()))
        return false;
    result = std::move(offered);
    m_bUsed = m_bUsed || m_isAlone[index];
    return true;
}

/// The first result that a factory gives together with true.
template <class Result, class Ask, class Wait>
bool CZelProcessorFactories::FindFirst(const Ask& ask, CComPtr<Result>& result, const Wait& wait) const
{
    m_bGivenUp = false;
    bool isFound = false;
    for (std::size_t index = 0; !isFound && !m_bGivenUp && index < m_factories.GetCount(); ++index) {
        m_bGivenUp = m_pAlone && m_isAlone[index] && !m_pAlone->TryEnter(this) && !wait(this);
        isFound = !m_bGivenUp && AskOne(index, ask, result);
    }
    if (m_pAlone && !m_bUsed)
        m_pAlone->Leave(this);
    return isFound;
}

CComPtr<IWQ_ZELProcessorRequest> CZelProcessorFactories::FindRequest(const wchar_t* path) const
{
    CComPtr<IWQ_ZELProcessorRequest> request;
    FindFirst([&](auto& factory, auto** out) { return factory.CreateRequest(path, out); }, request, m_wait);
    return request;
}

bool CZelProcessorFactories::FindTask(const wchar_t* type, CComPtr<IWQ_ZELProcessorTask>& task) const
{
    return FindFirst([&](auto& factory, auto** out) { return factory.CreateTask(type, out); }, task, m_wait);
}

CComPtr<IWQ_ZELProcessorResponse> CZelProcessorFactories::FindResponse(IWQ_ZELProcessorRequest* request,
                                                                       const std::function<bool()>& goOn) const
{
    CComPtr<IWQ_ZELProcessorResponse> response;
    FindFirst([&](auto& factory, auto** out) { return factory.CreateResponse(request, out); }, response,
              [&](const void* who) { return m_pAlone->Enter(who, goOn); });
    return response;
}

std::vector<CString> CZelProcessorFactories::TaskTypes() const
{
    std::vector<CString> types;
    for (std::size_t index = 0; index < m_factories.GetCount(); ++index)
        std::ranges::move(TaskTypesOf(CComPtr<IWQ_ZELProcessorFactory>(m_factories.GetAt(index))),
                          std::back_inserter(types));
    return types;
}

std::vector<SZelServerPlugin> CZelProcessorFactories::Describe() const
{
    const std::vector<SComponentInfo> components = ListComponents(CATID_ZELProcessorFactory);
    std::vector<SZelServerPlugin> plugins;
    for (std::size_t index = 0; index < m_factories.GetCount(); ++index) {
        SZelServerPlugin plugin;
        if (const auto found = std::ranges::find(components, m_classes[index], &SComponentInfo::id);
            found != components.end()) {
            plugin.name = found->name;
            plugin.module = found->modulePath;
        }
        plugin.taskTypes = TaskTypesOf(CComPtr<IWQ_ZELProcessorFactory>(m_factories.GetAt(index)));
        plugins.push_back(std::move(plugin));
    }
    return plugins;
}

std::vector<std::wstring> CZelProcessorFactories::LeftOut()
{
    SProcessCategory& known = ProcessCategory();
    const platform::CMutexLock lock(known.mutex);
    std::vector<std::wstring> reasons;
    for (const auto& [classId, reason] : known.leftOut)
        reasons.push_back(reason);
    return reasons;
}

void ThrowNoFactory()
{
    WQ_MessageBox(L"Unable to create Zel Processor Factory", eMessageStyle_Error);
    AfxThrowUserException();
}
