#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>

namespace {

class SteerCommandTest : public CProgramTest {
protected:
    [[nodiscard]] CRunningProgram StartByHand() const
    {
        platform::SProcessOptions options;
        options.pipeInput = true;
        return StartServer({L"--manual"}, options);
    }

    /// Sends gates and waits until the server has them in its queue.
    void Queue(const std::vector<std::wstring>& names) const
    {
        for (const std::wstring& name : names) {
            ASSERT_EQ(Zel({L"send", MakeGate(name)}).code, 0);
            ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(name)); }));
        }
    }

    [[nodiscard]] bool HasEntered(const std::wstring& name) const
    {
        return platform::PathExists(Gate(name) + L".entered");
    }

    [[nodiscard]] int StatusOf(const std::wstring& name) const
    {
        const SProgramResult result = Zel({L"status", name, L"--json"});
        const std::vector<nlohmann::json> objects = result.Objects();
        return objects.size() == 1 ? objects[0]["status"].get<int>() : -1;
    }

    /// Neither commands, nor their statuses, nor folders of files on their way.
    void ExpectNoCommandsLeft() const
    {
        for (const std::wstring& directory : {m_strRequests, m_strOutput, InOutput(L"Queue")}) {
            std::vector<platform::SDirectoryEntry> entries;
            EXPECT_EQ(platform::Files().List(directory, entries), platform::eOsError_None);
            for (const platform::SDirectoryEntry& entry : entries) {
                const std::string name = platform::ToUtf8(entry.name);
                EXPECT_FALSE(Contains(name, ".command") || Contains(name, ".zel-{")) << name;
            }
        }
    }
};

TEST_F(SteerCommandTest, CancelTakesAWaitingRequestOut)
{
    CRunningProgram server = StartByHand();
    Queue({L"a.drq", L"b.drq"});
    const SProgramResult result = Zel({L"cancel", L"a.drq", L"--json"});
    EXPECT_EQ(result.code, 0) << result.errors;
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["name"], "a.drq");
    EXPECT_EQ(result.Objects()[0]["status"], 11);
    EXPECT_FALSE(platform::PathExists(InQueue(L"a.drq")));
    EXPECT_EQ(StatusOf(L"a.drq"), 11);

    Write(Gate(L"b.drq"), "");
    ASSERT_TRUE(RequestStep(server.Process()));
    EXPECT_EQ(Zel({L"wait", L"b.drq"}).code, 0);
    EXPECT_FALSE(HasEntered(L"a.drq"));
    ExpectNoCommandsLeft();
    StopServer(server);
}

TEST_F(SteerCommandTest, CancelEndsTheRunningRequest)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    CRunningProgram waiting = StartZel({L"wait", L"g.drq"});
    ASSERT_TRUE(waiting.WaitForErrors("g.drq: "));
    const SProgramResult result = Zel({L"cancel", L"g.drq"});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "g.drq: Canceled\n");
    EXPECT_EQ(waiting.Finish().code, 6);
    EXPECT_EQ(StatusOf(L"g.drq"), 11);
    ExpectNoCommandsLeft();
    StopServer(server);
}

TEST_F(SteerCommandTest, CancelOfWhatDoesNotWaitOrRunReachesNobodyElse)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeEcho(L"done.drq", L"x")}).code, 0);
    ASSERT_EQ(Zel({L"wait", L"done.drq"}).code, 0);
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    Queue({L"paused.drq"});
    ASSERT_EQ(Zel({L"pause", L"paused.drq"}).code, 0);

    EXPECT_EQ(Zel({L"cancel", L"nowhere.drq"}).code, 5);
    const SProgramResult ended = Zel({L"cancel", L"done.drq", L"--json"});
    EXPECT_EQ(ended.code, 1);
    EXPECT_EQ(ended.Objects()[0]["status"], 0);
    EXPECT_TRUE(Contains(ended.errors, "'done.drq' has ended already: Done")) << ended.errors;
    const SProgramResult paused = Zel({L"cancel", L"paused.drq"});
    EXPECT_EQ(paused.code, 0) << paused.errors;
    EXPECT_EQ(StatusOf(L"paused.drq"), 11);
    EXPECT_FALSE(platform::PathExists(InQueue(L"paused.drq")));

    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, 0) << "the running request was not meant";
    StopServer(server);
}

TEST_F(SteerCommandTest, PausedTwiceItRunsBeforeTheOthers)
{
    CRunningProgram server = StartByHand();
    Queue({L"a.drq", L"b.drq", L"c.drq"});
    EXPECT_EQ(Zel({L"pause", L"b.drq"}).output, "b.drq: paused\n");
    EXPECT_EQ(StatusOf(L"b.drq"), 12);
    EXPECT_EQ(Zel({L"pause", L"b.drq"}).output, "b.drq: resumed\n");
    EXPECT_EQ(StatusOf(L"b.drq"), 5);
    ASSERT_TRUE(RequestStep(server.Process()));
    ASSERT_TRUE(WaitUntilAtGate(L"b.drq"));
    EXPECT_FALSE(HasEntered(L"a.drq") || HasEntered(L"c.drq"));
    Write(Gate(L"b.drq"), "");
    ASSERT_TRUE(WaitUntilAtGate(L"a.drq"));
    EXPECT_FALSE(HasEntered(L"c.drq"));
    Write(Gate(L"a.drq"), "");
    Write(Gate(L"c.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"a.drq", L"b.drq", L"c.drq"}).code, 0);
    ExpectNoCommandsLeft();
    StopServer(server);
}

TEST_F(SteerCommandTest, PausedItStaysWhileOthersRunUntilItIsResumed)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"first.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"first.drq"));
    Queue({L"a.drq", L"b.drq"});
    const SProgramResult paused = Zel({L"pause", L"a.drq", L"--json"});
    EXPECT_EQ(paused.code, 0) << paused.errors;
    ASSERT_EQ(paused.Objects().size(), 1U);
    EXPECT_EQ(paused.Objects()[0]["status"], 12);
    for (const wchar_t* name : {L"first.drq", L"a.drq", L"b.drq"})
        Write(Gate(name), "");
    EXPECT_EQ(Zel({L"wait", L"b.drq"}).code, 0);
    EXPECT_EQ(Zel({L"wait", L"a.drq", L"--timeout", L"0.2", L"-q"}).code, 7);
    EXPECT_FALSE(HasEntered(L"a.drq"));
    EXPECT_EQ(Zel({L"resume", L"a.drq"}).output, "a.drq: resumed\n");
    EXPECT_EQ(Zel({L"wait", L"a.drq"}).code, 0);
    StopServer(server);
}

TEST_F(SteerCommandTest, OnlyPausedRequestsAreResumedAndOnlyWaitingOnesPaused)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    Queue({L"a.drq"});
    const SProgramResult waiting = Zel({L"resume", L"a.drq"});
    EXPECT_EQ(waiting.code, 1);
    EXPECT_TRUE(Contains(waiting.errors, "'a.drq' is not known to be paused, but Waiting")) << waiting.errors;
    EXPECT_EQ(StatusOf(L"a.drq"), 5);
    const SProgramResult ran = Zel({L"resume", L"g.drq"});
    EXPECT_EQ(ran.code, 1);
    EXPECT_TRUE(Contains(ran.errors, "'g.drq' is not paused, but ")) << ran.errors;
    const SProgramResult running = Zel({L"pause", L"g.drq"});
    EXPECT_EQ(running.code, 1);
    EXPECT_TRUE(Contains(running.errors, "runs already")) << running.errors;
    EXPECT_EQ(Zel({L"pause", L"nowhere.drq"}).code, 5);
    EXPECT_EQ(Zel({L"resume", L"nowhere.drq"}).code, 5);
    Write(Gate(L"g.drq"), "");
    Write(Gate(L"a.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"g.drq", L"a.drq"}).code, 0);
    EXPECT_EQ(Zel({L"pause", L"a.drq"}).code, 1) << "it has ended";
    ExpectNoCommandsLeft();
    StopServer(server);
}

TEST_F(SteerCommandTest, OfSeveralNamesEachHasAnObjectAndTheFirstFailureGivesTheCode)
{
    CRunningProgram server = StartByHand();
    Queue({L"a.drq", L"b.drq"});
    const SProgramResult result = Zel({L"pause", L"a.drq", L"nowhere.drq", L"path/to/b.drq", L"--json"});
    EXPECT_EQ(result.code, 5);
    const std::vector<nlohmann::json> objects = result.Objects();
    ASSERT_EQ(objects.size(), 3U);
    EXPECT_EQ(objects[0]["status"], 12);
    EXPECT_EQ(objects[1]["status"], 4);
    EXPECT_EQ(objects[2]["name"], "b.drq");
    EXPECT_EQ(objects[2]["status"], 12);
    EXPECT_EQ(Zel({L"resume", L"a.drq", L"b.drq", L"-q"}).output, "");
    EXPECT_EQ(StatusOf(L"a.drq"), 5);
    StopServer(server);
}

TEST_F(SteerCommandTest, WithoutAServerTheTimeOfTheServerIsOver)
{
    Write(InRequests(L"a.drq"), "");
    Write(InRequests(L"b.drq"), "");
    CRunningProgram cancel = StartZel({L"cancel", L"a.drq", L"--json", L"--server-timeout", L"0.3"});
    CRunningProgram pause = StartZel({L"pause", L"b.drq", L"--json", L"--server-timeout", L"0.3"});
    for (CRunningProgram* program : {&cancel, &pause}) {
        const SProgramResult result = program->Finish();
        EXPECT_EQ(result.code, 4);
        ASSERT_EQ(result.Objects().size(), 1U);
        EXPECT_EQ(result.Objects()[0]["status"], 2);
        EXPECT_TRUE(result.errors.starts_with("zel: no server serves '")) << result.errors << ": before anything else";
        EXPECT_TRUE(result.errors.ends_with("did not carry out the command within 0.3 s\n")) << result.errors;
        EXPECT_EQ(std::ranges::count(result.errors, '\n'), 2) << "no reports: " << result.errors;
    }
    EXPECT_TRUE(platform::PathExists(InRequests(L"a.drq")));
}

TEST_F(SteerCommandTest, AStopEndsTheWaitForTheServersAnswer)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    Write(InQueue(L"waits.drq"), "");
    Write(InQueue(L"paused.drq"), "");
    Write(InOutput(L"paused.drq.status"), platform::ToUtf16Le(L"12\r\n"));
    for (const auto& [command, name] :
         {std::pair(L"cancel", L"waits.drq"), std::pair(L"pause", L"waits.drq"), std::pair(L"resume", L"paused.drq")}) {
        CRunningProgram zel = StartZel({command, name, L"next.drq", L"--server-timeout", L"3600"});
        std::wstring sent;
        ASSERT_TRUE(WaitUntil([&] {
            for (const std::wstring& file : FilesIn(m_strRequests))
                sent = file.ends_with(L".command") ? file : sent;
            return !sent.empty();
        }));
        zel.Process().RequestStop();
        const SProgramResult result = zel.Finish();
        EXPECT_EQ(result.code, 130) << result.errors;
        EXPECT_EQ(result.errors, "zel: interrupted; the command for '" + platform::ToUtf8(name) + "' was taken back\n");
        EXPECT_FALSE(platform::PathExists(InRequests(sent)));
    }
}

TEST_F(SteerCommandTest, WhatAServerTookMayStillBeCarriedOut)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    Write(InQueue(L"waits.drq"), "");
    CRunningProgram zel = StartZel({L"pause", L"waits.drq", L"--server-timeout", L"10"});
    ASSERT_TRUE(WaitUntil([&] {
        for (const std::wstring& file : FilesIn(m_strRequests)) {
            if (platform::Succeeded(platform::Files().Remove(InRequests(file))))
                return true;
        }
        return false;
    }));
    const SProgramResult result = zel.Finish();
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(Contains(result.errors, "the server did not answer within 10 s; it may still carry out the command"))
        << result.errors;
}

TEST_F(SteerCommandTest, AStopEndsTheWaitForTheServerToTakeARequest)
{
    Write(InRequests(L"a.drq"), "");
    CRunningProgram zel = StartZel({L"cancel", L"a.drq", L"--server-timeout", L"3600"});
    ASSERT_TRUE(WaitUntil([&] { // its folder is made when it listens for stops
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_EQ(platform::Files().List(m_strRequests, entries), platform::eOsError_None);
        return std::ranges::any_of(entries, &platform::SDirectoryEntry::isDirectory);
    }));
    zel.Process().RequestStop();
    const SProgramResult result = zel.Finish();
    EXPECT_EQ(result.code, 130);
    EXPECT_FALSE(Contains(result.errors, "did not carry out")) << result.errors;
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>{L"a.drq"}) << "nothing was sent";
}

} // namespace
