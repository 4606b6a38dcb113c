#pragma once

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/ProgressView.h"
#include "apps/zel/ServerWatch.h"
#include "apps/zel/ToolSession.h"

#include <chrono>

enum eFollowEnd { eFollowEnd_Final, eFollowEnd_TimedOut, eFollowEnd_NoServer, eFollowEnd_Interrupted };

/// Follows requests to their end. One object for all of them: its watch is not cheap to end.
class CFollower {
public:
    /// Ends with the time of the session. quiet: without progress whatever the options say.
    explicit CFollower(CToolSession& session, bool quiet = false);

    /// Waits for the end of a request and gives its last state. Once it is over, the server has put the request away:
    /// its name is free but for status and response.
    [[nodiscard]] eFollowEnd Follow(const std::wstring& name, SRequestState& state);

    /// What to say when following ended without a final status, and the exit code of that.
    [[nodiscard]] static eExitCode ReportEnd(eFollowEnd end, const std::wstring& name);

private:
    [[nodiscard]] SRequestState WaitQuietly(const std::wstring& name, std::chrono::milliseconds slice);

    CToolSession& m_session;
    const bool m_bQuiet;
    CZelRequestWatch m_watch;
    CServerWatch m_server;
};
