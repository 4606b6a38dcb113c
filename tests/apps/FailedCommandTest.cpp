#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

/// What a server keeps of requests that failed, and what an operator does with them.
class FailedCommandTest : public CProgramTest {
protected:
    [[nodiscard]] CRunningProgram Start(std::vector<std::wstring> extra = {}) const
    {
        platform::SProcessOptions options;
        options.environment = {{L"LSAN_OPTIONS", L"detect_leaks=0"}, {L"ZEL_CRASH_DIR", m_strHome}};
        extra.insert(extra.end(), {L"--keep-failed", L"7"});
        return StartServer(extra, options);
    }
    /// One that fails for as long as there is a directory in the place of its response.
    void Fail(const std::wstring& name) const
    {
        ASSERT_EQ(Zel({L"send", MakeGate(name)}).code, 0);
        ASSERT_TRUE(WaitUntilAtGate(name));
        ASSERT_EQ(platform::Files().MakeDirectory(InOutput(name)), platform::eOsError_None);
        Write(Gate(name), "");
        EXPECT_EQ(Zel({L"wait", L"-q", name}).code, 3);
    }
    void Mend(const std::wstring& name) const
    {
        ASSERT_EQ(platform::Files().RemoveEmptyDirectory(InOutput(name)), platform::eOsError_None);
    }
    [[nodiscard]] std::vector<nlohmann::json> Failed() const
    {
        const SProgramResult result = Zel({L"failed", L"--json"});
        EXPECT_EQ(result.code, 0) << result.errors;
        return result.Objects();
    }
    [[nodiscard]] std::wstring Kept(const std::wstring& name) const { return InOutput(L".zel-server/failed/" + name); }
};

TEST_F(FailedCommandTest, WhatFailedIsListedAndRunAgainWhenItsCauseIsMended)
{
    CRunningProgram server = Start();
    EXPECT_TRUE(Failed().empty());
    EXPECT_EQ(Zel({L"failed"}).output, "");
    Fail(L"a.drq");
    const std::vector<nlohmann::json> failed = Failed();
    ASSERT_EQ(failed.size(), 1U);
    EXPECT_EQ(failed[0]["name"], "a.drq");
    EXPECT_TRUE(Contains(failed[0]["reason"], "the response could not be saved"));
    EXPECT_TRUE(Contains(failed[0]["failed"], "T"));
    EXPECT_TRUE(failed[0]["crashReport"].is_null());
    EXPECT_EQ(failed[0]["attempts"], 1);
    EXPECT_GT(failed[0]["size"], 10);
    const std::string table = Zel({L"failed"}).output;
    EXPECT_TRUE(Contains(table, "a.drq")) << table;
    EXPECT_TRUE(Contains(table, "the response could not be saved")) << table;
    Mend(L"a.drq");
    const SProgramResult retried = Zel({L"retry", L"a.drq"});
    EXPECT_EQ(retried.code, 0) << retried.errors;
    EXPECT_EQ(retried.output, "a.drq: waits again\n");
    EXPECT_EQ(Zel({L"wait", L"a.drq"}).code, 0);
    EXPECT_TRUE(platform::PathExists(InOutput(L"a.drq")));
    EXPECT_TRUE(Failed().empty());
    EXPECT_TRUE(Contains(server.Errors(), "Command: run again the failed request a.drq: Done")) << server.Errors();
    StopServer(server);
}

TEST_F(FailedCommandTest, TheyOutlastRestartsOfEveryKind)
{
    CRunningProgram first = Start({L"--resume"});
    Fail(L"a.drq");
    Fail(L"b.drq");
    // The end is told before the file is kept.
    ASSERT_TRUE(WaitUntil([this] { return Failed().size() == 2; }));
    first.Process().Kill();
    static_cast<void>(first.Finish());
    EXPECT_EQ(Failed().size(), 2U) << "there is no server";
    CRunningProgram second = Start({L"--resume"});
    EXPECT_EQ(Failed().size(), 2U);
    StopServer(second);
    CRunningProgram third = Start();
    Mend(L"a.drq");
    EXPECT_EQ(Zel({L"retry", L"a.drq"}).code, 0);
    EXPECT_EQ(Zel({L"wait", L"a.drq"}).code, 0);
    EXPECT_EQ(Zel({L"discard", L"b.drq"}).output, "b.drq: discarded\n");
    EXPECT_TRUE(Failed().empty());
    EXPECT_TRUE(FilesIn(Kept({})).empty());
    StopServer(third);
}

TEST_F(FailedCommandTest, AllOfThemAreMeant)
{
    CRunningProgram server = Start();
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"})
        EXPECT_EQ(Zel({L"send", MakeRequest(name, L"Type=\"FailObtain\""), L"--wait", L"-q"}).code, 3);
    ASSERT_EQ(Zel({L"hold"}).code, 0);
    EXPECT_EQ(Zel({L"retry", L"--all"}).code, 0);
    EXPECT_TRUE(Failed().empty());
    const SProgramResult again = Zel({L"retry", L"a.drq"});
    EXPECT_EQ(again.code, 3);
    EXPECT_TRUE(Contains(again.errors, "A request 'a.drq' waits, is paused or runs, or")) << again.errors;
    ASSERT_EQ(Zel({L"release"}).code, 0);
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"})
        EXPECT_EQ(Zel({L"wait", name}).code, 3);
    EXPECT_EQ(Failed().size(), 3U) << "they failed again";
    EXPECT_EQ(Zel({L"discard", L"--all", L"--json"}).Objects().size(), 3U);
    EXPECT_TRUE(Failed().empty());
    StopServer(server);
}

TEST_F(FailedCommandTest, OneThatCrashedIsKeptWithItsReport)
{
    CRunningProgram server = Start();
    EXPECT_EQ(Zel({L"send", MakeRequest(L"c.drq", L"Type=\"Crash\" Kind=\"Exception\""), L"--wait", L"-q"}).code, 3);
    const std::vector<nlohmann::json> failed = Failed();
    ASSERT_EQ(failed.size(), 1U);
    const std::wstring report = platform::FromUtf8(failed[0]["crashReport"].get<std::string>());
    EXPECT_TRUE(Contains(Read(report), "c.drq"));
    EXPECT_TRUE(Contains(Zel({L"failed"}).output, "crash report: " + platform::ToUtf8(report)));
    StopServer(server);
}

TEST_F(FailedCommandTest, WhatIsCancelledOrNotWantedIsNotKept)
{
    CRunningProgram server = Start();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    EXPECT_EQ(Zel({L"cancel", L"g.drq"}).code, 0);
    static_cast<void>(Zel({L"wait", L"g.drq"}));
    EXPECT_TRUE(Failed().empty());
    StopServer(server);
    CRunningProgram other = StartServer();
    Fail(L"a.drq");
    EXPECT_TRUE(Failed().empty());
    StopServer(other);
}

TEST_F(FailedCommandTest, WhatCannotBeDoneIsToldWhy)
{
    CRunningProgram server = Start();
    for (const wchar_t* command : {L"retry", L"discard"}) {
        const SProgramResult unknown = Zel({command, L"none.drq"});
        EXPECT_EQ(unknown.code, 3);
        EXPECT_TRUE(Contains(unknown.errors, "'none.drq' is not among the failed requests that are kept."))
            << unknown.errors;
        EXPECT_EQ(Zel({command}).code, 2);
        EXPECT_EQ(Zel({command, L"a.drq", L"--all"}).code, 2);
        EXPECT_EQ(Zel({command, L"--all"}).code, 0) << "there is nothing to do";
    }
    StopServer(server);
    CRunningProgram strict = Start({L"--strict"});
    EXPECT_EQ(Zel({L"retry", L"none.drq", L"--server-timeout", L"0.5"}).code, 4) << "the word is unknown";
    StopServer(strict);
}

} // namespace
