#include "platform/Os.h"
#include "tests/apps/ProgramFixture.h"

namespace {

/// What the tool says where no server is.
class ServerWatchTest : public CProgramTest {
protected:
    static constexpr const char* kNoServer = "zel: no server serves '";

    static void Kill(CRunningProgram& server)
    {
        server.Process().Kill();
        static_cast<void>(server.Finish());
    }
};

TEST_F(ServerWatchTest, ThatNoneIsThereIsSaidAtOnceAndIsCode4InTheEnd)
{
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x")}).code, 0);
    for (const wchar_t* option : {L"--json", L"--quiet"}) {
        const SProgramResult result = Zel({L"wait", L"a.drq", L"--server-timeout", L"0.5", option});
        EXPECT_EQ(result.code, 4);
        EXPECT_TRUE(Contains(result.errors, kNoServer)) << result.errors;
        EXPECT_TRUE(Contains(result.errors, "no server came in time (--server-timeout); the request 'a.drq' waits"))
            << result.errors;
    }
    EXPECT_TRUE(platform::PathExists(InRequests(L"a.drq"))) << "it waits for one";
}

TEST_F(ServerWatchTest, OfARequestThatNobodyKnowsItIsSaidOnce)
{
    for (const wchar_t* option : {L"--json", L"--quiet"}) {
        const SProgramResult result = Zel({L"wait", L"a.drq", L"b.drq", option});
        EXPECT_EQ(result.code, 5);
        EXPECT_TRUE(Contains(result.errors, kNoServer)) << result.errors;
        EXPECT_EQ(result.errors.find(kNoServer), result.errors.rfind(kNoServer)) << result.errors;
    }
}

TEST_F(ServerWatchTest, CommandsThatDoNotWaitSayItAndDoTheirWork)
{
    const SProgramResult sent = Zel({L"send", MakeEcho(L"a.drq", L"x")});
    for (const SProgramResult& result : {sent, Zel({L"status", L"a.drq"}), Zel({L"list"})}) {
        EXPECT_EQ(result.code, 0);
        EXPECT_TRUE(Contains(result.errors, kNoServer)) << result.errors;
        EXPECT_TRUE(Contains(result.output, "a.drq")) << result.output;
    }
    CRunningProgram server = StartServer();
    EXPECT_EQ(Zel({L"wait", L"a.drq"}).code, 0);
    for (const std::vector<std::wstring>& command :
         {std::vector<std::wstring>{L"status", L"a.drq"}, std::vector<std::wstring>{L"list"}})
        EXPECT_EQ(Zel(command).errors, "");
    StopServer(server);
    EXPECT_TRUE(Contains(Zel({L"list"}).errors, "' since 2")) << "and says since when";
}

TEST_F(ServerWatchTest, AServerThatIsKilledIsMissedAndARestartLetsTheWaitGoOn)
{
    CRunningProgram server = StartServer({L"--resume"});
    CRunningProgram waiting = StartZel({L"send", MakeGate(L"g.drq"), L"-o", InHome(L"answer")});
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    Kill(server);
    ASSERT_TRUE(waiting.WaitForErrors(kNoServer));
    CRunningProgram next = StartServer({L"--resume"});
    ASSERT_TRUE(waiting.WaitForErrors("zel: a server serves '"));
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(waiting.Finish().code, 0);
    EXPECT_TRUE(platform::PathExists(InHome(L"answer")));
    StopServer(next);
}

TEST_F(ServerWatchTest, AServerThatIsKilledAndStaysAwayIsCode4)
{
    CRunningProgram server = StartServer();
    CRunningProgram waiting = StartZel({L"send", MakeGate(L"g.drq"), L"--wait", L"--server-timeout", L"1"});
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    Kill(server);
    const SProgramResult result = waiting.Finish();
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(Contains(result.errors, "' since 2")) << result.errors;
}

TEST_F(ServerWatchTest, OfTwoThatWaitTheOneThatIsStoppedLeavesTheOtherItsServer)
{
    CRunningProgram server = StartServer({L"--resume"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    CRunningProgram first = StartZel({L"wait", L"g.drq", L"--server-timeout", L"0"});
    CRunningProgram second = StartZel({L"wait", L"g.drq", L"--server-timeout", L"0"});
    Kill(server);
    // Each looks by taking the dead one's lock for a moment, and is not to take the other for a server.
    for (CRunningProgram* waiting : {&first, &second})
        ASSERT_TRUE(waiting->WaitForErrors(kNoServer));
    first.Process().RequestStop();
    EXPECT_NE(first.Finish().code, 0);
    CRunningProgram next = StartServer({L"--resume"});
    ASSERT_TRUE(second.WaitForErrors("zel: a server serves '"));
    Write(Gate(L"g.drq"), "");
    const SProgramResult result = second.Finish();
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.errors.find(kNoServer), result.errors.rfind(kNoServer)) << result.errors;
    StopServer(next);
}

TEST_F(ServerWatchTest, WithATimeOf0ItIsWaitedForEver)
{
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x")}).code, 0);
    CRunningProgram waiting = StartZel({L"wait", L"a.drq", L"--server-timeout", L"0"});
    ASSERT_TRUE(waiting.WaitForErrors(kNoServer));
    EXPECT_EQ(Zel({L"wait", L"a.drq", L"--server-timeout", L"0", L"--timeout", L"1.5"}).code, 7)
        << "the time of the command alone ends it";
    CRunningProgram server = StartServer();
    EXPECT_EQ(waiting.Finish().code, 0);
    StopServer(server);
}

TEST_F(ServerWatchTest, WhereNobodyCanTellNothingIsSaid)
{
    // As a host of its own leaves it, which makes no claim.
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x")}).errors, "");
    const SProgramResult result = Zel({L"wait", L"a.drq", L"--server-timeout", L"0.1", L"--timeout", L"1", L"--quiet"});
    EXPECT_EQ(result.code, 7);
    EXPECT_FALSE(Contains(result.errors, kNoServer)) << result.errors;
}

} // namespace
