#include "tests/apps/ProgramFixture.h"

bool RequestStep(platform::CProcess& server)
{
    return server.WriteLine(L"step");
}
