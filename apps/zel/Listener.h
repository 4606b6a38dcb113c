#pragma once

#include "apps/zel/CommandClient.h"
#include "apps/zel/ServerWatch.h"
#include "apps/zel/ToolSession.h"

#include <chrono>
#include <functional>
#include <optional>

/// A registration with the server, and the telling of what comes through it.
class CListener {
public:
    explicit CListener(CToolSession& session);
    ~CListener();
    CListener(const CListener&) = delete;
    CListener& operator=(const CListener&) = delete;

    /// Done, or the exit code after a message. Waits for a server, where there is none, as long as the options say.
    [[nodiscard]] eExitCode Register();
    /// Tells of changes until the user stops it or it cannot go on, then unregisters. Once, after Register.
    [[nodiscard]] eExitCode Listen();

private:
    [[nodiscard]] eExitCode TellUntilStopped();
    /// Returns at once when there is a server, or when nobody can tell. False when none came in time, or the user
    /// stops.
    [[nodiscard]] bool WaitForServer();
    /// Gets what there is for a registration that is there no longer: a new one.
    [[nodiscard]] eExitCode RegisterAgain();
    /// Asks a server, for as long as there is one.
    [[nodiscard]] bool Ask(const std::function<bool()>& question);
    [[nodiscard]] bool IsServerGone();
    /// Unregisters.
    void Leave();
    /// Takes what there is. False when something could not be taken, or not be told.
    [[nodiscard]] bool TakeAll();
    [[nodiscard]] bool TakeEvents();
    /// Registers again where that is needed.
    [[nodiscard]] bool TellNewEvents();
    /// Why, as a message and an exit code; since start it was tried.
    [[nodiscard]] eExitCode TellNotRegistered(std::chrono::nanoseconds start);
    [[nodiscard]] bool TakeGroups();
    [[nodiscard]] bool TakeLockResults();
    [[nodiscard]] bool IsRegistrationGone();
    void Tell(const std::wstring& json, const std::wstring& text);

    CToolSession& m_session;
    std::optional<CMutedHost> m_muted; ///< while nobody can answer what is asked
    CCommandClient m_client;
    CServerWatch m_server;
    std::wstring m_strEventsFile;
    bool m_bOutputGone = false; ///< nobody reads what is told
};
