#pragma once

#include "RequestQueue.h"
#include "ZEL_Processor/IWQ_Palette.h"
#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "com/ComPtr.h"
#include "com/Guid.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

class CLeftStatuses;
class CRequestIntake;
class CWQ_Thread;
class CZelProcessor;
class CZelProcessorProgress;
class CZelProcessorProgressStatusFile;
namespace CommandFile {
struct SContent;
}
namespace HeldFile {
class CPassedOver;
}
namespace platform {
class CManualResetEvent;
class IDirectoryWatch;
struct SFaultRecord;
} // namespace platform

/// All of a server but its face. What is public there is described there.
struct CServerState {
    CServerState();
    ~CServerState();
    CServerState(const CServerState&) = delete;
    CServerState& operator=(const CServerState&) = delete;

    bool SetDirs(const CString& requestDir, const CString& outputDir);
    bool Run();
    void Stop(bool bWait);
    bool MakesProgress();
    void OnChangedDs(IWQ_DsEventsData* events);
    void OnChangedLockResults();

    [[nodiscard]] CString GetFileInQueueFullPath(const CString& path) const;
    [[nodiscard]] CString GetFileInRequestDirFullPath(const CString& path) const;
    [[nodiscard]] CString GetDsEventsFileFullPath(const GUID& clientId) const;
    [[nodiscard]] CString GetInsertableItemsChangeFile(const GUID& clientId) const;
    [[nodiscard]] CString GetLockResultsChangeFile(const GUID& clientId) const;

    enum eRetry { eRetry_None, eRetry_Counted, eRetry_TooSoon, eRetry_Canceled };

    unsigned RunThread(const char* name, bool (CServerState::*body)());
    void EndFailed() noexcept;
    void TellFailed();
    static unsigned MessageHandlingThread(void* server);
    static unsigned ExecutiveThread(void* server);
    bool EndEarlierRun();
    bool StartExecutiveThread();

    bool Listen();
    bool ListenStep();
    void SetWatch(std::unique_ptr<platform::IDirectoryWatch> watch);
    void Accept();
    void EndListener();
    bool RearmWatch();
    bool ScanRequestDir();
    void TakeInTurns(CRequestIntake& putOff, std::chrono::nanoseconds start);
    void TakeFile(const CString& name);
    void HandleCommandFile(const CString& path);
    [[nodiscard]] bool MayWaitForHolder();

    enum eTaken { eTaken_Yes, eTaken_No, eTaken_Refused, eTaken_Held };
    eTaken TakeIntoQueue(const CString& path, const CString& target);
    [[nodiscard]] CString WhyRefused(const CString& path) const;
    bool RefuseWhatCannotBeServed(const CString& path, std::set<CString>& refused);
    void TellRefused(const CString& path, const CString& reason);
    [[nodiscard]] bool IsKnown(const CString& name) const;

    bool AddRequestToQueue(const CString& path);
    bool RemoveRequestFromQueue(const CString& name);
    [[nodiscard]] bool IsRequestInQueue(const CString& name) const;
    [[nodiscard]] bool IsRequestPaused(const CString& name) const;
    bool TakeWaiting(const CString& name, TSRequestItem& item);
    bool TakePaused(const CString& name, TSRequestItem& item);
    [[nodiscard]] unsigned MoveFlags() const;
    [[nodiscard]] std::string OwnerOf(const CString& path) const;
    [[nodiscard]] std::string PrivateFor(const std::string& owner) const;
    [[nodiscard]] bool IsFull(const std::string& owner) const;
    void RefuseRequest(const CString& path, const std::string& owner);
    void TellRefusal(const CString& text);

    bool ProcessCommand(const CString& path, eTaken taken, CZelProcessorProgress* progress);
    bool WaitUntilReadable(const CString& queuePath, CZelProcessorProgress* progress);
    bool ReadCommand(const CString& queuePath, CZelProcessorProgress* progress, CommandFile::SContent& command);
    bool CarryOutCommand(const CommandFile::SContent& command, const std::string& owner,
                         CZelProcessorProgress* progress, bool& isRefused);
    bool Refuse(CZelProcessorProgress* progress, const CString& text, bool& isRefused);
    void CancelRequest(const CString& name, CZelProcessorProgress* progress);
    bool PauseOrUnpauseRequest(const CString& name, CZelProcessorProgress* progress, bool& isRefused);
    bool UnpauseRequest(const CString& name);
    void SetRequestStatus(const CString& name, const std::string& owner, eZelProcRequestStatus status,
                          const CString& text);
    void KeepUnwritten(const CZelProcessorProgressStatusFile& statusFile, const CString& statusPath);
    [[nodiscard]] std::function<bool()> Patience();
    [[nodiscard]] std::function<bool()> BriefPatience() const;
    void RemoveStatus(const CString& name);
    bool TakeNotQueued(const CString& name, TSRequestItem& item);

    bool RegisterNewClient(const CString& requestId, const std::string& owner = {});
    bool UnregisterClient(const GUID& clientId);
    [[nodiscard]] bool IsFullOfClients(const std::string& owner) const;
    void AddClient(const GUID& clientId, const std::string& owner);
    bool RemoveClient(const GUID& clientId);
    bool RemoveEventsFile(const CString& path);
    void RemoveLeftEventsFiles();
    [[nodiscard]] std::vector<GUID> RegisteredClients() const;
    [[nodiscard]] bool IsRegistered(const GUID& clientId) const;
    [[nodiscard]] std::string OwnerOfClient(const GUID& clientId) const;
    void TellClients(const std::vector<GUID>& clients, const std::function<void(const GUID&)>& tell);
    void MarkProject(VARIANT_BOOL needsUpdate);
    [[nodiscard]] bool CanTell(const GUID& clientId) const;
    void TellLockedOut(const GUID& clientId, const CString& path, bool isWaitOver);
    bool SendEventsDataToClient(const GUID& clientId, IWQ_DsEventsData* events);
    bool SendChangedPaletteGroupsToClient(const GUID& clientId, IWQ_CLSIDArray* groups);
    bool SendChangedLockResultsToClient(const GUID& clientId);

    bool ProcessQueue();
    bool ProcessQueueStep();
    void WaitForWork();
    bool ExecuteRequest();
    bool TakeRequest(TSRequestItem& item, bool& bLast);
    bool Try_ExecuteRequest(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool bForce,
                            bool& bException);
    bool SEH__ExecuteRequest(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool bForce);
    eRetry PutBack(TSRequestItem& item);
    void RemoveFailedRequest(const TSRequestItem& item);
    void EndRunning();
    static int HandleCatchAll(const wchar_t* context, const platform::SFaultRecord* exceptionPointers,
                              const wchar_t* file, long line);
    /// The caller holds m_cs: the request that is meant is neither ended nor put back meanwhile.
    void CancelRunningRequest();

    const std::unique_ptr<CLeftStatuses> m_pLeftStatuses;
    const std::unique_ptr<HeldFile::CPassedOver> m_pPassedOver; ///< listener only
    std::unique_ptr<CZelProcessor> m_pProcessor;
    CZelProcessorEvent* m_pEvent = nullptr;
    CZelProcessorContext* m_pContext = nullptr;
    std::atomic<bool> m_bRunning = false;
    std::atomic<bool> m_bFailed = false;
    /// Counted by listener and executive, and what MakesProgress saw of it last.
    std::atomic<std::uint32_t> m_nListenerTurns = 0;
    std::atomic<std::uint32_t> m_nExecutiveTurns = 0;
    std::atomic<bool> m_bExecutiveMayTakeLong = false; ///< in a task, or without one
    std::uint32_t m_nListenerTurnsSeen = 0;
    std::uint32_t m_nExecutiveTurnsSeen = 0;
    bool m_bNoExecutiveThread = false;
    SZelServerOptions m_options; ///< constant from SetDirs on
    CString m_strRequestDir = L"invalid";
    CString m_strOutputDir = L"invalid";
    CString m_strQueueDir = L"invalid";

    /// Held for looks at the lists alone: no file is touched, no box shown and nothing waited for under it.
    mutable std::mutex m_cs;
    std::uint32_t m_dwLastRequestTick = 0;                  ///< executive thread only
    std::unique_ptr<CRequestQueue> m_queue;                 ///< guarded by m_cs; never null
    std::unique_ptr<CRequestQueue> m_paused;                ///< guarded by m_cs; never null
    CString m_strRunning;                                   ///< guarded by m_cs; what runs, empty when nothing does
    bool m_bCanceled = false;                               ///< guarded by m_cs; what runs is to stop
    std::unique_ptr<platform::CManualResetEvent> m_evQueue; ///< wakes the executive thread
    CComPtr<IWQ_Palette> m_pPalette;
    CComPtr<IWQ_Project> m_pProject;

    /// Only the list is touched under it: registrations wait neither for a file nor for a notification.
    mutable std::mutex m_csClients;
    struct SClient {
        std::uint64_t number = 0; ///< in the order of registration
        std::string owner = {};   ///< whose command registered it; empty when no option asks
    };
    std::map<GUID, SClient, SGuidLess> m_clients;        ///< guarded by m_csClients
    std::map<std::string, std::size_t> m_clientsOfOwner; ///< guarded by m_csClients
    std::uint64_t m_nextClient = 0;                      ///< guarded by m_csClients
    /// Guarded by m_csClients; of clients that have gone, while somebody holds them. As many as he can hold open.
    std::vector<CString> m_leftEventsFiles;

    /// Held for a whole notification, which may wait for a client: one after the other, in the order of the changes.
    /// Taken before m_csClients, and by nobody but who tells of a change. What is guarded is the server's own.
    std::mutex m_csNotify;
    std::vector<CComPtr<IWQ_DsEventsData>> m_pendingEvents;             ///< guarded by m_csNotify; oldest first
    std::map<GUID, CComPtr<IWQ_CLSIDArray>, SGuidLess> m_pendingGroups; ///< guarded by m_csNotify; by client
    /// Guarded by m_csNotify; clients whose lock, or whose events file, could not be had the last time. They were told
    /// of, and are not waited for again.
    std::set<GUID, SGuidLess> m_lockedOut;
    /// With the events that wait for that client alone, which has the others in its file.
    std::map<GUID, std::vector<CComPtr<IWQ_DsEventsData>>, SGuidLess> m_heldEvents;

    /// Guards the watch and the beginning and end of running, never while anything waits.
    std::mutex m_csWatch;
    std::unique_ptr<platform::IDirectoryWatch> m_pWatch; ///< replaced by the listener only, under m_csWatch
    bool m_bScanPending = false;                         ///< listener only; a scan failed
    bool m_bHeld = false;                                ///< listener only; the last scan met a file that is held
    bool m_bMoreToTake = false;                          ///< listener only; it left files for the next one
    std::chrono::nanoseconds m_holdersEnd{};             ///< listener only; who holds a file is waited for until then
    std::chrono::nanoseconds m_refusalsTold{};           ///< listener only
    std::uint64_t m_nRefusals = 0;                       ///< listener only; since they were told
    std::set<CString> m_refused;                         ///< listener only; told of, and still there at the last look
    std::set<CString> m_refusedNow;                      ///< listener only; met by the look that is going on
    std::unique_ptr<platform::CManualResetEvent> m_evStop;
    std::unique_ptr<platform::CManualResetEvent> m_evListening;
    std::unique_ptr<CWQ_Thread> m_pMHThread;
    std::unique_ptr<CWQ_Thread> m_pEThread;
};

/// Apart, so that the operations above are no members of an exported class.
struct CZelProcessorServer::SState final : CServerState {};
