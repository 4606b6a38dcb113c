#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "com/XmlLimits.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/// What becomes of a request whose run the end of a server has interrupted.
enum eInterrupted { eInterrupted_Rerun, eInterrupted_Fail };

/// Whether tasks run in processes of their own, each of which runs one request after the other. What a task does there
/// is the end of its request and never of the server: a fault, exit, abort, a damaged heap, a stack that overflows. A
/// task has no services of the host then (CZelProcessorContext::GetHostService), a plug-in that lives in the process of
/// the server serves no request, and what a task leaves in its process is not to be relied on. docs/isolation.md.
struct SZelIsolation {
    bool isOn = false;
    /// So many requests later the process is replaced. 0: never.
    unsigned recycle = 1000;
    /// In bytes: it is replaced, too, when it has more of it in memory after a request. 0: half of memoryLimit, if
    /// there is one.
    std::uint64_t recycleMemory = 0;
    /// In bytes, of a process: of address space, on Windows of committed memory. 0: any amount.
    std::uint64_t memoryLimit = 0;
    /// 0 to 19: the higher, the more it yields a busy processor to others.
    int nice = 0;
    /// Tasks write files in the output directory alone, open no sockets of the network, and make none of the calls of
    /// debuggers and administrators: as much of that as the kernel can, which the log tells. For Linux; elsewhere Run
    /// fails.
    bool sandbox = false;
    /// With sandbox: sockets of the network are opened.
    bool allowNetwork = false;
    /// The program of the process. Empty: zel-task-host beside the running program.
    CString program = {};

    bool operator==(const SZelIsolation&) const = default;
};

/// What a host may choose beside the file protocol. Left as they are, all of them keep the protocol as its oldest
/// clients know it; docs/server-options.md compares these defaults with those of zel-server.
/// A plain value: copied when it is given to the server, which later changes to it do not reach.
struct SZelServerOptions {
    /// Whether what is handed over is synced to the storage device, so that a power cut loses nothing.
    bool syncing = true;
    /// The queue advances only when ProceedQueue allows it, from the first request on. SetManualProceedQueue after Run
    /// says the same, when a request that lay there may run already.
    bool manual = false;
    /// A cancel means the request of that name only. Off: a name that does not wait cancels whatever runs.
    bool cancelByName = false;
    /// A pause takes requests only, by their extension. Off: any file of the request directory.
    bool requestsOnly = false;
    /// A paused request has a status file that says so, until it goes on, and a cancel removes it. Off: only the status
    /// of the command tells.
    bool pausedStatus = false;
    /// So many bytes of events may wait for a client that does not read, in its events file as in the server; more
    /// become one event of kind 2, "read everything again". At most kLargestEventsLimit counts. With any limit the ids
    /// of changed groups are bounded as well: more than 4,096 are written once each, more than 16,384 different ones
    /// become the null id, "everything may have changed". 0: no limit, as long as an archive takes them;
    /// docs/server-options.md tells what is lost from there on.
    std::uint64_t eventsLimit = 0;
    static constexpr std::uint64_t kLargestEventsLimit = std::uint64_t{255} << 20;
    /// What a client cannot be told at once waits in a list of its own, of events, groups and lock results alike, and
    /// is tried again some times a second; OnChangedDs and OnChangedLockResults wait for nobody. Events are added to a
    /// file without reading it, and a client that deletes its events file gets a new one. Each group stands once in a
    /// file. Without eventsLimit the largest one counts. Off: events wait in one list for all clients and groups for
    /// the client's next ones, and who holds a lock is waited for up to two seconds.
    bool ownLists = false;
    /// A client that kept a presence file (CZelProcessorClient::SetPresence) and does so no longer has died: its
    /// registration ends, and its files go. Looked for about once a second, but not where other
    /// machines may change the output directory, for their locks may not be seen; a client that never kept one stays.
    /// Off: a registration ends by a command alone.
    bool presence = false;
    /// What a request or command may be at most. Beyond it is refused with an error that names the limit. They hold for
    /// whatever the server's own threads read through CXMLTools, plug-ins on them included.
    SXmlLimits xmlLimits = {};
    /// How long what follows a contained crash of a task (the operator's answer, the crash report) may take before the
    /// process ends by the signal of the crash: a lock that the crash has left taken would have it wait for ever. 0: as
    /// long as it takes, for an operator may be asked.
    std::chrono::milliseconds crashReportTime{0};
    /// Owners of request files take turns: nobody waits for more than one request of each other user, nor for all the
    /// files that others put into the request directory. Off: first come, first served.
    bool takeTurns = false;
    /// How many requests of one user may wait, paused ones included. A further one ends at once with a server error
    /// that says so. 0: any number.
    std::size_t maxQueued = 0;
    /// How many clients one user may have registered. A further registration fails with a server error. 0: any number.
    std::size_t maxClients = 0;
    /// Status, response and event files are for the user alone who owns the request's or the command's file, and for
    /// the server's. The output directory must be able to: platform::Files().CanMakePrivate.
    bool privateFiles = false;
    /// A request or command that is a symbolic link is served with what the link leads to. Off: it is refused.
    bool followLinks = true;
    /// What is named like a request or command and can be none (a directory, a named pipe, a refused link, a name that
    /// leaves no room for that of its status) is told once, has a status that says so, and stays where it is. Off:
    /// directories are passed over, and the rest fails at every look.
    bool tellRefused = false;
    /// A request that fails ends with the reason: what is wrong with its document, which type of task is not served and
    /// which are, why a plug-in was left out, what a task says of itself (IWQ_ZELProcessorTaskError), the text of an
    /// exception. Plug-ins, their places and their words are then told to whoever may read the status. Off: general
    /// sentences, and the reasons in the log and on boxes alone.
    bool tellReasons = false;
    /// With tellReasons: what the host left out before the library saw it (a folder of plug-ins that is not to be
    /// trusted, a broken manifest; AddComponentFolder says which), each with its reason. Who asks for a type that is
    /// not served is told of these and of those that the library leaves out.
    std::vector<CString> leftOut = {};
    /// The log tells the way of each request and command, one line for each step: received, started, put off by its
    /// task (once), ended with type, status, time and bytes; what a command asked for and what came of it; who is
    /// registered and is no longer. A failure is of the level "error" with its reason, in the place of the report that
    /// a request failed and of the box that a command did. Off: the path of each request that is run, each time its
    /// task is asked, and these.
    bool tellStory = false;
    /// The last status of a request or command that could not be written, for whatever reason (a full disk, say), is
    /// written again, with pauses that grow to a minute, until it is there or the server stops, then for a second more:
    /// who waits for the end is told of it. Off: only one that somebody's hold or a link keeps from being written.
    bool retryLastStatus = false;
    /// SetDirs deletes nothing that is alive: what an earlier server left, however it ended, is taken over. Requests
    /// that waited or were paused do so again, those that ran are run again or fail, responses and last statuses wait
    /// for their clients, and who was registered is. What cannot be explained is moved into ".zel-server/lost+found" in
    /// the output directory. Wants pausedStatus: without, a paused request waits after a restart. Off: SetDirs deletes
    /// all files.
    bool resume = false;
    /// With resume: what becomes of a request that was running. With syncing, "fail" costs each run a sync.
    eInterrupted interrupted = eInterrupted_Rerun;
    /// With resume: so many servers may end while they run one and the same request; then it ends with a server error
    /// that says so. 0: any number.
    unsigned attempts = 3;
    /// The request directory is looked at even when the system tells of no change there: where other machines may
    /// change it, 50 ms after a change and less and less often to once a second; elsewhere when its time has changed,
    /// which is compared once a second. A file that is made and removed at the start shows whether changes are told; a
    /// directory of which they are not is listed as well, and the log says so. Off: what is not told is found with the
    /// next change that is.
    bool checkedWatch = false;
    /// Lists the request directory whatever its file system is, this long after a change and less and less often to
    /// once a second, or to this when it is longer. 0: as checkedWatch says.
    std::chrono::milliseconds poll{0};
    /// How long somebody who keeps a file open is waited for: by a look into the request directory, by all statuses of
    /// a request together, by each file of a client. A request or command that is held is passed over, others are
    /// served meanwhile, and it is taken when he lets go; a request's last status is written as soon as he does; what a
    /// client was to be told waits for the next change. 0: no longer than what is being closed takes, and a file of the
    /// output directory no longer than its readers need. Empty: as long as it takes.
    std::optional<std::chrono::milliseconds> patience = std::nullopt;
    /// A request or command that somebody keeps open for so long is told to the log, once, with who it is where the
    /// system tells. 0: never.
    std::chrono::milliseconds busyWarning = std::chrono::seconds(30);
    /// Responses and final statuses that nobody took for so long are removed, by an hour later. 0: none, before the
    /// next SetDirs.
    std::chrono::seconds keep{0};
    /// Called with failedContext, once, when the running server ended itself (CZelProcessorServer::HasFailed): on the
    /// thread that failed, without a lock. It must return soon, must not throw, and must not stop or destroy the
    /// server; it wakes whoever does. Null: nobody is told.
    void (*failed)(void* context) = nullptr;
    void* failedContext = nullptr;
    /// What the document element of a request says of its turn counts: Priority, a whole number from -100 to 100, 0
    /// without it (the higher one runs first; with takeTurns, of the requests of its owner), Client, see fair, and
    /// NotBefore, a time of ISO 8601 with its zone, until which it waits (paused and resumed it waits on), and
    /// TimeLimit, see timeLimit, and Attempts, a whole number from 1 to 100, how often it is run in all when its task
    /// crashes or takes too long, after pauses of 1 s, 2 s, 4 s to a minute. Read when it is queued, from the first 4
    /// KiB of a document without a type declaration, which costs each request the opening of its file; whatever else
    /// stands there, it is an ordinary request. Off: nobody reads them.
    bool requestAttributes = false;
    /// Among requests of equal priority the clients take turns, so that nobody's batch holds up another one's single
    /// request: those that the attribute Client names, else the owners of the files. Off: first come, first served.
    bool fair = false;
    /// Commands for the queue as a whole are taken: HoldQueue, after which nothing is started, and ReleaseQueue;
    /// MoveRequest, which changes the order of what waits; DrainServer, see drained; RetryFailed and DiscardFailed, see
    /// keepFailed. What runs goes on while the queue
    /// is held, and what comes waits. A queue that is held stays so over restarts, with resume or without it, by a
    /// file of the server's own folder (ZelProtocol::kHeldFile). They are for administrators, by the owner
    /// of the command's file, and others get a server error; where nobody but the server's account may write into the
    /// request directory, for whoever does, and for everybody where files have no owners. Off: these words are unknown,
    /// and a queue that an earlier server held runs.
    bool operatorCommands = false;
    /// With operatorCommands: called with drainedContext, once, when the server was told to drain (DrainServer) and has
    /// done so: it takes nothing more, and what ran has ended; without resume also what waited for its turn, for which
    /// a held queue has to be released. On a thread of the server's, without a lock; like failed it must return soon,
    /// must not throw, stop or destroy the server, but wakes whoever does. Null: DrainServer is an unknown word.
    void (*drained)(void* context) = nullptr;
    void* drainedContext = nullptr;
    /// How long a run may take, by a clock that nobody sets; a task that declines has a new run each time. Then the run
    /// is cancelled, it alone, and what ends it, if not its success or a cancel of a client, is a server error that
    /// says so. The TimeLimit of a request (requestAttributes), in seconds, counts where it is the smaller one. Looked
    /// at each second and at the limit of what runs: a limit below a second may come that much later. 0: none.
    std::chrono::milliseconds timeLimit{0};
    /// A task that does not look whether it is cancelled runs on, for nothing can end it but the end of the process.
    /// The log warns of it so long after its limit, and then each minute. With isolation its process is ended so long
    /// after the cancel, whoever it is of.
    std::chrono::milliseconds grace = std::chrono::seconds(5);
    /// A request whose task declines is asked for again after 10 ms, then after twice as long each time, to a good
    /// second; others run meanwhile, and it waits behind them. Off: at once, which costs a processor while it waits
    /// alone.
    bool retryBackOff = false;
    /// How many requests run at once, each on a thread of its own with plug-in objects of its own; at most kMostSlots
    /// count. With more than one, a request has a context of its own, which forwards to the host's what a task asks but
    /// keeps the cancel flag: the server sets none of the host's, and what the host sets itself cancels all requests. A
    /// cancel then means the request of its name alone, as with cancelByName. OnRequestDone is called by one thread at
    /// a time. Plug-ins are called on several threads at once, but those whose manifest names no threading model serve
    /// one request at a time.
    unsigned slots = 1;
    static constexpr unsigned kMostSlots = 64;
    /// With more than one slot: which request runs in which of them, and since when, is written to a small file of the
    /// server's own for each slot (ZelProtocol::kSlotsDirectory), once for each run, before it, for whoever lists what
    /// runs. Nothing depends on it. Off: nobody is told.
    bool tellSlots = false;
    /// The server counts what it does, for GetFigures. Costs a request some microseconds, and two looks at the length
    /// of a file. Off: it does not.
    bool figures = false;
    /// A request that failed, which is neither refused nor cancelled, is kept for so long in a directory of the
    /// server's own (ZelProtocol::kFailedDirectory), with the reason, the attempt and the path of a crash report beside
    /// it; of more than a thousand the oldest go first. It is gone for its client as any that failed; for an operator
    /// it can be run again or discarded (operatorCommands: RetryFailed, DiscardFailed). One of the same name that fails
    /// later takes its place. 0: its file is deleted.
    std::chrono::seconds keepFailed{0};

    /// Off: in the server's own process.
    SZelIsolation isolation = {};

    bool operator==(const SZelServerOptions&) const = default;
};
