#include "apps/zel/KeptCommand.h"

#include "apps/zel/FailedCommand.h"
#include "apps/zel/ServerWatch.h"

#include <CLI/CLI.hpp>

void CKeptCommand::Define(CLI::App& app)
{
    app.add_option("NAME", m_given, HelpText(ToolTexts::IDS_HELP_NAMES))->type_name("");
    app.add_flag("--all", m_bAll, HelpText(ToolTexts::IDS_HELP_ALL_KEPT));
}

bool CKeptCommand::Check()
{
    if (m_given.empty() != m_bAll) {
        PrintUsageError(L"zel", WQ_ModuleText(ToolTexts::IDS_NAMES_OR_ALL));
        return false;
    }
    m_names = ToRequestNames(m_given);
    return CheckRequestNames(m_names);
}

int CKeptCommand::Run(CToolSession& session)
{
    if (m_bAll) {
        std::vector<SKeptRequest> kept;
        if (!CFailedCommand::Find(session, kept))
            return eExitCode_ClientError;
        for (const SKeptRequest& request : kept)
            m_names.push_back(request.name);
    }
    CServerWatch::TellWhenDead(session);
    CCommandClient client(session);
    std::wstring error;
    const bool isOpen = client.Open(error);
    eExitCode code = eExitCode_Done;
    for (const std::wstring& name : m_names) {
        if (session.IsInterrupted())
            return FirstFailure(code, eExitCode_Interrupted);
        SRequestState state;
        state.name = name;
        code = FirstFailure(code, isOpen ? Steer({session, client.Client(), state}) : session.Fail(name, error));
    }
    return code;
}

eExitCode CKeptCommand::Steer(const STarget& target)
{
    if (!TakesCommand(target, Word()))
        return Refuse(target, ToolTexts::IDS_COMMAND_NOT_TAKEN, {Word()});
    const eZelProcRequestStatus answer = Ask(target, Order());
    if (answer != eRequestStatus_Done)
        return Fail(target, answer);
    SRequestState after = target.state;
    after.status = answer;
    Tell(target, after, WQ_ModuleText(DoneWord()));
    return eExitCode_Done;
}
