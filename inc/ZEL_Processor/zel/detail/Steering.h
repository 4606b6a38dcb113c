#pragma once

#include "ZEL_Processor/zel/Session.h"
#include "ZEL_Processor/zel/detail/Copying.h"

/// Commands, and what becomes of a response. No part of what zel promises.
namespace zel::detail {

[[nodiscard]] inline Error noServer(const Core& core)
{
    return {Code::noAnswer, "no server answered in '" + platform::ToUtf8(core.place.requests) + "' within " +
                                std::to_string(core.place.options.commandTimeout.count()) + " ms"};
}

/// One command and its answer.
template <class Command>
[[nodiscard]] Result<void> command(Core& core, const Command& give)
{
    const Session session;
    if (!session)
        return Error{Code::systemError, "COM cannot be initialised on this thread"};
    if (Result<void> made = core.place.folder.makeOwned(); !made)
        return made;
    Call call(core);
    switch (give(call)) {
    case eRequestStatus_Done: return {};
    case eRequestStatus_NotIntialized: return Core::stopped();
    case eRequestStatus_ServerTimeout: return noServer(core);
    case eRequestStatus_ServerError: return Error{Code::refused, call.why("the server refused the command")};
    default: return Error{Code::fileError, call.why("the command was not handed over")};
    }
}

/// A request that can be steered: known, and not at its end.
[[nodiscard]] inline Result<Status> steerable(Core& core, const std::wstring& name)
{
    const Status status = core.status(name);
    if (status.state == State::notRequested || status.state == State::clientError)
        return endOf(status).error();
    if (status.hasEnded())
        return Error{Code::hasEnded, "the request has ended: " + std::string(nameOf(status.state))};
    return status;
}

/// A server that keeps to the protocol alone cancels whatever runs when the name does not wait: it must not be asked
/// about a request that it has not taken yet.
[[nodiscard]] inline Result<void> waitUntilTaken(Core& core, const std::wstring& name)
{
    constexpr std::chrono::milliseconds kLook{20};
    const Deadline deadline(core.place.options.commandTimeout);
    if (!Core::exists(core.inRequests(name)))
        return {};
    const Reports reports;
    WatchPool::Lease watch(core.watches);
    while (Core::exists(core.inRequests(name))) {
        if (core.isStopped())
            return Core::stopped();
        if (deadline.isOver())
            return noServer(core);
        static_cast<void>(watch->WaitForEnd(name, std::min(kLook, deadline.left()), nullptr));
    }
    return {};
}

[[nodiscard]] inline Result<void> cancel(Core& core, const std::wstring& name)
{
    if (const Result<Status> before = steerable(core, name); !before)
        return before.error();
    if (Result<void> taken = waitUntilTaken(core, name); !taken)
        return taken;
    if (const Result<Status> now = steerable(core, name); !now)
        return now.error();
    return command(core, [&](Call& call) { return call->CancelRequest(name); });
}

[[nodiscard]] inline Result<void> pause(Core& core, const std::wstring& name)
{
    const Result<Status> status = steerable(core, name);
    if (!status)
        return status.error();
    if (status->state == State::paused)
        return {};
    if (status->isRunning())
        return Error{Code::hasStarted, "the request runs already"};
    return command(core, [&](Call& call) { return call->PauseRequest(name); });
}

[[nodiscard]] inline Result<void> resume(Core& core, const std::wstring& name)
{
    const Result<Status> status = steerable(core, name);
    if (!status)
        return status.error();
    if (status->state != State::paused)
        return Error{Code::notPaused, "the request is not paused: " + std::string(nameOf(status->state))};
    return command(core, [&](Call& call) { return call->PauseRequest(name); });
}

/// Removes what is left of a request that has ended.
[[nodiscard]] inline Result<void> forget(Core& core, const std::wstring& name)
{
    Call call(core);
    const auto state = static_cast<State>(call->ForgetRequest(name));
    if (state == State::clientError)
        return Error{Code::fileError, call.why("the files of the request cannot be removed")};
    if (core.isStopped() && state == State::unknown)
        return Core::stopped();
    if (!Status{.state = state, .percent = {}, .comment = {}, .changed = {}}.hasEnded())
        return Error{Code::notEnded, "the request has not ended: " + std::string(nameOf(state))};
    return {};
}

/// To another volume. The response goes when it is there.
[[nodiscard]] inline Result<void> receiveByCopy(Core& core, const std::wstring& name, const std::wstring& target)
{
    if (Result<void> copied = copyAcross(core, core.response(name), target); !copied)
        return copied;
    return forget(core, name);
}

[[nodiscard]] inline Result<void> receive(Core& core, const std::wstring& name, std::filesystem::path target)
{
    if (const Result<Status> ended = endOf(core.status(name)); !ended)
        return ended.error();
    if (!Core::exists(core.response(name)))
        return Error{Code::unknownRequest,
                     "the request is done, and there is no '" + platform::ToUtf8(core.response(name)) + "'"};
    std::error_code ignored;
    if (std::filesystem::is_directory(target, ignored))
        target /= pathOf(name);
    const std::wstring path = platform::AbsolutePath(wide(target));
    {
        const Reports reports;
        if (core.client.ReceiveOutput(name, path))
            return {};
    }
    if (core.isStopped())
        return Core::stopped();
    return receiveByCopy(core, name, path);
}

} // namespace zel::detail
