#include "platform/Os.h"
#include "tests/apps/ProgramFixture.h"

namespace {

class StopSupervisorTest : public CProgramTest {
protected:
    /// A request at a gate whose task does not ask whether it is cancelled.
    [[nodiscard]] std::wstring MakeDeafGate(const std::wstring& name) const
    {
        return MakeRequest(name, L"Type=\"Gate\" Deaf=\"1\" GateFile=\"" + Gate(name) + L"\"");
    }
    /// Has the server told to stop while it runs this request, g.drq.
    void StopWhileItRuns(CRunningProgram& server, const std::wstring& request)
    {
        ASSERT_EQ(Zel({L"send", request}).code, 0);
        ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
        server.Process().RequestStop();
        ASSERT_TRUE(
            server.WaitForErrors("zel-server: waiting for the running request to end; signal again to cancel it\n"));
    }
};

TEST_F(StopSupervisorTest, IdleServerEndsWithinTwoSeconds)
{
    CRunningProgram server = StartServer();
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    const auto start = platform::Clock().Steady();
    StopServer(server);
    EXPECT_LT(platform::Clock().Steady() - start, std::chrono::seconds(2));
    EXPECT_FALSE(Contains(server.Errors(), "waiting for the running request")) << server.Errors();
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(StopSupervisorTest, WaitsForTheRunningRequestAndSaysSo)
{
    CRunningProgram server = StartServer();
    ASSERT_NO_FATAL_FAILURE(StopWhileItRuns(server, MakeGate(L"g.drq")));
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(server.Finish().code, 0);
    EXPECT_EQ(Zel({L"status", L"g.drq"}).output.substr(0, 11), "g.drq: Done");
}

TEST_F(StopSupervisorTest, SecondSignalCancelsTheRunningRequest)
{
    CRunningProgram server = StartServer();
    CRunningProgram client = StartZel({L"send", MakeGate(L"g.drq"), L"--wait", L"--json"});
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    server.Process().RequestStop();
    ASSERT_TRUE(server.WaitForErrors("signal again to cancel it"));
    server.Process().RequestStop();
    EXPECT_EQ(server.Finish().code, 0);
    const SProgramResult result = client.Finish();
    EXPECT_EQ(result.code, 6) << result.errors;
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["status"], 11);
}

TEST_F(StopSupervisorTest, AThirdSignalEndsAServerWhoseTaskDoesNotLook)
{
    const std::wstring file = m_root / L"server.log";
    CRunningProgram server = StartServer({L"--log-file", file});
    ASSERT_NO_FATAL_FAILURE(StopWhileItRuns(server, MakeDeafGate(L"g.drq")));
    server.Process().RequestStop();
    ASSERT_TRUE(server.WaitForErrors("its task does not look; signal again to end the server without it"));
    server.Process().RequestStop();
    EXPECT_EQ(server.Finish().code, 1);
    EXPECT_TRUE(Contains(Read(file), "the server ends although a request runs: its task does not look")) << Read(file);
}

TEST_F(StopSupervisorTest, AServerThatWasEndedIsFollowedByOneThatRunsTheRequestAgain)
{
    {
        CRunningProgram server = StartServer({L"--resume", L"--stop-timeout", L"0.1"});
        ASSERT_EQ(Zel({L"send", MakeDeafGate(L"g.drq")}).code, 0);
        ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
        server.Process().RequestStop();
        const SProgramResult result = server.Finish();
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, "although a request runs: the time of --stop-timeout is over"))
            << result.errors;
        EXPECT_FALSE(Contains(result.errors, "cancelling")) << result.errors;
    }
    Write(Gate(L"g.drq"), "");
    CRunningProgram next = StartServer({L"--resume"});
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, 0);
    StopServer(next);
}

TEST_F(StopSupervisorTest, TheTimeOfAStopCancelsTheRequestBeforeItEndsTheServer)
{
    CRunningProgram server = StartServer({L"--stop-timeout", L"2"});
    CRunningProgram client = StartZel({L"send", MakeGate(L"g.drq"), L"--wait"});
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    server.Process().RequestStop();
    const SProgramResult result = server.Finish();
    EXPECT_EQ(result.code, 0) << "the task looked";
    EXPECT_TRUE(Contains(result.errors, "cancelling the running request")) << result.errors;
    EXPECT_EQ(client.Finish().code, 6);
}

TEST_F(StopSupervisorTest, LogFileHasWhatWasSaid)
{
    const std::wstring file = m_root / L"server.log";
    CRunningProgram server = StartServer({L"--log-file", file});
    ASSERT_NO_FATAL_FAILURE(StopWhileItRuns(server, MakeGate(L"g.drq")));
    server.Process().RequestStop();
    EXPECT_EQ(server.Finish().code, 0);
    EXPECT_TRUE(Contains(Read(file), "waiting for the running request to end")) << Read(file);
}

} // namespace
