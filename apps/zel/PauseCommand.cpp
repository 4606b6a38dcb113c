#include "apps/zel/PauseCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"

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
    const eZelProcRequestStatus answer = target.client.PauseRequest(target.state.name);
    if (answer != eRequestStatus_Done)
        return Fail(target, answer);
    eExitCode code = eExitCode_Done;
    const std::optional<SRequestState> after = target.session.Look(target.client, target.state.name, code);
    if (!after)
        return code;
    const bool isPaused = after->status == eRequestStatus_Paused;
    Tell(target, *after, WQ_ModuleText(isPaused ? ToolTexts::IDS_WORD_PAUSED : ToolTexts::IDS_WORD_RESUMED));
    return eExitCode_Done;
}
