#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/plugins/SampleDatabase.h"
#include "tests/support/Predicates.h"

#include <algorithm>
#include <span>

namespace {

constexpr const char* kTwoBirds = "name,size\r\nowl,40.5\r\nwren,\r\n";

/// The fixture takes returns out of what programs print.
std::string WithoutReturn(std::string text)
{
    std::erase(text, '\r');
    return text;
}

class RunCommandTest : public CProgramTest {
protected:
    void ExpectNothingLeft() const
    {
        EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
        EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
        EXPECT_EQ(FilesIn(platform::JoinPath(m_strOutput, L"Queue")), std::vector<std::wstring>());
    }
    plugintest::CDataFolder m_data; ///< before the server, which inherits where it is
};

TEST_F(RunCommandTest, AQuestionInOneLineIsAnsweredAndNothingStays)
{
    m_data.Make(L"box",
                "CREATE TABLE birds(name TEXT, size REAL); INSERT INTO birds VALUES('owl', 40.5), ('wren', NULL),"
                "('[1,2]', 1)");
    CRunningProgram server = StartServer();
    const std::vector<std::wstring> question = {L"run",
                                                L"--task",
                                                L"Query",
                                                L"--set",
                                                L"DataSource=box",
                                                L"--set",
                                                L"Sql=select name, size from birds where name <> ? order by 1",
                                                L"--parameter",
                                                L"[1,2]"};
    const auto ask = [&](std::vector<std::wstring> more) {
        more.insert(more.begin(), question.begin(), question.end());
        const SProgramResult result = Zel(more);
        EXPECT_EQ(result.code, 0) << result.errors;
        ExpectNothingLeft();
        return result.output;
    };
    EXPECT_EQ(ask({}), "name  size\n----  ----\nowl   40.5\nwren\n");
    EXPECT_EQ(ask({L"--format", L"csv"}), WithoutReturn(kTwoBirds));
    EXPECT_EQ(ask({L"--json"}), "[\n{\"name\":\"owl\",\"size\":40.5},\n{\"name\":\"wren\",\"size\":null}\n]\n");
    EXPECT_TRUE(ask({L"--format", L"xml"}).starts_with("<?xml "));
    EXPECT_EQ(ask({L"--format", L"csv", L"-o", InHome(L"answer.csv"), L"-q"}), "");
    EXPECT_EQ(Read(InHome(L"answer.csv")), kTwoBirds);
    EXPECT_EQ(FilesIn(m_strHome), std::vector<std::wstring>{L"answer.csv"});
    StopServer(server);
}

TEST_F(RunCommandTest, AFileIsRunUnderANameOfItsOwn)
{
    CRunningProgram server = StartServer();
    const std::wstring file = MakeEcho(L"a.drq", L"hello");
    Write(InOutput(L"a.drq"), "somebody's");
    const SProgramResult result = Zel({L"run", file});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "Element   Value\n--------  -----\nResponse  hello\n");
    EXPECT_TRUE(Contains(result.errors, ": Done")) << "the progress: " << result.errors;
    EXPECT_TRUE(platform::PathExists(file));
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>{L"a.drq"}) << "which is not its own";
    const SProgramResult text = Zel({L"run", MakeEcho(L"q.txt", L"hello"), L"--json"});
    EXPECT_EQ(text.code, 0) << text.errors;
    EXPECT_TRUE(Contains(text.errors, "q-")) << text.errors;
    EXPECT_EQ(Zel({L"run", file, L"--name", L"q.txt"}).code, 2) << "a name that is given is a request's";
    StopServer(server);
}

TEST_F(RunCommandTest, AFailureIsToldWithTheCodeOfWait)
{
    CRunningProgram server = StartServer();
    const SProgramResult result = Zel({L"run", L"--task", L"FailObtain", L"--set", L"Words=no luck", L"-q"});
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(Contains(result.errors, "no luck")) << result.errors;
    const SProgramResult json = Zel({L"run", L"--task", L"FailObtain", L"--json", L"-q"});
    ASSERT_EQ(json.Objects().size(), 1U);
    EXPECT_EQ(json.Objects()[0]["status"], 1);
    ExpectNothingLeft();
    StopServer(server);
}

TEST_F(RunCommandTest, WhoStopsWaitingHasTheRequestCancelled)
{
    CRunningProgram server = StartServer();
    CRunningProgram run =
        StartZel({L"run", L"--task", L"Gate", L"--name", L"g.drq", L"--set", L"GateFile=" + Gate(L"g.drq")});
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    run.Process().RequestStop();
    const SProgramResult result = run.Finish();
    EXPECT_EQ(result.code, 130);
    EXPECT_TRUE(Contains(result.errors, "the request 'g.drq' is no longer waited for, and is cancelled"))
        << result.errors;
    ExpectNothingLeft();
    // The time is that of the hand-over, too.
    const SProgramResult late = Zel(
        {L"run", L"--task", L"Gate", L"--name", L"l.drq", L"--timeout", L"5", L"--set", L"GateFile=" + Gate(L"l.drq")});
    EXPECT_EQ(late.code, 7);
    EXPECT_TRUE(Contains(late.errors, "is cancelled")) << late.errors;
    ExpectNothingLeft();
    StopServer(server);
}

TEST_F(RunCommandTest, WithoutAServerTheRequestIsTakenBack)
{
    CRunningProgram run = StartZel({L"run", L"--task", L"Echo"});
    ASSERT_TRUE(WaitUntil([&] { return !FilesIn(m_strRequests).empty(); }));
    run.Process().RequestStop();
    const SProgramResult result = run.Finish();
    EXPECT_EQ(result.code, 130) << result.errors;
    EXPECT_TRUE(Contains(result.errors, "is cancelled")) << result.errors;
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(RunCommandTest, NobodyIsAskedToCancelARequestThatNoServerHasTaken)
{
    CRunningProgram run = StartZel({L"--server-timeout", L"5", L"run", L"--task", L"Echo", L"--name", L"e.drq"});
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InRequests(L"e.drq")); }));
    std::unique_ptr<platform::IFile> reader;
    ASSERT_EQ(platform::Files().Open(InRequests(L"e.drq"), platform::eOpenMode_ReadExclusive, reader),
              platform::eOsError_None);
    run.Process().RequestStop();
    int code = -1;
    while (!run.Process().Wait(std::chrono::milliseconds(10), code))
        ASSERT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>{L"e.drq"}) << "it may be that of another one";
    const SProgramResult result = run.Finish();
    EXPECT_EQ(result.code, 130);
    EXPECT_TRUE(Contains(result.errors, "it may go on")) << result.errors;
}

TEST_F(RunCommandTest, TheTimeIsThatOfTheRequestAndNotOfItsReader)
{
    constexpr std::chrono::seconds time{5};
    m_data.Make(L"box", "CREATE TABLE none(n)");
    CRunningProgram server = StartServer();
    CRunningProgram run = StartZel({L"run", L"--task", L"Query", L"--set", L"DataSource=box", L"--set",
                                    L"Sql=select printf('%.*c', 1000000, 'x')", L"--timeout",
                                    std::to_wstring(time.count()), L"--format", L"csv"});
    // A pipe takes only part of it before its reader takes more.
    std::string begin;
    ASSERT_EQ(run.Process().ReadSome(begin, kPatience), platform::eProcessOutput_Data);
    const auto end = platform::Clock().Steady() + time;
    ASSERT_TRUE(WaitUntil([end] { return platform::Clock().Steady() > end; }));
    const SProgramResult result = run.Finish();
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_TRUE((begin + result.output).ends_with("xxx\n"));
    EXPECT_GT(begin.size() + result.output.size(), 1'000'000U);
    ExpectNothingLeft();
    StopServer(server);
}

TEST_F(RunCommandTest, AnAnswerThatCannotBeWrittenIsKept)
{
    CRunningProgram server = StartServer();
    CRunningProgram run = StartZel({L"run", L"--task", L"Gate", L"--name", L"g.drq", L"--set",
                                    L"GateFile=" + Gate(L"g.drq"), L"-o", InHome(L"x.csv"), L"-q"});
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    // The target could be made when that was tried.
    ASSERT_EQ(platform::Files().MakeDirectory(InHome(L"x.csv")), platform::eOsError_None);
    Write(Gate(L"g.drq"), "");
    const SProgramResult result = run.Finish();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "the response is kept: zel receive '")) << result.errors;
    EXPECT_FALSE(platform::PathExists(InOutput(L"g.drq"))) << "its name is free";
    const auto kept = FilesIn(m_strOutput);
    ASSERT_EQ(std::ranges::count_if(kept, [](const std::wstring& name) { return name.ends_with(L".drq"); }), 1);
    const auto name = std::ranges::find_if(kept, [](const std::wstring& each) { return each.ends_with(L".drq"); });
    EXPECT_TRUE(Contains(result.errors, "'" + platform::ToUtf8(*name) + "'")) << result.errors;
    EXPECT_EQ(Zel({L"receive", *name, InHome(L"x.xml"), L"-q"}).code, 0);
    StopServer(server);
}

TEST_F(RunCommandTest, WhatCannotRunIsToldBeforeItIsSent)
{
    CRunningProgram server = StartServer();
    EXPECT_EQ(Zel({L"run", L"--task", L"Echo", L"-o", InHome(L"none/x.csv")}).code, 1) << "nothing is sent";
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    EXPECT_EQ(Zel({L"run"}).code, 2);
    EXPECT_EQ(Zel({L"run", L"--task", L"Echo", L"--format", L"pdf"}).code, 2);
    EXPECT_EQ(Zel({L"run", InHome(L"none.drq")}).code, 1);
    StopServer(server);
}

class ShowCommandTest : public CProgramTest {
protected:
    void SetUp() override
    {
        Write(InHome(L"answer.xml"), "<R><Columns><Column Name='n' Type='integer'/></Columns><Rows>"
                                     "<Row><Value>1</Value></Row></Rows></R>");
    }
};

TEST_F(ShowCommandTest, AFileNeedsNoServer)
{
    const SProgramResult result = RunProgram(L"zel", {L"show", InHome(L"answer.xml"), L"--format", L"json"});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "[\n{\"n\":1}\n]\n");
    platform::SProcessOptions options;
    options.inputFile = InHome(L"answer.xml");
    EXPECT_EQ(RunProgram(L"zel", {L"show", L"-"}, options).output, "n\n-\n1\n");
}

TEST_F(ShowCommandTest, TheResponseOfARequestStaysWhereItIs)
{
    Write(InOutput(L"a.drq"), Read(InHome(L"answer.xml")));
    EXPECT_EQ(Zel({L"show", L"a.drq", L"--format", L"csv"}).output, "n\n1\n");
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>{L"a.drq"});
    const SProgramResult none = Zel({L"show", L"b.drq"});
    EXPECT_EQ(none.code, 1);
    EXPECT_TRUE(Contains(none.errors, "'b.drq' is no file, and no request of this name has a response")) << none.errors;
    EXPECT_EQ(RunProgram(L"zel", {L"show", L"b.drq"}).code, 2) << "no directory is known";
    EXPECT_EQ(Zel({L"show", m_strHome}).code, 1);
}

TEST_F(ShowCommandTest, ABrokenAnswerIsShownAsFarAsItGoes)
{
    Write(InHome(L"broken.xml"), "<R><Rows><Row><Value>1</Value></Row>\n<Row>");
    const SProgramResult result = RunProgram(L"zel", {L"show", InHome(L"broken.xml"), L"--format", L"csv"});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.output, "1\n");
    EXPECT_TRUE(Contains(result.errors, "cannot be shown from line 2 on")) << result.errors;
}

TEST_F(ShowCommandTest, MemoryDoesNotGrowWithTheAnswer)
{
    if (testsupport::IsAddressSanitized())
        GTEST_SKIP() << "the address sanitizer keeps what was freed, and this program's own memory for it";
    // In pieces: what a new process counts as its own at first is that of its parent.
    const auto peak = [&](int rows) {
        std::unique_ptr<platform::IFile> file;
        EXPECT_EQ(platform::Files().Open(InHome(L"large.xml"), platform::eOpenMode_WriteExclusive, file),
                  platform::eOsError_None);
        const auto write = [&](const std::string& text) {
            EXPECT_EQ(file->Write(std::as_bytes(std::span(text))), platform::eOsError_None);
        };
        write("<R><Columns><Column Name='n'/></Columns><Rows>");
        for (int i = 0; i < rows; ++i)
            write("<Row><Value>" + std::string(1000, 'x') + "</Value></Row>");
        write("</Rows></R>");
        EXPECT_EQ(file->Close(), platform::eOsError_None);
        CRunningProgram show(L"zel", {L"show", InHome(L"large.xml"), L"--format", L"csv"});
        std::string some; // and the output goes away as it comes
        while (show.Process().ReadSome(some, kPatience) == platform::eProcessOutput_Data)
            some.clear();
        EXPECT_EQ(show.Finish().code, 0);
        return show.Process().PeakMemory();
    };
    const std::uint64_t small = peak(1000);
    const std::uint64_t large = peak(16'000);
    if (testsupport::IsWine() && (small == 0 || large == 0))
        GTEST_SKIP() << "Wine had no figure any more for a program that has ended";
    EXPECT_GT(small, 0U);
    EXPECT_LT(large, small + (std::uint64_t{4} << 20)) << "of 16 MB";
}

} // namespace
