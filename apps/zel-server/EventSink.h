#pragma once

#include "ZEL_Processor/IWQ_DsEventSource.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "com/ComObject.h"
#include "platform/Mutex.h"

/// Hands changes in the data on to the server, from whatever thread a plug-in calls it. What fails is logged and told
/// to the plug-in; the server goes on.
class CEventSink final : public CComObject<IWQ_DsEventSink> {
public:
    explicit CEventSink(CZelProcessorServer& server) : m_pServer(&server) {}

    /// From then on nothing reaches the server; a call that is under way is waited for.
    void Detach();

    HRESULT STDMETHODCALLTYPE OnChangedDs(IWQ_DsEventsData* events) override;
    HRESULT STDMETHODCALLTYPE OnChangedLockResults() override;

private:
    template <class Call>
    HRESULT Forward(const wchar_t* failed, const Call& call) noexcept;

    platform::CMutex m_cs; ///< held for a whole call: the server takes one at a time
    CZelProcessorServer* m_pServer ZEL_GUARDED_BY(m_cs);
};
