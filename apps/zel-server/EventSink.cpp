#include "apps/zel-server/EventSink.h"

#include "com/ComThread.h"
#include "framework/Log.h"
#include "platform/Text.h"

namespace {

void Warn(const std::wstring& text, HRESULT result)
{
    Brel::Log::Write(*Brel::Log::Get("zel-server"), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     text + L": " + platform::FromUtf8(CComError(result).what()));
}

} // namespace

template <class Call>
HRESULT CEventSink::Forward(const wchar_t* failed, const Call& call) noexcept
{
    return ComGuard([&] {
        const platform::CMutexLock lock(m_cs);
        if (m_pServer == nullptr)
            return S_FALSE;
        CZelProcessorServer& server = *m_pServer;
        const CComThread com; // a thread of the plug-in may be without
        const HRESULT result = ComGuard([&] {
            call(server);
            return S_OK;
        });
        if (FAILED(result))
            Warn(failed, result);
        return result;
    });
}

void CEventSink::Detach()
{
    const platform::CMutexLock lock(m_cs);
    m_pServer = nullptr;
}

HRESULT STDMETHODCALLTYPE CEventSink::OnChangedDs(IWQ_DsEventsData* events)
{
    return Forward(L"A change in the data could not be told to the clients",
                   [&](CZelProcessorServer& server) { server.OnChangedDs(events); });
}

HRESULT STDMETHODCALLTYPE CEventSink::OnChangedLockResults()
{
    return Forward(L"A change in the results of locking could not be told to the clients",
                   [](CZelProcessorServer& server) { server.OnChangedLockResults(); });
}
