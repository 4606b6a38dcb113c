#include "apps/zel/PauseCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"

eExitCode CPauseCommand::Steer(const STarget& target)
{
    if (CZelRequestWatch::IsFinal(target.state.status))
        return Refuse(target, EndedText(target.state.status));
    if (IsRunning(target.state.status))
        return Refuse(target, L"runs already: only a request that waits can be paused");
    return Toggle(target);
}

eExitCode CPauseCommand::Toggle(const STarget& target)
{
    const eZelProcRequestStatus answer = target.client.PauseRequest(target.state.name);
    if (answer != eRequestStatus_Done)
        return Fail(target, answer);
    const SRequestState after = ReadState(target.client, target.state.name);
    Tell(target, after, after.status == eRequestStatus_Paused ? L"paused" : L"resumed");
    return eExitCode_Done;
}
