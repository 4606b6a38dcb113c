#include "apps/zel/MoveCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"

#include <CLI/CLI.hpp>

void CMoveCommand::Define(CLI::App& app)
{
    CSteerCommand::Define(app);
    app.get_option("NAME")->expected(1);
    app.add_flag("--first", m_bFirst, HelpText(ToolTexts::IDS_HELP_MOVE_FIRST));
    app.add_flag("--last", m_bLast, HelpText(ToolTexts::IDS_HELP_MOVE_LAST));
    app.add_option("--before", m_before, HelpText(ToolTexts::IDS_HELP_MOVE_BEFORE))->type_name("NAME");
}

bool CMoveCommand::Check()
{
    if ((m_bFirst ? 1 : 0) + (m_bLast ? 1 : 0) + (m_before.empty() ? 0 : 1) != 1) {
        PrintUsageError(L"zel", WQ_ModuleText(ToolTexts::IDS_ONE_PLACE));
        return false;
    }
    if (!m_before.empty()) {
        const std::vector<std::wstring> other = ToRequestNames({m_before});
        if (!CheckRequestNames(other))
            return false;
        m_other = other.front();
    }
    return CSteerCommand::Check();
}

eExitCode CMoveCommand::Steer(const STarget& target)
{
    if (CZelRequestWatch::IsFinal(target.state.status))
        return RefuseEnded(target);
    if (!TakesCommand(target, L"MoveRequest"))
        return Refuse(target, ToolTexts::IDS_COMMAND_NOT_TAKEN, {L"MoveRequest"});
    const eRequestPlace place = m_bFirst ? eRequestPlace_First : m_bLast ? eRequestPlace_Last : eRequestPlace_Before;
    eZelProcRequestStatus answer = eRequestStatus_NotIntialized;
    {
        const CMutedHost muted(target.session.Host());
        answer = target.client.MoveRequest(target.state.name, place, m_other);
    }
    if (answer != eRequestStatus_Done)
        return Fail(target, answer);
    Tell(target, target.state, WQ_ModuleText(ToolTexts::IDS_WORD_MOVED));
    return eExitCode_Done;
}
