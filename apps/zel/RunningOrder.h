#pragma once

#include "platform/FileSystem.h"

#include <cstdint>
#include <string>
#include <vector>

/// A request that waits in the queue, as its file tells.
struct SWaitingRequest {
    std::wstring name;
    std::int64_t arrival = 0;
    platform::FileOwner owner = {};
    int priority = 0;
    bool isLater = false; ///< its time has not come, so that it has no place

    friend bool operator==(const SWaitingRequest&, const SWaitingRequest&) = default;
};

/// In the order of their arrival, as a server runs them that keeps to the protocol alone.
void SortByArrival(std::vector<SWaitingRequest>& requests);

/// As a server runs them whose users take turns, and whose requests say how urgent they are among those of their user:
/// whose turn it is, it does not tell, so that whoever came first counts as first.
void SortByTurns(std::vector<SWaitingRequest>& requests);
