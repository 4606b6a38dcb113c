#include "apps/zel-server/EventFeed.h"

#include "com/Guid.h"
#include "com/ZelCom.h"
#include "framework/Log.h"
#include "framework/module/RegistryCathegory.h"
#include "platform/Text.h"

CEventFeed::CEventFeed(CZelProcessorServer& server) : m_pSink(MakeComObject<CEventSink>(server)) {}

CEventFeed::~CEventFeed()
{
    Stop();
}

void CEventFeed::Start()
{
    CMOX_RegistryCathegory category;
    category.Enumerate(CATID_ZELProcessorFactory);
    for (const CMOX_RegistryCathegoryItem& item : category.GetItems())
        StartSource(item.GetClsid());
}

void CEventFeed::StartSource(const CLSID& factory)
{
    CComPtr<IUnknown> component;
    // One that can't be made was left out by the server already.
    if (FAILED(CoCreateInstanceZEL(factory, nullptr, CLSCTX_INPROC_SERVER, ComIid<IUnknown>(), component.PutVoid())))
        return;
    CComPtr<IWQ_DsEventSource> source = component.QueryTo<IWQ_DsEventSource>();
    if (!source)
        return;
    const HRESULT started = source->Start(m_pSink.Get());
    if (SUCCEEDED(started))
        m_sources.push_back(std::move(source));
    else
        Brel::Log::Write(*Brel::Log::Get("zel-server"), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         L"Changes in the data of the plug-in " + GuidToText(factory) + L" are not watched: " +
                             platform::FromUtf8(CComError(started).what()));
}

void CEventFeed::Stop()
{
    for (const CComPtr<IWQ_DsEventSource>& source : m_sources)
        static_cast<void>(source->Stop());
    m_sources.clear();
    m_pSink->Detach();
}
