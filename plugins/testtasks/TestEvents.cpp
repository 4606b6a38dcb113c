#include "plugins/testtasks/TestEvents.h"

CTestEvents& CTestEvents::Instance()
{
    static CTestEvents events;
    return events;
}

HRESULT CTestEvents::Start(IWQ_DsEventSink* sink)
{
    if (sink == nullptr)
        return E_POINTER;
    const platform::CMutexLock lock(m_cs);
    if (m_pSink)
        return E_UNEXPECTED;
    m_pSink = CComPtr<IWQ_DsEventSink>(sink);
    return S_OK;
}

HRESULT CTestEvents::Stop()
{
    const platform::CMutexLock lock(m_cs);
    if (!m_pSink)
        return S_FALSE;
    m_pSink.Reset();
    return S_OK;
}

HRESULT CTestEvents::TellChange(IWQ_DsEventsData* events)
{
    const platform::CMutexLock lock(m_cs);
    return m_pSink ? m_pSink->OnChangedDs(events) : E_UNEXPECTED;
}

HRESULT CTestEvents::TellLockResults()
{
    const platform::CMutexLock lock(m_cs);
    return m_pSink ? m_pSink->OnChangedLockResults() : E_UNEXPECTED;
}
