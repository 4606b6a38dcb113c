#include "apps/zel/ResumeCommand.h"

eExitCode CResumeCommand::Steer(const STarget& target)
{
    if (target.state.status != eRequestStatus_Paused)
        return Refuse(target, L"is not paused, but " + ShortStatusName(target.state.status));
    return Toggle(target);
}
