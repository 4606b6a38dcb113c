#include "apps/zel/ResumeCommand.h"

eExitCode CResumeCommand::Steer(const STarget& target)
{
    if (target.state.status != eRequestStatus_Paused)
        return Refuse(target, ToolTexts::IDS_IS_NOT_PAUSED, {StatusWord(target.state.status)});
    return Toggle(target);
}
