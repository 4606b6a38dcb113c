#pragma once

#include "com/XmlLimits.h"

#include <chrono>
#include <cstddef>
#include <cstdint>

/// What a host may choose beside the file protocol. Left as they are, all of them keep the protocol as its oldest
/// clients know it; docs/server-options.md compares these defaults with those of zel-server.
/// A plain value: copied when it is given to the server, which later changes to it do not reach.
struct SZelServerOptions {
    /// Whether what is handed over is synced to the storage device, so that a power cut loses nothing.
    bool syncing = true;
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
    /// How long somebody who keeps a file open is waited for, in milliseconds: by a look into the request directory, by
    /// all statuses of a request together, by each file of a client. A request or command that is held is passed over
    /// and met again; a request's last status is written as soon as he lets go; what a client was to be told waits for
    /// the next change. 0: as long as it takes.
    unsigned patienceMs = 0;
    /// Called with failedContext, once, when the running server ended itself (CZelProcessorServer::HasFailed): on the
    /// thread that failed, without a lock. It must return soon, must not throw, and must not stop or destroy the
    /// server; it wakes whoever does. Null: nobody is told.
    void (*failed)(void* context) = nullptr;
    void* failedContext = nullptr;

    bool operator==(const SZelServerOptions&) const = default;
};
