#pragma once

#include "ZEL_Processor/ZelServerOptions.h"
#include "framework/Log.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

enum eServiceAction { eServiceAction_None, eServiceAction_Install, eServiceAction_Remove, eServiceAction_Run };

struct SServerOptions {
    std::wstring configFile;             ///< from which these are as well; empty: none
    std::vector<std::wstring> arguments; ///< with a file: those that were named beside it, and it
    std::wstring requestDir;
    std::wstring outputDir;
    bool createDirs = false;
    bool adopt = false;
    bool shareRequests = false;
    std::vector<std::wstring> componentFolders;
    bool check = false; ///< say what a start would do, and end
    bool manual = false;
    bool noExecutive = false;
    bool noSync = false;
    bool strict = false;
    bool drain = false;    ///< have the server end that has the directories, and do nothing else
    bool takeOver = false; ///< have it end, and serve in its place
    bool resume = false;
    eInterrupted interrupted = eInterrupted_Rerun;
    unsigned attempts = SZelServerOptions().attempts;
    std::optional<unsigned> eventsLimitMiB; ///< 0: no limit; when not given see EventsLimit
    bool oneList = false;
    bool noPresence = false;
    bool fair = false;
    unsigned slots = 1; ///< how many requests run at once; 0: as many as there are processors
    SXmlLimits xmlLimits;
    /// 0 for any time; empty: the variable's, or the usual one
    std::optional<std::chrono::milliseconds> queryTimeLimit;
    std::optional<unsigned> maxQueued;  ///< of one user; 0 for any number
    std::optional<unsigned> maxClients; ///< of one user; 0 for any number
    std::optional<unsigned> pollMs;     ///< 0 or empty: where the file system needs it
    /// with who keeps a file open; empty: none, or, when strict, any
    std::optional<std::chrono::milliseconds> patience;
    std::optional<std::chrono::milliseconds> busyWarning; ///< 0 for none
    std::optional<std::chrono::milliseconds> timeLimit;   ///< of a run; 0 or empty: none
    std::optional<std::chrono::milliseconds> grace;       ///< after that, before the log warns
    std::optional<std::chrono::milliseconds> stopTimeout; ///< 0 or empty: none
    bool isolate = false;
    unsigned recycle = SZelIsolation().recycle; ///< of requests that a process of tasks runs; 0: any number
    unsigned recycleMemoryMiB = 0;              ///< in the memory of such a process; 0: half of its limit
    unsigned memoryLimitMiB = 0;                ///< of such a process; 0: none
    unsigned nice = 0;                          ///< of such a process
    bool sandbox = false;                       ///< around such a process
    bool allowNetwork = false;                  ///< in it
    unsigned keepDays = 0;                      ///< 0: for ever
    unsigned keepFailedDays = 0;                ///< 0: not at all
    bool privateFiles = false;
    bool followLinks = false;
    Brel::Log::eLogLevel logLevel = Brel::Log::eLogLevel_Info;
    std::wstring logFile;
    unsigned logSizeMiB = 0; ///< 0: the file grows without limit
    bool logJson = false;
    std::wstring metricsFile; ///< empty: none
    std::wstring pageDir;     ///< empty: none
    eServiceAction service = eServiceAction_None;
    std::wstring serviceName;

    bool operator==(const SServerOptions&) const = default;
};

/// Empty when the server is to start; else the program's exit code, with everything said.
[[nodiscard]] std::optional<int> ParseServerOptions(const std::vector<std::wstring>& arguments,
                                                    SServerOptions& options);

/// Reads the file of these options again. Empty, or what is wrong: then nothing was read.
[[nodiscard]] std::wstring ReadServerOptionsAgain(const SServerOptions& options, SServerOptions& read);

/// The bytes of events that may wait for a client, 0 without a limit: what was named, else 16 MiB, or, when strict, no
/// limit.
[[nodiscard]] std::uint64_t EventsLimit(const SServerOptions& options);

/// What an installed service is started with; with a file, whatever then stands in it.
[[nodiscard]] std::vector<std::wstring> ServiceArguments(const SServerOptions& options);

/// Arguments that are parsed to these options again, in whatever directory the program then is.
[[nodiscard]] std::vector<std::wstring> ServerArguments(const SServerOptions& options);

/// The options, as "--name", that are not the same in both.
[[nodiscard]] std::vector<std::wstring> DifferentOptions(const SServerOptions& left, const SServerOptions& right);
