#pragma once

#include "ZEL_Processor/zel/detail/Follower.h"
#include "ZEL_Processor/zel/detail/Steering.h"

#include <memory>
#include <span>

namespace zel {

namespace detail {

/// A client's parts: the thread of its callbacks goes before what that uses.
struct Parts {
    explicit Parts(const Options& options) : core(options), follower(core) {}

    Core core;
    Follower follower;
};

/// Somebody is told of a request for as long as this lives.
class Following {
public:
    Following(std::shared_ptr<Parts> parts, std::shared_ptr<Follower::Entry> entry)
        : m_parts(std::move(parts)), m_entry(std::move(entry))
    {}
    ~Following() { m_parts->follower.unfollow(m_entry); }
    Following(const Following&) = delete;
    Following& operator=(const Following&) = delete;

private:
    std::shared_ptr<Parts> m_parts;
    std::shared_ptr<Follower::Entry> m_entry;
};

} // namespace detail

/// One request, known by its name. Made by Client; destroying it does nothing to the request itself. It may outlive its
/// client, which ends its waits and callbacks. Not for two threads at once; several objects may stand for one request.
class Request {
public:
    Request(std::shared_ptr<detail::Parts> parts, std::wstring name)
        : m_parts(std::move(parts)), m_name(std::move(name))
    {}

    /// The file name, UTF-8.
    [[nodiscard]] std::string name() const { return platform::ToUtf8(m_name); }

    /// Where it is now; reads a file or two.
    [[nodiscard]] Status status() const { return m_parts->core.status(m_name); }

    /// Sleeps until the request has ended, for time at most; with 0 it only looks. The status of one that is done; else
    /// Code::canceled, failed (with the server's reason), unknownRequest, noAnswer, fileError, timeout,
    /// noServer or stopped.
    [[nodiscard]] Result<Status> wait(std::chrono::milliseconds time) const
    {
        const detail::Deadline deadline(time);
        detail::WatchPool::Lease watch(m_parts->core.watches);
        return detail::waitForEnd(m_parts->core, watch, m_name, deadline);
    }

    /// Asks the server to cancel it, once the server has taken it, and returns when the server has answered: the
    /// request ends when its task looks, so wait for that. Code::unknownRequest, hasEnded, noAnswer, refused,
    /// fileError, stopped: nothing was cancelled, or, after noAnswer and stopped, it may still be. A server without
    /// cancelByName (SZelServerOptions; zel-server has it) cancels another request when this one ends just then.
    Result<void> cancel() const { return detail::cancel(m_parts->core, m_name); }
    /// Keeps it from starting. Nothing when it is paused; Code::hasStarted when it runs; else as cancel. A server
    /// without pausedStatus (SZelServerOptions; zel-server has it) shows one that is paused as waiting, and a second
    /// pause there is a resume.
    Result<void> pause() const { return detail::pause(m_parts->core, m_name); }
    /// Lets a paused one start as the next. Code::notPaused when it is not known as paused; else as cancel.
    Result<void> resume() const { return detail::resume(m_parts->core, m_name); }

    /// Moves the response of one that is done to target (a file, which is replaced, or a folder that is there), on any
    /// volume, and frees the name. Elsewhere than on the volume of the output directory it is copied, is whole there
    /// before the response goes, and with syncing on the storage device; what others could not read they cannot read
    /// there (POSIX). Code::notEnded, fileError, stopped, or as wait. After a failure the response is still there.
    Result<void> receive(const std::filesystem::path& target) const
    {
        return detail::receive(m_parts->core, m_name, target);
    }
    /// Removes response and status of one that has ended, however it did, so that the name is free. Nothing when there
    /// is none. Code::notEnded, fileError, stopped.
    Result<void> forget() const { return detail::forget(m_parts->core, m_name); }

    /// Has callback told the status now, and whenever it changed, until it has ended. On the thread of the client that
    /// is there for that, one call at a time for all requests of the client; so it returns soon, and may use Requests
    /// (this one, too), but not destroy the Client or wait for another callback. It must not throw; one that does is
    /// reported and not called again. Replaces an earlier callback; an empty one ends the telling. Quick changes may be
    /// told as one. Code::stopped, systemError (no thread is to be had); then nobody is told.
    ///
    /// When this returns, and when the Request is destroyed or assigned to, the earlier callback does not run and will
    /// not: a call that is under way is waited for, so hold no lock then that the callback takes. In the callback
    /// itself nobody waits.
    Result<void> onChange(std::function<void(const Status&)> callback)
    {
        m_following.reset();
        if (!callback)
            return {};
        const auto entry =
            std::make_shared<detail::Follower::Entry>(detail::Follower::Entry{m_name, std::move(callback), {}});
        m_following = std::make_unique<detail::Following>(m_parts, entry);
        // From here on a callback may end this object.
        const std::shared_ptr<detail::Parts> parts = m_parts;
        return parts->follower.follow(entry);
    }

private:
    friend Result<std::size_t> waitAny(std::span<const Request> requests, std::chrono::milliseconds time);

    std::shared_ptr<detail::Parts> m_parts;
    std::wstring m_name;
    std::unique_ptr<detail::Following> m_following;
};

/// Sleeps until one of the requests, all of one client, has ended, however it did: the index of the first such; one
/// that ended before, or is unknown, counts. Code::timeout, noServer, stopped, badArgument (none, or of several
/// clients).
[[nodiscard]] inline Result<std::size_t> waitAny(std::span<const Request> requests, std::chrono::milliseconds time)
{
    const detail::Deadline deadline(time);
    for (const Request& request : requests) {
        if (request.m_parts != requests.front().m_parts)
            return Error{Code::badArgument, "the requests are those of several clients"};
    }
    if (requests.empty())
        return Error{Code::badArgument, "there is no request to wait for"};
    detail::Core& core = requests.front().m_parts->core;
    detail::WatchPool::Lease watch(core.watches);
    detail::Presence server(core);
    for (;;) {
        const bool isLast = deadline.isOver();
        for (std::size_t index = 0; index < requests.size(); ++index) {
            if (requests[index].status().hasEnded())
                return index;
        }
        if (core.isStopped())
            return detail::Core::stopped();
        if (isLast)
            return Error{Code::timeout, "none of the requests has ended in time"};
        if (!server.canCome())
            return server.missing();
        // Now and then also without a change: nobody tells of a request that is taken out of the queue unseen.
        const detail::Reports reports;
        static_cast<void>(
            watch->WaitForChange(std::min<std::chrono::milliseconds>(deadline.left(), std::chrono::seconds(1))));
    }
}

/// Sleeps until all have ended, however they did: their statuses, in order. Code::timeout, noServer, stopped. They may
/// be of several clients.
[[nodiscard]] inline Result<std::vector<Status>> waitAll(std::span<const Request> requests,
                                                         std::chrono::milliseconds time)
{
    const detail::Deadline deadline(time);
    std::vector<Status> statuses;
    for (const Request& request : requests) {
        const Result<Status> end = request.wait(deadline.left());
        if (end.code() == Code::timeout || end.code() == Code::noServer || end.code() == Code::stopped)
            return end.error();
        statuses.push_back(end ? *end : request.status());
    }
    return statuses;
}

} // namespace zel
