#pragma once

#include "OutputDirWatcher.h"
#include "ZEL_Processor/ZelProcessorClient.h"
#include "platform/FileSystem.h"
#include "platform/Mutex.h"
#include "protocol/CommandFile.h"
#include "protocol/ProtocolPaths.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

/// All of a client but its face. What is public there is described there.
struct CClientState {
    using CAdditionalRequestStatus = CZelProcessorClient::CAdditionalRequestStatus;

    CClientState() = default;
    ~CClientState();
    CClientState(const CClientState&) = delete;
    CClientState& operator=(const CClientState&) = delete;

    void Init(const CString& requestDirectory, const CString& outputDirectory, CString clientDirectory);
    void SetSyncing(bool syncing);
    void SetAllowReading(bool allow);
    void SetGoOn(std::function<bool()> goOn);
    void SetCommandTimeout(std::chrono::milliseconds timeout);
    void SetCheckedWatch(bool checked, std::chrono::milliseconds poll);
    [[nodiscard]] eZelProcRequestStatus SendRequest(const CString& requestPath);
    [[nodiscard]] eZelProcRequestStatus GetStatus(const CString& requestPath, CAdditionalRequestStatus* additional);
    [[nodiscard]] bool IsStatusFileChanged(const CString& requestPath, std::int64_t snapshotHash);
    [[nodiscard]] bool ReceiveOutput(const CString& requestPath, const CString& targetPath);
    [[nodiscard]] eZelProcRequestStatus ForgetRequest(const CString& requestPath);
    [[nodiscard]] eZelProcRequestStatus CancelRequest(const CString& requestPath);
    [[nodiscard]] eZelProcRequestStatus PauseRequest(const CString& requestPath);
    [[nodiscard]] eZelProcRequestStatus HoldQueue();
    [[nodiscard]] eZelProcRequestStatus ReleaseQueue();
    [[nodiscard]] eZelProcRequestStatus DrainServer();
    [[nodiscard]] eZelProcRequestStatus RetryFailed(const CString& requestPath);
    [[nodiscard]] eZelProcRequestStatus DiscardFailed(const CString& requestPath);
    [[nodiscard]] eZelProcRequestStatus MoveRequest(const CString& requestPath, eRequestPlace place,
                                                    const CString& otherPath);
    [[nodiscard]] SZelServerInfo GetServerInfo() const;
    [[nodiscard]] bool ListenDsEvents();
    [[nodiscard]] bool StopListeningDsEvents();
    [[nodiscard]] bool IsNewDsEvent() const;
    [[nodiscard]] bool IsInsertableItemsUpdated() const;
    [[nodiscard]] bool IsLockResultsChanged() const;
    [[nodiscard]] bool GetDsEvents(std::vector<CComPtr<IWQ_DsEventsData>>& events);
    [[nodiscard]] bool GetChangedInsertableItemsGroups(IWQ_CLSIDArray** groups);
    [[nodiscard]] bool ResetLockResultsChanged();

    [[nodiscard]] eZelProcRequestStatus SendMessageToServer(const CString& messagePath);
    [[nodiscard]] eZelProcRequestStatus SendCommand(const CString& requestPath, eCommandType type,
                                                    const CommandFile::SWhere& where = {});
    [[nodiscard]] eZelProcRequestStatus FollowCommand(const CString& commandFile, eCommandType type);
    [[nodiscard]] CString CreateCommandFile(eCommandType type, const CString& requestPath,
                                            const CommandFile::SWhere& where = {}) const;

    [[nodiscard]] eZelServerPresence LookForServer() const;
    [[nodiscard]] bool ReceiveClientId(const CString& registrationName);
    void ShowPresence();
    [[nodiscard]] bool IsRegistrationLost() const;
    [[nodiscard]] bool RegisterAgain(std::vector<CComPtr<IWQ_DsEventsData>>& events);
    [[nodiscard]] bool HasNews(const CString& path) const;

    [[nodiscard]] eZelProcRequestStatus LookForStatus(const CString& requestPath, CAdditionalRequestStatus* additional,
                                                      const std::function<bool()>& goOn);
    /// Waiting in place of a status that a server was killed over when it had just made its file: the next one puts
    /// that right, as long as the request is there.
    [[nodiscard]] eZelProcRequestStatus UnlessUnwritten(eZelProcRequestStatus status, const CString& requestPath,
                                                        CAdditionalRequestStatus* additional) const;
    /// False when the file is gone by now.
    [[nodiscard]] bool ReadStatusFile(const CString& path, CAdditionalRequestStatus* additional,
                                      const std::function<bool()>& goOn, eZelProcRequestStatus& status);
    [[nodiscard]] std::chrono::milliseconds UnreadablePatience() const;
    /// Gives the status back, so that it can be returned with what was set.
    static eZelProcRequestStatus SetRequestStatus(CAdditionalRequestStatus* additional, const CString& text,
                                                  eZelProcRequestStatus status);
    [[nodiscard]] unsigned MoveFlags() const;

    /// What LastErrorText gives from now on; a line end in it becomes a blank.
    void Explain(CString why) const;
    /// The same for what the system said of a file.
    void Explain(const CString& path, platform::eOsError error) const;
    [[nodiscard]] CString LastErrorText() const;
    /// Reports, and explains with the same words, or with the words about this file.
    void Report(long line, const wchar_t* function, const CString& text, const CString& path = {}) const;
    /// False, so that a failure can be returned with its report.
    bool Fail(long line, const wchar_t* function, const CString& text, const CString& path = {}) const;
    /// The same, explained with what the system said of the file.
    bool Fail(long line, const wchar_t* function, const CString& text, const CString& path,
              platform::eOsError error) const;

    SProtocolPaths m_paths = SProtocolPaths::Of(L"invalid", L"invalid");
    CString m_strClientDir;
    bool m_bSyncing = true;
    bool m_bAllowReading = false;
    std::function<bool()> m_goOn; ///< empty: always
    std::chrono::milliseconds m_commandTimeout{10'000};
    platform::SWatchOptions m_watchOptions;

    GUID m_clientID{}; ///< all zero before the first registration; kept after its end
    bool m_bRegistered = false;
    bool m_bPresence = false;
    bool m_bRegistersAgain = false;
    bool m_bWithdraws = false;
    bool m_bYields = false;
    std::atomic<bool> m_bWithdrawn = false;           ///< the last command, of whichever thread
    bool m_bLost = false;                             ///< the registration, and it was tried in vain to register again
    std::unique_ptr<platform::ILockFile> m_pPresence; ///< of the id above
    COutputDirWatcher m_watcher;

    mutable platform::CMutex m_csLastError;
    mutable CString m_strLastError ZEL_GUARDED_BY(m_csLastError);
};

/// Apart, so that the operations above are no members of an exported class.
struct CZelProcessorClient::SState final : CClientState {};
