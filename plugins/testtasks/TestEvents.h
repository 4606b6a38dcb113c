#pragma once

#include "platform/Mutex.h"

#include <ZEL_Processor/IWQ_DsEventSource.h>

/// Where the tasks of this module reach whoever wants to hear of changes. One for the module: the factory that a task
/// comes from is not the one that was started.
class CTestEvents {
public:
    [[nodiscard]] static CTestEvents& Instance();

    /// As IWQ_DsEventSource has them.
    [[nodiscard]] HRESULT Start(IWQ_DsEventSink* sink);
    [[nodiscard]] HRESULT Stop();

    /// Tells a change of the data; the sink's result, E_UNEXPECTED when there is none.
    [[nodiscard]] HRESULT TellChange(IWQ_DsEventsData* events);
    [[nodiscard]] HRESULT TellLockResults();

private:
    platform::CMutex m_cs; ///< held while the sink is called, so that Stop waits for it
    CComPtr<IWQ_DsEventSink> m_pSink ZEL_GUARDED_BY(m_cs);
};
