#pragma once

#include "ZEL_Processor/IWQ_Palette.h"
#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelServerFigures.h"
#include "ZEL_Processor/ZelServerInfo.h"
#include "ZEL_Processor/ZelServerOptions.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/ComPtr.h"
#include "com/Guid.h"

#include <memory>

class CZelProcessorContext;
class CZelProcessorEvent;

/// Serves requests: watches a directory for request and command files, queues the requests and runs them one at a time.
///
/// Order of calls for a host: construct, optionally SetOptions, SetDirs, SetZelProcessorEvent, SetZelProcessorContext,
/// optionally SetNoExecutiveThread, SetPalette and SetProject, Run, optionally SetManualProceedQueue, and at the end
/// Stop(true) or just the destructor. All of them from one thread whose COM is initialised. Two threads work inside; a
/// fault in a task, a processor fault included, ends the request and not the server. Context and event are the host's
/// and must outlive the server.
class ZEL_API CZelProcessorServer {
public:
    /// Loads the plug-in factories. Throws CUserException, after a box, when there is none.
    CZelProcessorServer();
    virtual ~CZelProcessorServer();
    CZelProcessorServer(const CZelProcessorServer&) = delete;
    CZelProcessorServer& operator=(const CZelProcessorServer&) = delete;

    /// What this host wants beside the file protocol. Before SetDirs; a server that was never given any keeps to the
    /// protocol alone.
    void SetOptions(const SZelServerOptions& options);

    /// Absolute paths of two existing directories. Creates "Queue" in the output directory and DELETES EVERY FILE in
    /// the output directory and in "Queue": nothing survives a restart, registrations of clients included; with the
    /// option "resume" it takes over what lies there instead. Files in the request directory are kept. False when a
    /// directory is missing, and, after a box and with nothing deleted, when "Queue" is a symbolic link or belongs to
    /// another user, or when what is to be taken over cannot be read. Others lose the right to write into "Queue". Not
    /// while threads of a run that was stopped without waiting may still work.
    bool SetDirs(const CString& requestDir, const CString& outputDir);

    void SetZelProcessorEvent(CZelProcessorEvent* event);
    [[nodiscard]] CZelProcessorEvent* GetZelProcessorEvent() const;
    void SetZelProcessorContext(CZelProcessorContext* context);
    [[nodiscard]] CZelProcessorContext* GetZelProcessorContext() const;

    /// Requests are then queued but never run. Effective before Run only.
    void SetNoExecutiveThread(bool noExecutiveThread);
    /// The host's palette in place of the first that a plug-in factory offers, and its project. Before Run.
    void SetPalette(IWQ_Palette* palette);
    void SetProject(IWQ_Project* project);

    /// Starts the threads and returns when requests are accepted. False after 10 s without that, when the output
    /// directory is refused or a thread can't be started; nothing is rolled back. Files that already lie in the request
    /// directory are found at the first change of a file name there. While the server runs it is false and changes
    /// nothing. Threads of an earlier run that are still ending are waited for, up to 10 s each; then it is false.
    bool Run();
    /// Ends the threads; with bWait returns when they have ended, which takes as long as the running request does.
    /// Nothing happens before Run.
    void Stop(bool bWait);
    /// True when the running server ended itself, because an exception left one of its threads outside a task (memory
    /// that ran out, say): nothing more is accepted or run, and Stop and Run work as ever. From any thread.
    [[nodiscard]] bool HasFailed() const;

    /// Tells clients what this server is (CZelProcessorClient::GetServerInfo), in a file of the server's own folder
    /// that is replaced as a whole: what the host gives, and request directory, plug-ins with their types, which they
    /// are asked for unless the server has ended, and those that were left out. The host makes the claim that says that
    /// the server lives, and publishes again with "ended" when it has stopped. False after a line in the log. After
    /// SetDirs.
    bool PublishInfo(const SZelServerInfo& info);

    /// True when the server's threads have gone on since the call before, or do not run: the listener takes a turn
    /// every second, also while it waits, and with every file it looks at. The executive may wait for a request or run
    /// a task, for as long as that takes; what it does besides must go on. To wait for somebody who keeps a file open,
    /// which takes as long as he wants where there is no patience, is to go on. For a watchdog: one thread, some
    /// seconds between two calls.
    [[nodiscard]] bool MakesProgress();

    /// What the server has counted since SetDirs, and what it does now, with the option "figures". False, with nothing
    /// touched, when nothing has changed since the call that filled it, and without the option. Takes microseconds, and
    /// waits for nobody. From any thread between SetDirs and the destructor.
    bool GetFigures(SZelServerFigures& figures) const;

    /// Manual stepping. Before Run there is no processor: the first two do nothing and the third is false. Safe from
    /// any thread between Run and the destructor.
    void SetManualProceedQueue(bool manual);
    void ProceedQueue();
    [[nodiscard]] bool CanProceedQueue() const;

    /// Tells every registered client that data changed, and which palette groups follow from that; with no client the
    /// project is marked when its palette needs an update. For a client whose events file is locked or can't be written
    /// the events wait for the next events file that is written; groups wait for that client's next ones. An event that
    /// can't be written at all is dropped with a report; with ownLists (SZelServerOptions) what a client cannot be told
    /// now is told to it a little later, and nobody is waited for. Throws CComError: E_POINTER without a palette (or
    /// without a project that must be marked), or what these fail with; a palette that fails keeps no event from the
    /// clients.
    ///
    /// From any thread whose COM is initialised; calls wait for each other while they tell the clients. Palette,
    /// project and event are called before that, outside of all locks, so calls of several threads may ask them at
    /// once, and changes are told in order only within a thread. Takes up to some seconds for a client that holds a
    /// lock, but ends soon when the server stops; after that nobody is registered. A task may call this, too: a
    /// contained fault in what is called outside of locks costs later calls nothing. One in the server's own code (a
    /// stack that overflows) would leave the notifications locked.
    void OnChangedDs(IWQ_DsEventsData* events);
    /// Tells every registered client that results of locking changed. Threads and duration as above.
    void OnChangedLockResults();

    /// Path builders. Each takes a bare name or a full path, of which the final component counts.
    [[nodiscard]] CString GetFileInQueueFullPath(const CString& path) const;
    [[nodiscard]] CString GetFileInRequestDirFullPath(const CString& path) const;
    /// Per-client files; empty for the null GUID.
    [[nodiscard]] CString GetDsEventsFileFullPath(const GUID& clientId) const;
    [[nodiscard]] CString GetInsertableItemsChangeFile(const GUID& clientId) const;
    [[nodiscard]] CString GetLockResultsChangeFile(const GUID& clientId) const;

private:
    friend struct SServerTestAccess;

    struct SState;
    const std::unique_ptr<SState> m_pState; ///< never null
};
