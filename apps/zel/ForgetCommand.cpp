#include "apps/zel/ForgetCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/ListCommand.h"
#include "platform/FileSystem.h"

#include "CommonTexts.h"

#include <CLI/CLI.hpp>

namespace {

bool HasEnded(eZelProcRequestStatus status)
{
    return CZelRequestWatch::IsFinal(status) && status != eRequestStatus_ClientError &&
           status != eRequestStatus_NotRequested;
}

} // namespace

void CForgetCommand::Define(CLI::App& app)
{
    app.add_option("NAME", m_given, HelpText(ToolTexts::IDS_HELP_NAMES))->type_name("");
    app.add_flag("--finished", m_bFinished, HelpText(ToolTexts::IDS_HELP_FORGET_FINISHED));
}

bool CForgetCommand::Check()
{
    m_names = ToRequestNames(m_given);
    if (m_names.empty() != m_bFinished) {
        PrintUsageError(L"zel", m_bFinished ? WQ_ModuleText(CommonTexts::IDS_OPTION_EXCLUDES, {L"NAME", L"--finished"})
                                            : WQ_ModuleText(ToolTexts::IDS_NAMES_OR_FINISHED));
        return false;
    }
    return CheckRequestNames(m_names);
}

int CForgetCommand::Run(CToolSession& session)
{
    if (m_bFinished) {
        std::set<std::wstring> names;
        if (!CListCommand::AddNames(session.Options().outputDir, names))
            return eExitCode_ClientError;
        m_names.assign(names.begin(), names.end());
    }
    eExitCode code = eExitCode_Done;
    for (const std::wstring& name : m_names) {
        if (session.IsInterrupted())
            return FirstFailure(code, eExitCode_Interrupted);
        code = FirstFailure(code, ForgetOne(session, name));
    }
    return code;
}

eExitCode CForgetCommand::ForgetOne(CToolSession& session, const std::wstring& name) const
{
    eExitCode code = eExitCode_Done;
    const std::optional<SRequestState> state = session.Look(session.Client(), name, code);
    if (!state)
        return code;
    const bool isOrphan =
        state->status == eRequestStatus_NotRequested && platform::PathExists(session.OutputPath(name));
    if (m_bFinished && !HasEnded(state->status))
        return eExitCode_Done;
    if (!isOrphan && !HasEnded(state->status)) {
        if (state->status != eRequestStatus_NotRequested && state->status != eRequestStatus_ClientError)
            return session.Fail(name, ShownText(ToolTexts::IDS_NOT_ENDED_YET, {name}));
        session.Print(*state);
        return ExitCodeOf(state->status);
    }
    if (session.Client().ForgetRequest(name) != state->status)
        return session.Fail(name, ShownText(ToolTexts::IDS_NOT_FORGOTTEN, {name}));
    session.Print(*state);
    return eExitCode_Done;
}
