#pragma once

#include "apps/zel/CommandClient.h"
#include "apps/zel/ToolSession.h"

#include <chrono>

/// A registration with the server, and the telling of what comes through it.
class CListener {
public:
    explicit CListener(CToolSession& session);
    ~CListener();
    CListener(const CListener&) = delete;
    CListener& operator=(const CListener&) = delete;

    /// Done, or the exit code after a message.
    [[nodiscard]] eExitCode Register();
    /// Tells of changes until the user stops it or it cannot go on, then unregisters. Once, after Register.
    [[nodiscard]] eExitCode Listen();

private:
    [[nodiscard]] eExitCode TellUntilStopped();
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
    CCommandClient m_client;
    std::wstring m_strEventsFile;
    bool m_bOutputGone = false; ///< nobody reads what is told
};
