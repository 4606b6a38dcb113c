#include "apps/zel/Follower.h"

#include "ToolTexts.h"

#include <algorithm>
#include <optional>

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace {

/// The server removes a request a moment after it wrote the last status.
constexpr milliseconds kRemovalPatience = 2000ms;

} // namespace

CFollower::CFollower(CToolSession& session, bool quiet)
    : m_session(session),
      m_bQuiet(quiet || session.Options().quiet),
      m_watch(session.Client(), session.Options().outputDir),
      m_server(session)
{}

eFollowEnd CFollower::Follow(const std::wstring& name, SRequestState& state)
{
    std::optional<CProgressView> view;
    if (!m_bQuiet)
        view.emplace();
    for (;;) {
        const milliseconds slice = std::min(m_session.Left(), CToolSession::kInterruptLatency);
        state = m_bQuiet ? WaitQuietly(name, slice) : ReadState(m_session.Client(), name);
        if (view)
            view->Show(state);
        const bool isFinal = CZelRequestWatch::IsFinal(state.status);
        // Of one that nobody knows, too: perhaps nobody is there to know it.
        const bool isServed = (isFinal && state.status != eRequestStatus_NotRequested) || m_server.Look();
        if (isFinal) {
            static_cast<void>(WaitQuietly(name, kRemovalPatience));
            return eFollowEnd_Final;
        }
        if (m_session.IsInterrupted())
            return eFollowEnd_Interrupted;
        if (m_session.Left() == 0ms)
            return eFollowEnd_TimedOut;
        if (!isServed)
            return eFollowEnd_NoServer;
        // Changes outside the output directory, such as a queued request that somebody removed, end with the slice.
        if (!m_bQuiet)
            static_cast<void>(m_watch.WaitForChange(slice));
    }
}

SRequestState CFollower::WaitQuietly(const std::wstring& name, milliseconds slice)
{
    CZelProcessorClient::CAdditionalRequestStatus additional;
    const eZelProcRequestStatus status = m_watch.WaitForEnd(name, slice, &additional);
    return MakeState(name, status, additional);
}

eExitCode CFollower::ReportEnd(eFollowEnd end, const std::wstring& name)
{
    if (end == eFollowEnd_NoServer) {
        PrintError(L"zel", ShownText(ToolTexts::IDS_NO_SERVER_CAME, {name}));
        return eExitCode_ServerTimeout;
    }
    const bool isTimeout = end == eFollowEnd_TimedOut;
    PrintError(L"zel", ShownText(isTimeout ? ToolTexts::IDS_TIME_IS_OVER : ToolTexts::IDS_INTERRUPTED, {name}));
    return isTimeout ? eExitCode_Timeout : eExitCode_Interrupted;
}
