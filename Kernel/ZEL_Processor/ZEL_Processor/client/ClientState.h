#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class CWQ_Thread;
namespace platform {
class CManualResetEvent;
}

/// All of a client but its face. What is public there is described there.
struct CClientState {
    using CAdditionalRequestStatus = CZelProcessorClient::CAdditionalRequestStatus;

    CClientState();
    ~CClientState();
    CClientState(const CClientState&) = delete;
    CClientState& operator=(const CClientState&) = delete;

    void Init(CString requestDirectory, CString outputDirectory, CString clientDirectory);
    void SetSyncing(bool syncing);
    void SetAllowReading(bool allow);
    void SetGoOn(std::function<bool()> goOn);
    void SetCommandTimeout(std::chrono::milliseconds timeout);
    [[nodiscard]] eZelProcRequestStatus SendRequest(const CString& requestPath);
    [[nodiscard]] eZelProcRequestStatus GetStatus(const CString& requestPath, CAdditionalRequestStatus* additional);
    [[nodiscard]] bool IsStatusFileChanged(const CString& requestPath, std::int64_t snapshotHash);
    [[nodiscard]] bool ReceiveOutput(const CString& requestPath, const CString& targetPath);
    [[nodiscard]] eZelProcRequestStatus CancelRequest(const CString& requestPath);
    [[nodiscard]] eZelProcRequestStatus PauseRequest(const CString& requestPath);
    [[nodiscard]] bool ListenDsEvents();
    [[nodiscard]] bool StopListeningDsEvents();
    [[nodiscard]] bool IsOutputDirChange() const;
    void ResetOutputDirChange();
    [[nodiscard]] bool IsNewDsEvent() const;
    [[nodiscard]] bool IsInsertableItemsUpdated() const;
    [[nodiscard]] bool IsLockResultsChanged() const;
    [[nodiscard]] bool GetDsEvents(std::vector<CComPtr<IWQ_DsEventsData>>& events);
    [[nodiscard]] bool GetChangedInsertableItemsGroups(IWQ_CLSIDArray** groups);
    [[nodiscard]] bool ResetLockResultsChanged();
    [[nodiscard]] CString GetDsEventsFileFullPath() const;
    [[nodiscard]] CString GetInsertableItemsChangeFile() const;
    [[nodiscard]] CString GetLockResultsChangeFile() const;

    [[nodiscard]] eZelProcRequestStatus SendMessageToServer(const CString& messagePath);
    [[nodiscard]] eZelProcRequestStatus SendCommand(const CString& requestPath, eCommandType type);
    [[nodiscard]] eZelProcRequestStatus FollowCommand(const CString& commandFile, eCommandType type);
    [[nodiscard]] CString CreateCommandFile(eCommandType type, const CString& requestPath) const;

    [[nodiscard]] bool ReceiveClientId(const CString& registrationName);
    [[nodiscard]] bool StartWatchThread();
    void EndWatchThread();
    static unsigned FileWatchThread(void* client);
    bool ListenFileWatch();
    void SetOutputDirChange();
    [[nodiscard]] bool HasNews(const CString& path) const;
    bool DeleteDsEventsFileContent();
    [[nodiscard]] CString GetPerClientPath(const wchar_t* prefix) const;

    [[nodiscard]] eZelProcRequestStatus LookForStatus(const CString& requestPath, CAdditionalRequestStatus* additional,
                                                      const std::function<bool()>& goOn);
    /// False when the file is gone by now.
    [[nodiscard]] bool ReadStatusFile(const CString& path, CAdditionalRequestStatus* additional,
                                      const std::function<bool()>& goOn, eZelProcRequestStatus& status);
    /// Gives the status back, so that it can be returned with what was set.
    static eZelProcRequestStatus SetRequestStatus(CAdditionalRequestStatus* additional, const CString& text,
                                                  eZelProcRequestStatus status);
    [[nodiscard]] CString GetFileInRequestDirFullPath(const CString& path) const;
    [[nodiscard]] CString GetFileInQueueFullPath(const CString& path) const;
    [[nodiscard]] CString GetOutputFilePath(const CString& path) const;
    [[nodiscard]] CString GetStatusFilePath(const CString& path) const;
    [[nodiscard]] unsigned MoveFlags() const;

    CString m_strRequestDir = L"invalid";
    CString m_strOutputDir = L"invalid";
    CString m_strClientDir;
    bool m_bSyncing = true;
    bool m_bAllowReading = false;
    std::function<bool()> m_goOn; ///< empty: always
    std::chrono::milliseconds m_commandTimeout{10'000};

    GUID m_clientID{}; ///< all zero before the first registration; kept after its end
    bool m_bRegistered = false;
    std::atomic<bool> m_bListening = false;
    std::atomic<bool> m_bOutputDirChange = true;
    std::unique_ptr<platform::CManualResetEvent> m_evLooked;  ///< set while no change is known, and to end the thread
    std::unique_ptr<platform::CManualResetEvent> m_evStarted; ///< set once the thread watches, or can't
    std::atomic<bool> m_bWatching = false;
    std::mutex m_cs; ///< guards changes of the two flags, of the event and of the thread
    std::unique_ptr<CWQ_Thread> m_pThreadListenFileWatch;
};

/// Apart, so that the operations above are no members of an exported class.
struct CZelProcessorClient::SState final : CClientState {};
