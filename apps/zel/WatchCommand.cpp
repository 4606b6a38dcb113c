#include "apps/zel/WatchCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/Follower.h"
#include "apps/zel/RequestOverview.h"
#include "apps/zel/ServerWatch.h"
#include "apps/zel/WatchView.h"

#include <set>

using namespace std::chrono_literals;

int CWatchCommand::Run(CToolSession& session)
{
    if (!session.Options().json && !session.Options().quiet) {
        CWatchView view(session);
        if (view.IsReady())
            return view.Run();
    }
    return TellChanges(session);
}

eExitCode CWatchCommand::TellChanges(CToolSession& session)
{
    CRequestOverview overview(session);
    CZelRequestWatch watch(session.Client(), session.Options().outputDir);
    CServerWatch server(session);
    CRoundClock rounds;
    std::set<std::wstring> awaited;
    eExitCode code = eExitCode_Done;
    for (bool isBeginning = true; isBeginning || !awaited.empty();) {
        std::vector<SRequestState> changed;
        std::wstring error;
        if (!overview.Refresh(changed, error)) {
            PrintError(L"zel", error);
            return eExitCode_ClientError;
        }
        for (const SRequestState& state : changed) {
            const bool isFinal = CZelRequestWatch::IsFinal(state.status);
            if (!isBeginning || !isFinal)
                session.Print(state);
            if (isBeginning && !isFinal)
                awaited.insert(state.name);
            // One that is gone was taken by whoever waited for it.
            if (isFinal && awaited.erase(state.name) != 0 && state.status != eRequestStatus_NotRequested)
                code = FirstFailure(code, ExitCodeOf(state.status));
        }
        if (session.IsInterrupted())
            return eExitCode_Interrupted;
        if (!overview.IsRoundOver())
            continue;
        if (isBeginning) {
            for (const auto& [name, entry] : overview.Requests()) {
                if (!entry.isKnown)
                    awaited.insert(name);
            }
            isBeginning = false;
            continue;
        }
        if (!server.Look())
            return CFollower::ReportEnd(eFollowEnd_NoServer, *awaited.begin());
        if (watch.WaitForChange(CToolSession::kInterruptLatency) || rounds.IsDue())
            overview.BeginRound();
    }
    return code;
}
