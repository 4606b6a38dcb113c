#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "platform/Text.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zel {

/// Where a request is. The numbers are those of the file protocol (eZelProcRequestStatus).
enum class State : std::int32_t {
    unknown = -1,      ///< it has started or ended, and its status is not written yet
    clientError = 0,   ///< the status cannot be read
    serverError = 1,   ///< it failed; the comment has the reason
    serverTimeout = 2, ///< the server did not answer in time
    sent = 3,          ///< handed over
    notRequested = 4,  ///< no such request is known
    waiting = 5,       ///< in the queue, or on its way there
    started = 6,       ///< taken out of the queue
    parsing = 7,       ///< the request is being read
    calculating = 8,   ///< its task computes
    gettingData = 9,   ///< its task obtains data
    preparing = 10,    ///< the response is being written
    canceled = 11,     ///< it was cancelled
    paused = 12,       ///< waits until it is resumed
    done = 13          ///< the response is there
};

/// A word for each, the same in all versions: "done", "server-error"; for logs and scripts.
[[nodiscard]] constexpr std::string_view nameOf(State state) noexcept
{
    switch (state) {
    case State::unknown: return "unknown";
    case State::clientError: return "client-error";
    case State::serverError: return "server-error";
    case State::serverTimeout: return "server-timeout";
    case State::sent: return "sent";
    case State::notRequested: return "not-requested";
    case State::waiting: return "waiting";
    case State::started: return "started";
    case State::parsing: return "parsing";
    case State::calculating: return "calculating";
    case State::gettingData: return "getting-data";
    case State::preparing: return "preparing";
    case State::canceled: return "canceled";
    case State::paused: return "paused";
    case State::done: return "done";
    }
    return "unknown";
}

/// What is known of a request at one moment.
struct Status {
    State state = State::unknown;
    std::optional<int> percent; ///< 0 to 100, when the task tells
    std::string comment;        ///< words of the server or the task, in the server's language; or why it cannot be read
    /// When the status was written, in whole seconds; none while there is none.
    std::optional<std::chrono::system_clock::time_point> changed;

    /// Nothing more comes: done, cancelled, failed, or no such request.
    [[nodiscard]] bool hasEnded() const noexcept
    {
        return state == State::done || state == State::canceled || state == State::clientError ||
               state == State::serverError || state == State::serverTimeout || state == State::notRequested;
    }
    /// Started and not at its end.
    [[nodiscard]] bool isRunning() const noexcept
    {
        return !hasEnded() && state != State::waiting && state != State::paused && state != State::sent;
    }
    friend bool operator==(const Status&, const Status&) = default;
};

namespace detail {

[[nodiscard]] inline Status toStatus(eZelProcRequestStatus state,
                                     const CZelProcessorClient::CAdditionalRequestStatus& more)
{
    Status status;
    status.state = static_cast<State>(state);
    if (long percent = -1; more.GetProgress(percent) == 1 && percent >= 0)
        status.percent = static_cast<int>(percent);
    status.comment = platform::ToUtf8(more.GetProgressComment());
    if (CTime written; more.GetTileModifyed(written) == 1)
        status.changed = std::chrono::system_clock::time_point(std::chrono::seconds(written.GetTime()));
    return status;
}

} // namespace detail
} // namespace zel
