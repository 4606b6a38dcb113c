#pragma once

#include "ZEL_Processor/ZelProcessor.h"
#include "ZelProcessorFactories.h"

#include <atomic>
#include <memory>
#include <mutex>

struct CZelProcessor::SState {
    CString m_strOutputDir = L"invalid";
    std::atomic<CZelProcessorEvent*> m_pEvent = nullptr; ///< a server that stops takes it away while a request runs
    CZelProcessorContext* m_pContext = nullptr;
    bool m_bToldDone = false;
    bool m_bManualProceedQueue = false;
    bool m_bProceedQueue = false; ///< guarded by m_cs
    std::mutex m_cs;
    std::unique_ptr<CZelProcessorFactories> m_pFactories = std::make_unique<CZelProcessorFactories>();
};
