#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstdint>
#include <vector>

/// Whether a server serves an output directory, by the lock that zel-server holds there for as long as its process
/// lives.
enum eZelServerPresence {
    /// Nobody can tell: the server makes no claim (a host of its own, which tells nothing of itself), its lock cannot
    /// be
    /// looked at, or lies where the locks of other machines may not be seen.
    eServerPresence_Unknown,
    eServerPresence_None,
    eServerPresence_Serves
};

/// One plug-in of a server.
struct SZelServerPlugin {
    CString name;
    CString module;                 ///< its path
    std::vector<CString> taskTypes; ///< empty when it does not tell them

    bool operator==(const SZelServerPlugin&) const = default;
};

/// What is known of a server: CZelProcessorClient::GetServerInfo. Times are seconds since 1970-01-01 UTC; 0 and empty
/// for what is not known.
struct SZelServerInfo {
    eZelServerPresence presence = eServerPresence_Unknown;
    std::uint32_t process = 0;
    std::int64_t started = 0;
    std::int64_t ended = 0; ///< of the last one, when none serves: when it stopped, or was seen alive last
    /// Of one that serves: when it showed life last, by the clock of the file system. zel-server does so every ten
    /// seconds; one that is stopped, or hangs in its file system, holds its lock and does not. 0 with --strict.
    std::int64_t seen = 0;
    bool hasStopped = false; ///< it said so itself; else it was killed, or the machine went down

    // What the server published; all of it empty when it published nothing, as with --strict, or not for this user.
    CString version;
    CString requestDir;           ///< the one that it takes requests from
    std::vector<CString> options; ///< in force, as words of a command line
    std::vector<SZelServerPlugin> plugins;
    std::vector<CString> leftOut; ///< plug-ins that are not used, with the reasons
    /// Words of commands that it takes beside those that every server does: SZelServerOptions::operatorCommands.
    std::vector<CString> commands;
    bool isHeld = false; ///< nothing is started until ReleaseQueue; by the server, or by the next one here

    bool operator==(const SZelServerInfo&) const = default;
};
