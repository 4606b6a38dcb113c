#pragma once

#include <chrono>
#include <filesystem>

namespace zel {

/// What a Client is made of. Three directories, absolute or relative to the current one; nothing is checked or touched
/// before the first call that needs them.
struct Options {
    std::filesystem::path requests{}; ///< where the server takes requests from
    std::filesystem::path output{};   ///< where it puts statuses and responses
    /// For files on their way, on the volume of requests; a folder in it is made and removed. Empty: in requests.
    std::filesystem::path own{};

    /// What is handed over is on the storage device when send returns, so that a power cut loses nothing.
    bool syncing = true;
    /// The owner of requests may read what is sent, whatever the mask of this process (POSIX).
    bool allowReading = false;
    /// How long the server has for the answer to a command, and for taking a request that is to be cancelled.
    std::chrono::milliseconds commandTimeout{10'000};
    /// How long a wait for the end of a request, or for a change, goes on when the server is seen to be gone: then
    /// Code::noServer. 0: as long as its own time. A server that makes no claim (zel-server --strict does) is not
    /// missed.
    std::chrono::milliseconds serverAbsence{30'000};
    /// Other machines may change the directories: look also where the system tells of no change, every poll when it is
    /// not 0. Details: CZelProcessorClient::SetCheckedWatch.
    bool checkedWatch = false;
    std::chrono::milliseconds poll{0};
};

} // namespace zel
