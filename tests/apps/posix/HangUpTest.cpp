#include "tests/apps/ProgramFixture.h"

#include <csignal>

namespace {

/// The terminal of a server goes away.
class HangUpTest : public CProgramTest {
protected:
    static void HangUp(CRunningProgram& server)
    {
        ASSERT_EQ(kill(static_cast<pid_t>(server.Process().Id()), SIGHUP), 0);
    }
};

TEST_F(HangUpTest, StopsTheServerWhenTheRunningRequestHasEnded)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    HangUp(server);
    ASSERT_TRUE(server.WaitForErrors("waiting for the running request to end"));
    HangUp(server); // a shell and the system may both tell
    Write(Gate(L"g.drq"), "");
    const SProgramResult result = server.Finish();
    EXPECT_EQ(result.code, 0);
    EXPECT_FALSE(Contains(result.errors, "cancelling")) << result.errors;
    EXPECT_EQ(Zel({L"status", L"g.drq"}).output.substr(0, 11), "g.drq: Done");
}

TEST_F(HangUpTest, IsIgnoredWhereItWasIgnoredBefore)
{
    struct sigaction ignored = {};
    struct sigaction before = {};
    ignored.sa_handler = SIG_IGN;
    ASSERT_EQ(sigaction(SIGHUP, &ignored, &before), 0); // as nohup does; the child inherits it
    CRunningProgram server = StartServer();
    ASSERT_EQ(sigaction(SIGHUP, &before, nullptr), 0);
    HangUp(server);
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

} // namespace
