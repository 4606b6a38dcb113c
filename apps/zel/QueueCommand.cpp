#include "apps/zel/QueueCommand.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "apps/zel/ServerWatch.h"

#include <algorithm>

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
    // One that tells what it is tells which commands it takes, and would not answer another one.
    const SZelServerInfo server = target.client.GetServerInfo();
    const bool tells = server.presence == eServerPresence_Serves && !server.version.empty();
    if (tells && std::ranges::find(server.commands, Word()) == server.commands.end())
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
