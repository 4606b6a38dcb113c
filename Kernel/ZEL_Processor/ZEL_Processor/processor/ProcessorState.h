#pragma once

#include "CallGate.h"
#include "RequestReasons.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "ZelProcessorFactories.h"
#include "platform/FileSystem.h"
#include "platform/Mutex.h"

#include <atomic>
#include <functional>
#include <memory>

struct CZelProcessor::SState {
    /// The request of this run is done: the host is told.
    void TellDone();
    /// After a fault in that.
    void LeaveEvent();

    CString m_strOutputDir = L"invalid";
    std::atomic<CZelProcessorEvent*> m_pEvent = nullptr; ///< a server that stops takes it away while a request runs
    CCallGate* m_pEventGate = nullptr;                   ///< of all processors that tell this event; null for one
    CZelProcessorContext* m_pContext = nullptr;
    bool m_bToldDone = false;
    CString m_strTaskType; ///< of the last request
    std::function<void(const CString& type)> m_onTask;
    SRequestReasons m_reasons;
    /// Takes the file of a request away whose response is saved; empty: it is deleted.
    std::function<platform::eOsError(const CString&)> m_removeRequest;
    platform::CMutex m_cs;
    bool m_bManualProceedQueue ZEL_GUARDED_BY(m_cs) = false;
    bool m_bProceedQueue ZEL_GUARDED_BY(m_cs) = false;
    std::unique_ptr<CZelProcessorFactories> m_pFactories = std::make_unique<CZelProcessorFactories>();
};
