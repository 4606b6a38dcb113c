#include "apps/zel/QueueCommand.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "apps/zel/ServerWatch.h"

int CQueueCommand::Run(CToolSession& session)
{
    CServerWatch::TellWhenDead(session);
    CCommandClient client(session);
    SRequestState queue;
    queue.name = ZelProtocol::kQueueDirectory;
    std::wstring error;
    return client.Open(error) ? Steer({session, client.Client(), queue}) : session.Fail(queue.name, error);
}

eExitCode CQueueCommand::Steer(const STarget& target)
{
    if (!TakesCommand(target, Word()))
        return Refuse(target, ToolTexts::IDS_COMMAND_NOT_TAKEN, {Word()});
    eZelProcRequestStatus answer = eRequestStatus_NotIntialized;
    {
        const CMutedHost muted(target.session.Host());
        answer = Order(target.client);
    }
    if (answer != eRequestStatus_Done)
        return Fail(target, answer);
    SRequestState after = target.state;
    after.status = answer;
    Tell(target, after, WQ_ModuleText(DoneWord()));
    return eExitCode_Done;
}
