#include "apps/zel/CancelCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"

using namespace std::chrono_literals;

namespace {

constexpr auto kTakingStep = 10ms;
/// A task ends soon after the command; one that does not ask for it does not.
constexpr auto kEndPatience = 2000ms;

} // namespace

eExitCode CCancelCommand::Steer(const STarget& target)
{
    const std::wstring& name = target.state.name;
    // A server that keeps to the protocol alone cancels whatever runs when the name does not wait: it must not be asked
    // about others. One that tells of a paused request removes that.
    if (CZelRequestWatch::IsFinal(target.state.status))
        return RefuseEnded(target);
    if (!WaitUntilTaken(target))
        return target.session.HasGivenUp() ? Refuse(target, ToolTexts::IDS_INTERRUPTED) : FailUnasked(target);
    const eZelProcRequestStatus answer = Ask(target, &CZelProcessorClient::CancelRequest);
    if (answer != eRequestStatus_Done)
        return Fail(target, answer);

    CZelRequestWatch watch(target.client, target.session.Options().outputDir);
    CZelProcessorClient::CAdditionalRequestStatus additional;
    const eZelProcRequestStatus status = watch.WaitForEnd(name, kEndPatience, &additional);
    SRequestState after = MakeState(name, status, additional);
    // Of one that had not started a server that keeps to the protocol alone leaves no status.
    if (status == eRequestStatus_NotRequested) {
        after.status = eRequestStatus_Canceled;
        after.comment.clear();
    }
    Tell(target, after,
         CZelRequestWatch::IsFinal(after.status) ? StatusWord(after.status) : WQ_ModuleText(ToolTexts::IDS_WILL_END));
    return eExitCode_Done;
}

bool CCancelCommand::WaitUntilTaken(const STarget& target)
{
    const std::wstring path = target.session.RequestPath(target.state.name);
    const auto end = platform::Clock().Steady() + target.session.Options().serverTimeout;
    while (platform::PathExists(path)) {
        if (platform::Clock().Steady() >= end || target.session.IsInterrupted())
            return false;
        platform::Clock().SleepFor(kTakingStep);
    }
    return true;
}
