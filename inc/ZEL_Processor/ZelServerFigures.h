#pragma once

#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelTypes.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

/// What a server with the option "figures" has counted, and what it does just now: CZelProcessorServer::GetFigures.
/// Plain values. Times are those of a steady clock, like SZelServerFigures::now; texts of others are cut.

/// How long something took, counted by limits; what was longer than the last one is counted behind them.
struct SZelTimes {
    static constexpr std::array<std::chrono::milliseconds::rep, 20> kLimitsMs = {
        1,    2,    5,     10,    20,    50,     100,    200,    500,     1000,
        2000, 5000, 10000, 30000, 60000, 120000, 300000, 600000, 1800000, 3600000};

    std::array<std::uint64_t, kLimitsMs.size() + 1> counts{}; ///< of each alone
    std::chrono::nanoseconds sum{0};

    void Add(std::chrono::nanoseconds time);
    bool operator==(const SZelTimes&) const = default;
};

inline void SZelTimes::Add(std::chrono::nanoseconds time)
{
    std::size_t place = 0;
    while (place < kLimitsMs.size() && time > std::chrono::milliseconds(kLimitsMs[place]))
        ++place;
    ++counts[place];
    sum += time;
}

/// How requests of one type of task have ended.
struct SZelTypeFigures {
    CString type; ///< empty: not known, for they were not run so far
    std::uint64_t done = 0;
    std::uint64_t failed = 0;
    std::uint64_t canceled = 0;
};

/// A request that runs.
struct SZelRunningFigures {
    std::size_t slot = 0;  ///< from 1
    std::uint64_t run = 0; ///< no other run has this number
    CString name;          ///< of its file
    CString type;          ///< empty: not known yet
    CString client;        ///< what its attribute Client says
    std::chrono::nanoseconds since{0};
    std::int32_t percent = -1; ///< -1: none was told
    CString comment;
};

/// A request that waits, or is paused.
struct SZelWaitingFigures {
    CString name;
    CString client;
    std::int32_t priority = 0;
    std::chrono::nanoseconds since{0}; ///< the server took it; or took it over, at its start
};

/// A request that has ended.
struct SZelEndedFigures {
    CString name;
    CString type; ///< empty: not known
    std::chrono::nanoseconds when{0};
    std::chrono::nanoseconds waited{0};                           ///< until its last run began
    std::chrono::nanoseconds ran{0};                              ///< the last time
    eZelProcRequestStatus outcome = eRequestStatus_NotIntialized; ///< Done, ServerError or Canceled
    CString reason;                                               ///< of a failure
};

struct SZelClientFigures {
    CString id;
    std::chrono::nanoseconds since{0};
};

struct SZelServerFigures {
    /// So many of what there may be any number of are listed.
    static constexpr std::size_t kMostListed = 50;
    /// Of types; what others there are is counted under kOtherTypes.
    static constexpr std::size_t kMostTypes = 40;
    static constexpr const wchar_t* kOtherTypes = L"other";
    /// In characters.
    static constexpr std::size_t kLongestText = 200;

    std::uint64_t changes = 0; ///< grows with all that is told here but scans
    std::chrono::nanoseconds now{0};

    // Since SetDirs.
    std::vector<SZelTypeFigures> types;
    SZelTimes waiting; ///< of what was run, until the run that ended it began
    SZelTimes running; ///< of the run that ended it
    std::uint64_t received = 0;
    std::uint64_t refused = 0;      ///< before they waited, by a limit or for what they are
    std::uint64_t events = 0;       ///< changes of data that clients were to be told
    std::uint64_t bytesRead = 0;    ///< of requests that were run
    std::uint64_t bytesWritten = 0; ///< of responses
    std::uint64_t taskHostRestarts = 0;
    std::uint64_t scans = 0; ///< of the request directory

    // Now. The lists of waiting and paused ones begin with the next ones.
    std::size_t slots = 1;
    std::size_t waitingCount = 0;
    std::size_t pausedCount = 0;
    std::size_t clientCount = 0;
    bool isHeld = false;
    std::vector<SZelRunningFigures> runs;
    std::vector<SZelWaitingFigures> firstWaiting;
    std::vector<SZelWaitingFigures> paused;
    std::vector<SZelClientFigures> clients;
    std::vector<SZelEndedFigures> ended;  ///< the last ones, the latest first
    std::vector<SZelEndedFigures> failed; ///< the same of those that failed
};
