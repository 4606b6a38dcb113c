#include "platform/Os.h"
#include "tests/apps/ProgramFixture.h"

namespace {

class StopSupervisorTest : public CProgramTest {};

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
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    server.Process().RequestStop();
    ASSERT_TRUE(
        server.WaitForErrors("zel-server: waiting for the running request to end; signal again to cancel it\n"));
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

TEST_F(StopSupervisorTest, LogFileHasWhatWasSaid)
{
    const std::wstring file = m_root / L"server.log";
    CRunningProgram server = StartServer({L"--log-file", file});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    server.Process().RequestStop();
    ASSERT_TRUE(server.WaitForErrors("signal again to cancel it"));
    server.Process().RequestStop();
    EXPECT_EQ(server.Finish().code, 0);
    EXPECT_TRUE(Contains(Read(file), "waiting for the running request to end")) << Read(file);
}

} // namespace
