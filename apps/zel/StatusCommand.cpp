#include "apps/zel/StatusCommand.h"

#include "apps/zel/RunningSlots.h"
#include "apps/zel/ServerWatch.h"

#include <CLI/CLI.hpp>

void CStatusCommand::Define(CLI::App& app)
{
    app.add_option("NAME", m_given, HelpText(ToolTexts::IDS_HELP_NAMES))->required()->type_name("");
}

bool CStatusCommand::Check()
{
    m_names = ToRequestNames(m_given);
    return CheckRequestNames(m_names);
}

int CStatusCommand::Run(CToolSession& session)
{
    eExitCode code = eExitCode_Done;
    CRunningSlots slots(session);
    for (const std::wstring& name : m_names) {
        std::optional<SRequestState> state = session.Look(session.Client(), name, code);
        if (!state)
            return code;
        state->stage = slots.StageOf(*state);
        session.Print(*state);
        // Whatever the server said, the question was answered; only a status that can't be read is a failure.
        if (state->status == eRequestStatus_ClientError)
            code = eExitCode_ClientError;
    }
    CServerWatch::TellWhenDead(session);
    return code;
}
