#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

/// What an operator has a server do with its queue as a whole.
class QueueCommandTest : public CProgramTest {
protected:
    void SendEcho(const std::wstring& name) const
    {
        ASSERT_EQ(Zel({L"send", MakeEcho(name, L"x")}).code, 0);
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(name)); }));
    }
    [[nodiscard]] nlohmann::json Report() const
    {
        const std::vector<nlohmann::json> objects = Zel({L"server", L"--json"}).Objects();
        return objects.size() == 1 ? objects.front() : nlohmann::json();
    }
    [[nodiscard]] bool IsHeld() const { return Report().value("held", false); }
    static void Kill(CRunningProgram& server)
    {
        server.Process().Kill();
        static_cast<void>(server.Finish());
    }
};

constexpr const char* kHeldNote = "is held: nothing is started until 'zel release'";

TEST_F(QueueCommandTest, AHeldQueueStaysSoOverAKillAndRunsWhenItIsReleased)
{
    CRunningProgram server = StartServer({L"--resume"});
    const SProgramResult held = Zel({L"hold"});
    EXPECT_EQ(held.code, 0) << held.errors;
    EXPECT_EQ(held.output, "Queue: held\n");
    SendEcho(L"a.drq");
    Kill(server);
    EXPECT_TRUE(IsHeld()) << "for the next one";
    server = StartServer({L"--resume"});
    EXPECT_TRUE(Contains(server.Errors(), "The queue is held since an earlier server")) << server.Errors();
    EXPECT_TRUE(IsHeld());
    EXPECT_EQ(Report().at("healthy"), true) << "somebody wants it so";
    EXPECT_TRUE(Contains(Zel({L"server"}).output, kHeldNote));
    EXPECT_TRUE(Contains(Zel({L"list"}).errors, kHeldNote));
    SendEcho(L"b.drq");
    EXPECT_EQ(Zel({L"cancel", L"b.drq"}).output, "b.drq: Canceled\n") << "it has not run";
    EXPECT_FALSE(platform::PathExists(InOutput(L"a.drq.status")));
    const SProgramResult released = Zel({L"release", L"--json"});
    EXPECT_EQ(released.code, 0) << released.errors;
    ASSERT_EQ(released.Objects().size(), 1U);
    EXPECT_EQ(released.Objects()[0]["status"], 13);
    EXPECT_EQ(Zel({L"wait", L"a.drq"}).code, 0);
    EXPECT_FALSE(IsHeld());
    EXPECT_EQ(Zel({L"list"}).errors, "");
    StopServer(server);
}

TEST_F(QueueCommandTest, AHeldQueueStaysSoOverARestartThatDeletesAllElse)
{
    CRunningProgram first = StartServer();
    ASSERT_EQ(Zel({L"hold"}).code, 0);
    StopServer(first);
    CRunningProgram server = StartServer();
    EXPECT_TRUE(IsHeld());
    SendEcho(L"a.drq");
    EXPECT_EQ(Zel({L"cancel", L"a.drq"}).output, "a.drq: Canceled\n");
    EXPECT_EQ(Zel({L"release"}).output, "Queue: released\n");
    EXPECT_EQ(Zel({L"send", MakeEcho(L"b.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_F(QueueCommandTest, WhatRunsGoesOnWhileTheQueueIsHeld)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    SendEcho(L"next.drq");
    ASSERT_EQ(Zel({L"hold"}).code, 0);
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, 0);
    EXPECT_EQ(Zel({L"pause", L"next.drq"}).output, "next.drq: paused\n");
    EXPECT_EQ(Zel({L"resume", L"next.drq"}).output, "next.drq: resumed\n");
    EXPECT_EQ(Zel({L"release"}).code, 0);
    EXPECT_EQ(Zel({L"wait", L"next.drq"}).code, 0);
    EXPECT_TRUE(Contains(server.Errors(), "Command: hold the queue: Done")) << server.Errors();
    StopServer(server);
}

TEST_F(QueueCommandTest, WhatIsMovedRunsWhereItWasMovedTo)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"hold"}).code, 0);
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq", L"d.drq"}) {
        ASSERT_EQ(Zel({L"send", MakeGate(name)}).code, 0);
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(name)); }));
    }
    EXPECT_EQ(Zel({L"move", L"c.drq", L"--first"}).output, "c.drq: moved\n");
    EXPECT_EQ(Zel({L"move", L"a.drq", L"--last"}).code, 0);
    EXPECT_EQ(Zel({L"move", L"d.drq", L"--before", L"b.drq"}).code, 0);
    EXPECT_EQ(Zel({L"move", L"none.drq", L"--last"}).code, 5);
    const SProgramResult nowhere = Zel({L"move", L"b.drq", L"--before", L"none.drq"});
    EXPECT_EQ(nowhere.code, 3);
    EXPECT_TRUE(Contains(nowhere.errors, "'none.drq' does not wait for its turn")) << nowhere.errors;
    ASSERT_EQ(Zel({L"release"}).code, 0);
    std::vector<std::wstring> left = {L"c.drq", L"d.drq", L"b.drq", L"a.drq"};
    while (!left.empty()) {
        ASSERT_TRUE(WaitUntilAtGate(left.front())) << platform::ToUtf8(left.front());
        left.erase(left.begin());
        for (const std::wstring& later : left)
            EXPECT_FALSE(platform::PathExists(Gate(later) + L".entered")) << platform::ToUtf8(later);
        for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq", L"d.drq"}) {
            if (platform::PathExists(Gate(name) + L".entered"))
                Write(Gate(name), "");
        }
    }
    EXPECT_EQ(Zel({L"wait", L"a.drq", L"b.drq", L"c.drq", L"d.drq"}).code, 0);
    StopServer(server);
}

TEST_F(QueueCommandTest, ADrainedServerEndsWhatRunsAndLeavesTheRestForTheNext)
{
    CRunningProgram server = StartServer({L"--resume"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    SendEcho(L"waits.drq");
    const SProgramResult drain = Zel({L"drain"});
    EXPECT_EQ(drain.code, 0) << drain.errors;
    EXPECT_EQ(drain.output, "Queue: drains\n");
    ASSERT_EQ(Zel({L"send", MakeEcho(L"late.drq", L"x")}).code, 0);
    const SProgramResult late = Zel({L"pause", L"late.drq", L"--server-timeout", L"0.5"});
    EXPECT_EQ(late.code, 4) << "it is the next server's";
    EXPECT_EQ(Zel({L"drain", L"--wait", L"--timeout", L"0.2"}).code, 7);
    CRunningProgram waiting = StartZel({L"drain", L"--wait"});
    std::wstring line;
    ASSERT_TRUE(waiting.Process().ReadLine(line, kPatience));
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(waiting.Finish().code, 0);
    const SProgramResult end = server.Finish();
    EXPECT_EQ(end.code, 0) << end.errors;
    EXPECT_TRUE(Contains(end.errors, "The server stops: it was drained")) << end.errors;
    EXPECT_TRUE(platform::PathExists(InRequests(L"late.drq")));
    EXPECT_TRUE(platform::PathExists(InQueue(L"waits.drq")));
    CRunningProgram next = StartServer({L"--resume"});
    EXPECT_EQ(Zel({L"wait", L"g.drq", L"waits.drq", L"late.drq"}).code, 0);
    StopServer(next);
}

TEST_F(QueueCommandTest, ADrainedServerThatDoesNotResumeRunsAllThatWaitsFirst)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    SendEcho(L"waits.drq");
    ASSERT_EQ(Zel({L"drain"}).code, 0);
    ASSERT_EQ(Zel({L"send", MakeEcho(L"late.drq", L"x")}).code, 0);
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(server.Finish().code, 0);
    EXPECT_EQ(Zel({L"status", L"waits.drq"}).output, "waits.drq: Done\n");
    EXPECT_TRUE(platform::PathExists(InRequests(L"late.drq")));
}

TEST_F(QueueCommandTest, AnIdleServerThatIsDrainedEndsAtOnceAlsoWithoutAnExecutive)
{
    for (const std::vector<std::wstring>& extra : {std::vector<std::wstring>{}, {L"--no-executive"}, {L"--manual"}}) {
        platform::SProcessOptions options;
        options.pipeInput = true;
        CRunningProgram server = StartServer(extra, options);
        EXPECT_EQ(Zel({L"drain", L"--wait"}).code, 0);
        EXPECT_EQ(server.Finish().code, 0);
    }
}

TEST_F(QueueCommandTest, AMoveSaysWhereOnce)
{
    for (const std::vector<std::wstring>& arguments : {std::vector<std::wstring>{L"move", L"a.drq"},
                                                       {L"move", L"a.drq", L"--first", L"--last"},
                                                       {L"move", L"a.drq", L"--before", L"."},
                                                       {L"move", L"--first"},
                                                       {L"move", L"a.drq", L"b.drq", L"--first"}})
        EXPECT_EQ(Zel(arguments).code, 2);
}

TEST_F(QueueCommandTest, AServerThatIsHeldStopsAtOnce)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"hold"}).code, 0);
    SendEcho(L"a.drq");
    StopServer(server);
}

TEST_F(QueueCommandTest, AStrictServerNeitherTakesTheCommandNorLooksAtTheFile)
{
    {
        CRunningProgram server = StartServer();
        ASSERT_EQ(Zel({L"hold"}).code, 0);
        StopServer(server);
    }
    CRunningProgram server = StartServer({L"--strict"});
    EXPECT_FALSE(IsHeld());
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_EQ(Zel({L"release", L"--server-timeout", L"0.5"}).code, 4);
    EXPECT_TRUE(platform::PathExists(InOutput(L".zel-server/held"))) << "another server's";
    StopServer(server);
}

} // namespace
