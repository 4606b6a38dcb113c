#include "apps/zel/ReceiveCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/Receiver.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>

void CReceiveCommand::Define(CLI::App& app)
{
    app.add_option("NAME", m_given, HelpText(ToolTexts::IDS_HELP_NAME))->required()->type_name("");
    app.add_option("TARGET", m_target, HelpText(ToolTexts::IDS_HELP_TARGET))->required()->type_name("");
}

bool CReceiveCommand::Check()
{
    const std::vector<std::wstring> names = ToRequestNames({m_given});
    m_strName = names.front();
    return CheckRequestNames(names);
}

int CReceiveCommand::Run(CToolSession& session)
{
    CReceiver receiver(session);
    eExitCode code = eExitCode_Done;
    const std::optional<SRequestState> looked = session.Look(session.Client(), m_strName, code);
    if (!looked)
        return code;
    const SRequestState& state = *looked;
    // A response without a status: somebody else removed that.
    const bool isOrphan =
        state.status == eRequestStatus_NotRequested && platform::PathExists(session.OutputPath(m_strName));
    if (state.status == eRequestStatus_Done || isOrphan) {
        std::wstring error;
        const std::wstring target = CReceiver::TargetFor(platform::FromUtf8(m_target), m_strName);
        if (!receiver.Receive(m_strName, target, error))
            return session.Fail(m_strName, error);
        session.Print(state);
        return eExitCode_Done;
    }
    session.Print(state);
    if (CZelRequestWatch::IsFinal(state.status)) {
        receiver.Forget(state);
        return ExitCodeOf(state.status);
    }
    PrintError(L"zel", WQ_ModuleText(ToolTexts::IDS_NOT_ENDED_YET, {m_strName}));
    return eExitCode_ClientError;
}
