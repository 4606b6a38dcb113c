#include "apps/zel/WaitCommand.h"

#include "apps/zel/Follower.h"

#include <CLI/CLI.hpp>

void CWaitCommand::Define(CLI::App& app)
{
    app.add_option("NAME", m_given, HelpText(ToolTexts::IDS_HELP_NAMES))->required()->type_name("");
    m_timeout.Define(app, ToolTexts::IDS_HELP_WAIT_TIMEOUT);
}

bool CWaitCommand::Check()
{
    m_names = ToRequestNames(m_given);
    return CheckRequestNames(m_names);
}

int CWaitCommand::Run(CToolSession& session)
{
    session.SetTimeout(m_timeout.Take());
    CFollower follower(session);
    eExitCode code = eExitCode_Done;
    for (const std::wstring& name : m_names) {
        SRequestState state;
        const eFollowEnd end = follower.Follow(name, state);
        session.PrintEnd(state);
        if (end == eFollowEnd_Final)
            code = FirstFailure(code, ExitCodeOf(state.status));
        else
            code = FirstFailure(code, CFollower::ReportEnd(end, name));
        if (end == eFollowEnd_Interrupted)
            break;
    }
    return code;
}
