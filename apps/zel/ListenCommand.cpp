#include "apps/zel/ListenCommand.h"

#include "apps/zel/Listener.h"

#include <CLI/CLI.hpp>

void CListenCommand::Define(CLI::App&) {}

int CListenCommand::Run(CToolSession& session)
{
    CListener listener(session);
    const eExitCode code = listener.Register();
    return code == eExitCode_Done ? listener.Listen() : code;
}
