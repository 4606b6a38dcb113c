#include "apps/zel/ResumeCommand.h"

eExitCode CResumeCommand::Steer(const STarget& target)
{
    // To a server that keeps to the protocol alone a paused request waits, too, and there is no other way to tell.
    if (target.state.status == eRequestStatus_Waiting)
        return Refuse(target, ToolTexts::IDS_NOT_KNOWN_AS_PAUSED, {StatusWord(target.state.status)});
    if (target.state.status != eRequestStatus_Paused)
        return Refuse(target, ToolTexts::IDS_IS_NOT_PAUSED, {StatusWord(target.state.status)});
    return Toggle(target);
}
