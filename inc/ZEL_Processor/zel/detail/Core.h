#pragma once

#include "ZEL_Processor/ZelProtocolNames.h"
#include "ZEL_Processor/zel/Options.h"
#include "ZEL_Processor/zel/Result.h"
#include "ZEL_Processor/zel/Status.h"
#include "ZEL_Processor/zel/detail/OwnFolder.h"
#include "ZEL_Processor/zel/detail/Reports.h"
#include "ZEL_Processor/zel/detail/Text.h"
#include "ZEL_Processor/zel/detail/WatchPool.h"
#include "platform/Os.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

/// No part of what zel promises.
namespace zel::detail {

/// What is left of a time-out; a long one is cut to ten years, so that no sum of times overflows.
class Deadline {
public:
    explicit Deadline(std::chrono::milliseconds time)
        : m_end(std::chrono::steady_clock::now() + std::min<std::chrono::milliseconds>(time, kLongest))
    {}
    [[nodiscard]] std::chrono::milliseconds left() const
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_end - std::chrono::steady_clock::now());
        return std::max(left, std::chrono::milliseconds(0));
    }
    [[nodiscard]] bool isOver() const { return left() == std::chrono::milliseconds(0); }

private:
    static constexpr std::chrono::hours kLongest{24 * 3650};

    std::chrono::steady_clock::time_point m_end;
};

/// A client's options with its directories as the library wants them, and a folder of its own.
struct Place {
    explicit Place(const Options& given)
        : options(given),
          requests(directory(given.requests)),
          output(directory(given.output)),
          folder(given.own.empty() ? requests : directory(given.own))
    {}
    void prepare(CZelProcessorClient& client)
    {
        client.Init(requests, output, folder.path());
        client.SetSyncing(options.syncing);
        client.SetAllowReading(options.allowReading);
        client.SetCommandTimeout(options.commandTimeout);
        client.SetYields(true);
        client.SetCheckedWatch(options.checkedWatch, options.poll);
    }

    const Options options;
    const std::wstring requests;
    const std::wstring output;
    OwnFolder folder;
    const ReportingUse reporting;
};

/// Words and why the client's last call failed: the file, and what the system or the server said of it.
[[nodiscard]] inline std::string whyFailed(const std::string& words, const CZelProcessorClient& client,
                                           const Reports& reports)
{
    const CString why = client.GetLastErrorText();
    return why.empty() ? reports.behind(words) : words + ": " + platform::ToUtf8(why);
}

/// What a Client and its Requests share. Safe from any thread.
class Core {
public:
    explicit Core(const Options& given) : place(given), watches(client, place.output)
    {
        place.prepare(client);
        client.SetGoOn([this] { return !isStopped(); });
    }
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    void stop()
    {
        m_stopped = true;
        watches.stop();
    }
    [[nodiscard]] bool isStopped() const { return m_stopped; }
    [[nodiscard]] static Error stopped() { return {Code::stopped, "the client was stopped"}; }

    /// One that cannot be read has the reason in its comment.
    [[nodiscard]] Status status(const std::wstring& name);
    [[nodiscard]] std::wstring inRequests(const std::wstring& name) const
    {
        return platform::JoinPath(place.requests, name);
    }
    [[nodiscard]] std::wstring inQueue(const std::wstring& name) const
    {
        return platform::JoinPath(platform::JoinPath(place.output, ZelProtocol::kQueueDirectory), name);
    }
    [[nodiscard]] std::wstring response(const std::wstring& name) const
    {
        return platform::JoinPath(place.output, name);
    }
    [[nodiscard]] std::wstring statusFile(const std::wstring& name) const
    {
        return response(name) + ZelProtocol::kStatusExtension;
    }
    [[nodiscard]] static bool exists(const std::wstring& path)
    {
        std::error_code ignored;
        return std::filesystem::exists(std::filesystem::symlink_status(pathOf(path), ignored));
    }
    /// One that somebody has open just now is tried again for a second.
    static void removeWhenFree(const std::wstring& path)
    {
        constexpr std::chrono::milliseconds kLook{5};
        const Deadline deadline(std::chrono::seconds(1));
        while (platform::Files().Remove(path) == platform::eOsError_SharingViolation && !deadline.isOver())
            platform::Clock().SleepFor(kLook);
    }

    Place place; // goes last: the client may need the folder in its end
    CZelProcessorClient client;
    WatchPool watches;

private:
    std::atomic<bool> m_stopped = false;
};

/// A client for one call: why that failed is its own reason, whatever other threads do meanwhile. On the stack only.
class Call {
public:
    explicit Call(Core& core)
    {
        core.place.prepare(m_client);
        m_client.SetGoOn([&core] { return !core.isStopped(); });
    }
    [[nodiscard]] CZelProcessorClient* operator->() { return &m_client; }
    [[nodiscard]] std::string why(const std::string& words) const { return whyFailed(words, m_client, m_reports); }

private:
    const Reports m_reports;
    CZelProcessorClient m_client;
};

inline Status Core::status(const std::wstring& name)
{
    CZelProcessorClient::CAdditionalRequestStatus more;
    {
        const Reports reports;
        const eZelProcRequestStatus state = client.GetStatus(name, &more);
        if (state != eRequestStatus_ClientError)
            return toStatus(state, more);
    }
    Call call(*this);
    const eZelProcRequestStatus state = call->GetStatus(name, &more);
    Status status = toStatus(state, more);
    if (status.state == State::clientError)
        status.comment = call.why("the status cannot be read");
    return status;
}

/// Whether a server is there that could do what a wait waits for.
class Presence {
public:
    explicit Presence(Core& core) : m_core(core), m_absence(core.place.options.serverAbsence) {}
    /// How long the wait may sleep before it asks again.
    [[nodiscard]] std::chrono::milliseconds slice(const Deadline& deadline) const
    {
        return isNeverMissed() ? deadline.left() : std::min(kLook, deadline.left());
    }
    /// Looks now and then, so that a short wait costs nothing. False when none was there for as long as the options
    /// say.
    [[nodiscard]] bool canCome()
    {
        const auto now = std::chrono::steady_clock::now();
        if (isNeverMissed() || now < m_nextLook)
            return true;
        m_nextLook = now + kLook;
        const Reports reports;
        if (m_core.client.GetServerInfo().presence != eServerPresence_None)
            m_missingSince.reset();
        else if (!m_missingSince)
            m_missingSince = now;
        return !m_missingSince || now - *m_missingSince < m_absence;
    }
    [[nodiscard]] Error missing() const
    {
        return {Code::noServer, "no server served '" + platform::ToUtf8(m_core.place.output) + "' for " +
                                    std::to_string(m_absence.count()) + " ms"};
    }

private:
    static constexpr std::chrono::milliseconds kLook{500};

    [[nodiscard]] bool isNeverMissed() const { return m_absence == std::chrono::milliseconds::zero(); }

    Core& m_core;
    const std::chrono::milliseconds m_absence;
    std::chrono::steady_clock::time_point m_nextLook = std::chrono::steady_clock::now() + kLook;
    std::optional<std::chrono::steady_clock::time_point> m_missingSince;
};

/// The end of a request as a result: the status of one that is done, or why it is not.
[[nodiscard]] inline Result<Status> endOf(const Status& status)
{
    const auto fail = [&status](Code code, const char* words) {
        return Error{code, status.comment.empty() ? words : status.comment};
    };
    switch (status.state) {
    case State::done: return status;
    case State::canceled: return fail(Code::canceled, "the request was cancelled");
    case State::serverError: return fail(Code::failed, "the request failed");
    case State::serverTimeout: return fail(Code::noAnswer, "the server did not answer in time");
    case State::notRequested: return fail(Code::unknownRequest, "there is no such request");
    case State::clientError: return fail(Code::fileError, "the status cannot be read");
    default: return Error{Code::notEnded, "the request has not ended: " + std::string(nameOf(status.state))};
    }
}

/// Sleeps until a request has ended.
[[nodiscard]] inline Result<Status> waitForEnd(Core& core, WatchPool::Lease& watch, const std::wstring& name,
                                               const Deadline& deadline)
{
    const Reports reports;
    Presence server(core);
    for (;;) {
        CZelProcessorClient::CAdditionalRequestStatus more;
        const eZelProcRequestStatus state = watch->WaitForEnd(name, server.slice(deadline), &more);
        // What cannot be read is looked at once more, for the reason.
        const Status status = state == eRequestStatus_ClientError ? core.status(name) : toStatus(state, more);
        if (status.hasEnded())
            return endOf(status);
        if (core.isStopped())
            return Core::stopped();
        if (deadline.isOver())
            return Error{Code::timeout,
                         "the request has not ended in time: " + std::string(nameOf(static_cast<State>(state)))};
        if (!server.canCome())
            return server.missing();
    }
}

} // namespace zel::detail
