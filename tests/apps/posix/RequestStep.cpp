#include "tests/apps/ProgramFixture.h"

#include <csignal>

bool RequestStep(platform::CProcess& server)
{
    return kill(static_cast<pid_t>(server.Id()), SIGUSR1) == 0;
}
