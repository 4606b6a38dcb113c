#include "apps/zel/PauseCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "platform/Path.h"

eExitCode CPauseCommand::Steer(const STarget& target)
{
    if (CZelRequestWatch::IsFinal(target.state.status))
        return RefuseEnded(target);
    if (IsRunning(target.state.status))
        return Refuse(target, ToolTexts::IDS_RUNS_ALREADY);
    return Toggle(target);
}

eExitCode CPauseCommand::Toggle(const STarget& target)
{
    // A server takes no other names out of the two directories, and gives no answer.
    if (!platform::IsPlainFileName(target.state.name))
        return Refuse(target, ToolTexts::IDS_NAME_CANNOT_BE_PAUSED);
    const eZelProcRequestStatus answer = Ask(target, &CZelProcessorClient::PauseRequest);
    if (answer != eRequestStatus_Done)
        return Fail(target, answer);
    eExitCode code = eExitCode_Done;
    const std::optional<SRequestState> after = target.session.Look(target.client, target.state.name, code);
    if (!after)
        return code;
    Tell(target, *after, WQ_ModuleText(WordFor(target.state.status, after->status)));
    return eExitCode_Done;
}

const STextCode& CPauseCommand::WordFor(eZelProcRequestStatus before, eZelProcRequestStatus after)
{
    if (after == eRequestStatus_Paused)
        return ToolTexts::IDS_WORD_PAUSED;
    // To a server that keeps to the protocol alone a paused request waits, too.
    const bool isTold = before != eRequestStatus_Waiting || after != eRequestStatus_Waiting;
    return isTold ? ToolTexts::IDS_WORD_RESUMED : ToolTexts::IDS_WORD_PAUSED_OR_RESUMED;
}
