#pragma once

#include "ZEL_Processor/zel/Listener.h"
#include "ZEL_Processor/zel/Request.h"
#include "ZEL_Processor/zel/ServerInfo.h"
#include "ZEL_Processor/zel/detail/Sending.h"
#include "ZEL_Processor/zel/detail/Serving.h"

namespace zel {

namespace detail {
struct Access; // of the library itself
} // namespace detail

/// The text of a request, UTF-8.
struct Text {
    std::string xml;
};

/// The application's side of a server: sends requests, and listens for changes in the data. Beneath lie
/// CZelProcessorClient and CZelRequestWatch.
///
/// Safe from any thread; each call works on the caller's. While one lives, what the library reports in the course of
/// its calls becomes their reason, and reaches the host's services (framework/Host.h) no more; what other threads
/// report does. It installs a host for that, which hands everything else on to the one that was there: so the first
/// Client is made after an application has installed its own, and the last one goes before that goes. A plug-in makes
/// none.
class Client {
public:
    explicit Client(const Options& options) : m_parts(std::make_shared<detail::Parts>(options)) {}
    /// Stops, and ends the callbacks: waits for one that is under way. Not from a callback.
    ~Client()
    {
        stop();
        m_parts->follower.stop();
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Hands a copy of the file over under its own name. Returns when it is in the request directory. Code::badName (a
    /// name ends in .drq or .xml), nameInUse, fileError, stopped; then nothing was handed over.
    [[nodiscard]] Result<Request> send(const std::filesystem::path& file) const
    {
        return sendAs(detail::wide(file.filename()), [&file](const auto& to) { return detail::copyTo(file, to); });
    }
    /// The same under another name (UTF-8).
    [[nodiscard]] Result<Request> send(const std::filesystem::path& file, std::string_view name) const
    {
        return sendAs(platform::FromUtf8(name), [&file](const auto& to) { return detail::copyTo(file, to); });
    }
    /// The same with a text, under a name that nobody else uses: Request::name tells it.
    [[nodiscard]] Result<Request> send(const Text& text) const { return send(text, uniqueName()); }
    [[nodiscard]] Result<Request> send(const Text& text, std::string_view name) const
    {
        return sendAs(platform::FromUtf8(name), [&text](const auto& to) { return detail::writeTo(text.xml, to); });
    }
    /// A name that nobody else uses. Empty, which no request can be named, when the system has no ids to give.
    [[nodiscard]] static std::string uniqueName()
    {
        const std::wstring name = detail::uniqueName();
        return name.empty() ? std::string() : platform::ToUtf8(name + ZelProtocol::kRequestExtension);
    }

    /// One that was sent before, perhaps by another process. Nothing is looked at. Code::badName.
    [[nodiscard]] Result<Request> request(std::string_view name) const
    {
        const std::wstring wide = platform::FromUtf8(name);
        if (Result<void> named = detail::checkName(wide); !named)
            return named.error();
        return Request(m_parts, wide);
    }

    /// Whether a server serves, what it tells of itself, and what is in its queue: reads a few small files, and the
    /// status of each request that runs or is paused. What cannot be read is as if it was not there.
    [[nodiscard]] ServerInfo serverInfo() const { return detail::serverInfo(m_parts->core); }

    /// Registers for changes in the data. Takes as long as a command. Code::noAnswer, refused, fileError, stopped.
    [[nodiscard]] Result<Listener> listen() const
    {
        const Session session;
        if (!session)
            return Error{Code::systemError, "COM cannot be initialised on this thread"};
        auto state = std::make_unique<Listener::State>(m_parts);
        if (Result<void> made = state->place.folder.makeOwned(); !made)
            return made.error();
        const detail::Reports reports;
        const auto begin = std::chrono::steady_clock::now();
        if (state->client->ListenDsEvents())
            return Listener(std::move(state));
        if (m_parts->core.isStopped())
            return detail::Core::stopped();
        const bool isLate = std::chrono::steady_clock::now() - begin >= m_parts->core.place.options.commandTimeout;
        if (isLate)
            return detail::noServer(m_parts->core);
        return Error{Code::refused, detail::whyFailed("the registration failed", *state->client, reports)};
    }

    /// Ends what waits, on any thread, and each wait that begins later: Code::stopped. For good. What does not wait
    /// goes on working. Ends no callback.
    void stop() const { m_parts->core.stop(); }

private:
    [[nodiscard]] Result<Request> sendAs(const std::wstring& name, const detail::StagedWrite& write) const
    {
        if (Result<void> sent = detail::send(m_parts->core, name, write); !sent)
            return sent.error();
        return Request(m_parts, name);
    }

    friend struct detail::Access;

    std::shared_ptr<detail::Parts> m_parts;
};

} // namespace zel
