#include "apps/zel/ReceiveCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/Receiver.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"

#include "CommonTexts.h"

#include <CLI/CLI.hpp>

void CReceiveCommand::Define(CLI::App& app)
{
    // One list, of which the last is the target: the parser would give all to the first of two.
    app.add_option("NAME", m_given, HelpText(ToolTexts::IDS_HELP_RECEIVE_NAMES))->required()->type_name("");
}

bool CReceiveCommand::Check()
{
    if (m_given.size() < 2) {
        PrintUsageError(L"zel", WQ_ModuleText(CommonTexts::IDS_OPTION_MISSING, {L"TARGET"}));
        return false;
    }
    m_target = m_given.back();
    m_given.pop_back();
    m_names = ToRequestNames(m_given);
    if (m_names.size() > 1 && !platform::DirectoryExists(platform::FromUtf8(m_target))) {
        PrintUsageError(L"zel", WQ_ModuleText(ToolTexts::IDS_TARGET_FOR_SEVERAL));
        return false;
    }
    return CheckRequestNames(m_names);
}

int CReceiveCommand::Run(CToolSession& session)
{
    if (!CReceiver(session).CheckTarget(platform::FromUtf8(m_target)))
        return eExitCode_Usage;
    eExitCode code = eExitCode_Done;
    for (const std::wstring& name : m_names) {
        if (session.IsInterrupted())
            return FirstFailure(code, eExitCode_Interrupted);
        code = FirstFailure(code, ReceiveOne(session, name));
    }
    return code;
}

eExitCode CReceiveCommand::ReceiveOne(CToolSession& session, const std::wstring& name) const
{
    CReceiver receiver(session);
    eExitCode code = eExitCode_Done;
    const std::optional<SRequestState> looked = session.Look(session.Client(), name, code);
    if (!looked)
        return code;
    const SRequestState& state = *looked;
    // A response without a status: somebody else removed that.
    const bool isOrphan = state.status == eRequestStatus_NotRequested && platform::PathExists(session.OutputPath(name));
    if (state.status == eRequestStatus_Done || isOrphan) {
        std::wstring error;
        const std::wstring target = CReceiver::TargetFor(platform::FromUtf8(m_target), name);
        if (!receiver.Receive(name, target, error))
            return session.Fail(name, error);
        if (!session.IsOutputTaken())
            session.Print(state);
        return eExitCode_Done;
    }
    session.PrintEnd(state);
    if (CZelRequestWatch::IsFinal(state.status)) {
        receiver.Forget(state);
        return ExitCodeOf(state.status);
    }
    PrintError(L"zel", ShownText(ToolTexts::IDS_NOT_ENDED_YET, {name}));
    return eExitCode_ClientError;
}
