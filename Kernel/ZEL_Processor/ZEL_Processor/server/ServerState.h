#pragma once

#include "ChangeNotifier.h"
#include "ClientMail.h"
#include "ClientRecords.h"
#include "ClientRegistry.h"
#include "ExecutiveSlot.h"
#include "RequestListener.h"
#include "RequestQueue.h"
#include "RequestStatuses.h"
#include "ServerFigures.h"
#include "ServerSettings.h"
#include "ZEL_Processor/IWQ_Palette.h"
#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "com/ComPtr.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class CWQ_Thread;
class CZelProcessor;

/// All of a server but its face. What is public there is described there.
struct CServerState {
    CServerState();
    ~CServerState();
    CServerState(const CServerState&) = delete;
    CServerState& operator=(const CServerState&) = delete;

    bool SetDirs(const CString& requestDir, const CString& outputDir);
    bool Resume();
    bool Run();
    void Stop(bool bWait);
    bool MakesProgress();
    void SetContext(CZelProcessorContext* context);
    /// The one that is asked whether the queue may go on, for all slots; null before Run.
    [[nodiscard]] CZelProcessor* Stepping() const
    {
        return m_slots.empty() ? nullptr : m_slots.front()->m_pProcessor.get();
    }
    [[nodiscard]] bool HasExecutiveThread() const;
    void OnChangedDs(IWQ_DsEventsData* events);
    bool GetFigures(SZelServerFigures& figures) const;

    unsigned RunThread(const char* name, const std::function<bool()>& body);
    void EndFailed() noexcept;
    void TellFailed();
    static unsigned MessageHandlingThread(void* server);
    static unsigned ExecutiveThread(void* slot);
    bool EndEarlierRun();
    bool PrepareSlots();
    bool StartExecutiveThreads();
    void WaitForExecutives();
    void TakeEventAway();
    void TryLastStatuses();

    // What comes after knows what stands before it.
    CServerSettings m_settings;
    CServerFigures m_figures;
    std::atomic<bool> m_bRunning = false;
    CRequestQueue m_requests{m_bRunning};
    CRequestStatuses m_statuses{m_settings, m_requests};
    CKeptNames m_keptNames;
    SSlotGates m_gates;
    /// Never fewer than before: what they have kept is theirs.
    std::vector<std::unique_ptr<CExecutiveSlot>> m_slots;
    const CClientRecords m_clientRecords{m_settings};
    CClientRegistry m_registry{m_settings.m_paths, m_bRunning};
    CClientMail m_mail{m_settings, m_registry, m_bRunning};
    CRequestListener m_listener{m_settings, m_requests, m_statuses, m_registry, m_mail, m_bRunning, &m_keptNames};
    CChangeNotifier m_notifier{m_settings, m_registry, m_mail, m_bRunning};

    std::atomic<bool> m_bFailed = false;
    std::uint32_t m_nListenerTurnsSeen = 0; ///< by MakesProgress the last time

    CComPtr<IWQ_Palette> m_pPalette;
    CComPtr<IWQ_Project> m_pProject;

    std::unique_ptr<CWQ_Thread> m_pMHThread;
};

/// Apart, so that the operations above are no members of an exported class.
struct CZelProcessorServer::SState final : CServerState {};
