#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelServerInfo.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/ComPtr.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

struct IWQ_CLSIDArray;
struct IWQ_DsEventsData;

/// The requesting application's side: hands request files to a server, follows and steers them, and hears of changes in
/// the data.
///
/// Every call works on the caller's thread, blocks for as long as it takes, and is independent of the others; one
/// object may be used by several threads once Init was called. Registering, unregistering and taking changes belong to
/// one of them. Commands, and what uses them, need a thread whose COM is initialised.
class ZEL_API CZelProcessorClient {
public:
    /// What is known of a request beside its status.
    class ZEL_API CAdditionalRequestStatus {
    public:
        CAdditionalRequestStatus();
        /// Copies all but the comment, which stays empty; assignment copies the comment too.
        CAdditionalRequestStatus(const CAdditionalRequestStatus& other);
        CAdditionalRequestStatus& operator=(const CAdditionalRequestStatus& other);

        /// Back to the initial values.
        void Clear();

        [[nodiscard]] eZelProcRequestStatus GetStatus() const;
        void SetStatus(eZelProcRequestStatus status);
        /// 1 and the percent (-1 when the writer knew none), or 0 and -1 when none was read.
        int GetProgress(long& progress) const;
        void SetProgress(long progress);
        [[nodiscard]] const CString& GetProgressComment() const;
        void SetProgressComment(const CString& comment);
        /// 1 and the time of the status file, or 0 and CTime(0).
        int GetTimeCreated(CTime& time) const;
        int GetTileModifyed(CTime& time) const;
        void SetTimes(const CTime& created, const CTime& modified);
        /// The status file's last write in seconds, 0 when unknown: what IsStatusFileChanged compares with.
        [[nodiscard]] std::int64_t GetSnapshotHash() const;

    protected:
        void Copy(const CAdditionalRequestStatus& other);

    private:
        eZelProcRequestStatus m_eStatus = eRequestStatus_NotIntialized;
        std::int32_t m_bHasProgress = 0;
        long m_nProgress = -1;
        std::int32_t m_bHasTimes = 0;
        CString m_strProgressComment;
        CTime m_timeCreated;
        CTime m_timeModified;
    };

    CZelProcessorClient();
    /// Stops listening, which can take as long as a command when the server does not answer.
    virtual ~CZelProcessorClient();
    CZelProcessorClient(const CZelProcessorClient&) = delete;
    CZelProcessorClient& operator=(const CZelProcessorClient&) = delete;

    /// Absolute paths without a separator at the end: the directory that the server watches, the server's output
    /// directory, and a directory of this client's own, on the same volume as the first. Nothing is checked or touched.
    void Init(CString requestDirectory, CString outputDirectory, CString clientDirectory);
    /// Whether what is handed over is synced to the storage device (the default), so that a power cut loses nothing.
    void SetSyncing(bool syncing);
    /// Whether the owner of the request directory is given the right to read what is sent, where the file's mode would
    /// keep him out (a mask of 077 does); on POSIX that adds him to the file's access list, on Windows it does nothing.
    /// Where there are no access lists, or the owner is the superuser or this user, who then is not the server, the
    /// group of a directory in which a group may make files gets the right.
    /// Off unless set: a hand-over is a move and nothing else.
    void SetAllowReading(bool allow);
    /// What ends the waiting for files that others have open, which has no end of its own, and for the server's answer
    /// to a command: goOn is asked between two tries, on the thread that waits, and false ends them. A send or a
    /// receive fails then; a status is eRequestStatus_NotIntialized: nothing is known; and so is what a command gives,
    /// which the server may still carry out. An unregistration alone waits on for its answer. Nothing is asked while no
    /// file is held and no answer is missing. To be set before the calls.
    void SetGoOn(std::function<bool()> goOn);
    /// How long the server has for a command; ten seconds when nothing else is set.
    void SetCommandTimeout(std::chrono::milliseconds timeout);
    /// Whether a registered client keeps a file of its own in the output directory, which goes when the client ends,
    /// however it does: a server with presence (SZelServerOptions), as zel-server is, then ends the registration. Off
    /// unless set. To be set before ListenDsEvents.
    void SetPresence(bool keep);
    /// Whether the server's directories are looked at even when the system tells of no change there: where other
    /// machines may change them, 50 ms after a change and less and less often to once a second, or from poll on when it
    /// is not 0, which holds for any file system; elsewhere the output directory's time is compared once a second.
    /// ListenDsEvents tries out then, with a file that it makes and removes there, whether changes are told; where they
    /// are not, the directory is listed, and the log says so. A status that cannot be read is then read again for two
    /// seconds, for the lock of a writer on another machine may not be seen. Off unless set. To be set before the
    /// calls, and before a CZelRequestWatch is made.
    void SetCheckedWatch(bool checked, std::chrono::milliseconds poll = {});
    /// Whether a client whose registration the server has lost, as one that was started anew has, registers again:
    /// IsNewDsEvent is true then until GetDsEvents has done so, which takes as long as a command, and what that gives
    /// is one event of kind eDsEventKind_Reload, for nobody knows what changed meanwhile. The files have other names
    /// from then on. Off unless set: ListenDsEvents registers again.
    void SetRegistersAgain(bool again);
    /// Whether a command that no server has taken when the client gives it up, since its time is over or SetGoOn ends
    /// it, is taken back, so that no later server carries it out; IsCommandWithdrawn tells of the last one. The end of
    /// a registration is left: a server that took the registration over ends it. Off unless set: commands lie there
    /// until a server takes them.
    void SetWithdrawsCommands(bool withdraws);
    /// Whether who waits for the answer to a command looks less often where a look takes long, as on a machine with
    /// nothing to spare: three times as long as the last look he is away, half a second at most, for the server cannot
    /// write an answer that somebody reads. Off unless set: 10 ms.
    void SetYields(bool yields);
    /// Of SetWithdrawsCommands. False also of a command that was answered, or that a server may still carry out. With
    /// commands on several threads, of the one that began or was taken back last.
    [[nodiscard]] bool IsCommandWithdrawn() const;

    /// Moves a finished request file into the request directory, replacing one of that name: the file leaves its place.
    /// eRequestStatus_Sent, or eRequestStatus_ClientError after a report. The file must be on the request directory's
    /// volume.
    [[nodiscard]] eZelProcRequestStatus SendRequest(const CString& requestPath);

    /// The status of a request, by its file name. additional may be null; it is cleared first.
    [[nodiscard]] eZelProcRequestStatus GetStatus(const CString& requestPath, CAdditionalRequestStatus* additional);
    /// Whether a full read of the status is worth while. Changes within one second are not seen. A missing file counts
    /// as changed.
    [[nodiscard]] bool IsStatusFileChanged(const CString& requestPath, std::int64_t snapshotHash);
    /// Moves the response to targetPath, replacing what is there, and removes the request's status file. For requests
    /// that are done. The target must be on the output directory's volume.
    [[nodiscard]] bool ReceiveOutput(const CString& requestPath, const CString& targetPath);
    /// Removes the response and the status of a request that has ended, so that its name is free again: of one that
    /// failed, was cancelled or is not wanted any more. Gives the status that it had; nothing is removed while it waits
    /// or runs. eRequestStatus_NotRequested: there was no status; a response without one is removed.
    /// eRequestStatus_ClientError after a report when a file stays, because somebody keeps it open for a second or the
    /// system refuses; eRequestStatus_NotIntialized when the wait for the status was ended (SetGoOn).
    [[nodiscard]] eZelProcRequestStatus ForgetRequest(const CString& requestPath);

    /// Asks the server to drop a waiting request, or to stop whatever runs when the request does not wait; a server
    /// with cancelByName (SZelServerOptions), as zel-server is, never stops another than the named one. Done once the
    /// server has answered, which says nothing of when a running request ends. A server error, or a time-out is
    /// reported and returned; eRequestStatus_NotIntialized when the wait was ended (SetGoOn).
    [[nodiscard]] eZelProcRequestStatus CancelRequest(const CString& requestPath);
    /// Pauses a request that has not started, and unpauses one that is paused; that then runs next. Results as above.
    [[nodiscard]] eZelProcRequestStatus PauseRequest(const CString& requestPath);

    /// Has the server start nothing until ReleaseQueue, over restarts; what runs goes on, and what comes waits. For the
    /// server's account where nobody else may write into the request directory, else for administrators: others get a
    /// server error, as everybody does when the server cannot note it down. Only a server whose
    /// SZelServerInfo::commands have the word takes it (SZelServerOptions::operatorCommands), as zel-server does;
    /// another one gives no answer. Results as of CancelRequest.
    [[nodiscard]] eZelProcRequestStatus HoldQueue();
    /// Lets a queue that is held go on. For whom, and results, as above.
    [[nodiscard]] eZelProcRequestStatus ReleaseQueue();
    /// Moves a request that waits to another place of the queue: before or behind all that wait, whatever their
    /// priority, or before another one that waits (otherPath, which counts for eRequestPlace_Before alone). Where users
    /// take turns: of the requests of its user. One that does not wait, and another that is not in the same order, is a
    /// server error. For whom, and results, as above.
    [[nodiscard]] eZelProcRequestStatus MoveRequest(const CString& requestPath, eRequestPlace place,
                                                    const CString& otherPath = {});
    /// Has the server take nothing more and end when what runs has ended; without resume (SZelServerOptions) also what
    /// waits. What was sent and not taken stays for the next one. Done once the server has begun with it. For whom, and
    /// results, as above.
    [[nodiscard]] eZelProcRequestStatus DrainServer();
    /// Has a request that failed and is kept (SZelServerOptions::keepFailed) wait for its turn again, or removes it.
    /// One that is not kept, and for RetryFailed one whose name is in use, is a server error. For whom, and results, as
    /// above.
    [[nodiscard]] eZelProcRequestStatus RetryFailed(const CString& requestPath);
    [[nodiscard]] eZelProcRequestStatus DiscardFailed(const CString& requestPath);

    /// Whether a server serves the output directory, and what it tells of itself. Touches nothing but a few small files
    /// of the server's own folder, and waits for nobody; for the moment of the look it holds the lock that a dead
    /// server left. A server that makes no claim is never said to be missing once it made its queue.
    [[nodiscard]] SZelServerInfo GetServerInfo() const;

    /// Registers with the server and watches the output directory on a thread of its own. False after a report, also
    /// when the server registered the client and the directory can't be watched. A second call registers anew, under
    /// another id; the first id stays when that fails.
    [[nodiscard]] bool ListenDsEvents();
    /// Unregisters and ends the thread; false, with the thread going on, when there is no registration or the server
    /// does not answer.
    [[nodiscard]] bool StopListeningDsEvents();

    /// True since anything changed in the output directory; at first, too.
    [[nodiscard]] bool IsOutputDirChange() const;
    /// To be called after the changes were looked at and taken: the questions below are all false from then on, until
    /// the next change. One that comes while they are looked at and taken counts as the next, and so does the taking
    /// itself: who looks again then finds nothing, and takes nothing.
    void ResetOutputDirChange();
    /// Whether there is something to take. Without a change in the output directory they are false and touch no disk.
    [[nodiscard]] bool IsNewDsEvent() const;
    [[nodiscard]] bool IsInsertableItemsUpdated() const;
    [[nodiscard]] bool IsLockResultsChanged() const;

    /// Takes the events, oldest first. Waits up to two seconds for the server's lock. False after a report: nothing was
    /// taken then, and the events come again with the next call.
    [[nodiscard]] bool GetDsEvents(std::vector<CComPtr<IWQ_DsEventsData>>& events);
    /// Takes the ids of the changed groups; none when the file is empty. False when the server is writing, or for a
    /// null pointer (without a report), or after one. A null array means that a null id was among them: everything may
    /// have changed.
    [[nodiscard]] bool GetChangedInsertableItemsGroups(IWQ_CLSIDArray** groups);
    /// Takes the notice that results of locking changed. Results as above.
    [[nodiscard]] bool ResetLockResultsChanged();

    /// Why the call of this object that failed last did, on one line in the language of the process: the file, and the
    /// words of the system or of the server. For a person: programs look at what the call gave. Empty until one fails;
    /// calls that succeed leave it as it is, and so does a status of a request that failed, which is an answer. Safe
    /// from any thread; where several fail, the last of them counts.
    [[nodiscard]] CString GetLastErrorText() const;

    /// The files by which the server tells of changes; empty before the registration.
    [[nodiscard]] CString GetDsEventsFileFullPath() const;
    [[nodiscard]] CString GetInsertableItemsChangeFile() const;
    [[nodiscard]] CString GetLockResultsChangeFile() const;

    /// A name that no other call gives, in this process or another: a GUID in braces, "_" and a counter. Safe from any
    /// thread. Throws CComError when the system has no GUID to give.
    [[nodiscard]] static CString GetUniqueString();

private:
    friend class CZelRequestWatch;
    friend struct SClientTestAccess;

    struct SState;
    const std::unique_ptr<SState> m_pState; ///< never null
};
