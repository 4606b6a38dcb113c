#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

class WaitCommandTest : public CProgramTest {
protected:
    void MakeEnded(const std::wstring& name, int status) const
    {
        Write(InOutput(name + L".status"), platform::ToUtf16Le(std::to_wstring(status) + L"\r\n"));
    }
};

TEST_F(WaitCommandTest, EndsAtOnceWithTheCodeOfWhatHasEnded)
{
    for (const auto& [status, code] : {std::pair{13, 0}, {1, 3}, {2, 4}, {11, 6}}) {
        MakeEnded(L"a.drq", status);
        for (const wchar_t* option : {L"--json", L"--quiet"})
            EXPECT_EQ(Zel({L"wait", L"a.drq", option}).code, code) << status;
    }
    // Waiting takes nothing away.
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>{L"a.drq.status"});
}

TEST_F(WaitCommandTest, UnknownRequestEndsWithCode5)
{
    EXPECT_EQ(Zel({L"wait", L"a.drq"}).code, 5);
    EXPECT_EQ(Zel({L"wait", L"a.drq", L"-q"}).code, 5);
}

TEST_F(WaitCommandTest, OfSeveralRequestsTheFirstThatFailedGivesTheCode)
{
    MakeEnded(L"done.drq", 13);
    MakeEnded(L"cancelled.drq", 11);
    MakeEnded(L"failed.drq", 1);
    const SProgramResult result = Zel({L"wait", L"done.drq", L"cancelled.drq", L"failed.drq", L"--json"});
    EXPECT_EQ(result.code, 6);
    EXPECT_EQ(result.Objects().size(), 3U);
}

TEST_F(WaitCommandTest, TimeoutEndsWithCode7)
{
    Write(InRequests(L"a.drq"), "");
    for (const wchar_t* option : {L"--json", L"--quiet"})
        EXPECT_EQ(Zel({L"wait", L"a.drq", L"--timeout", L"0.1", option}).code, 7);
    EXPECT_EQ(Zel({L"wait", L"a.drq", L"--timeout", L"0"}).code, 7);
}

TEST_F(WaitCommandTest, WaitsForTheEnd)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    CRunningProgram loud = StartZel({L"wait", L"g.drq"});
    CRunningProgram quiet = StartZel({L"wait", L"g.drq", L"-q", L"--json"});
    ASSERT_TRUE(loud.WaitForErrors("g.drq: "));
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(loud.Finish().code, 0);
    const SProgramResult result = quiet.Finish();
    EXPECT_EQ(result.code, 0);
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["status"], 13);
    StopServer(server);
}

TEST_F(WaitCommandTest, RequestThatDisappearsEndsTheWait)
{
    Write(InRequests(L"a.drq"), "");
    CRunningProgram client = StartZel({L"wait", L"a.drq"});
    ASSERT_TRUE(client.WaitForErrors("a.drq: Waiting"));
    ASSERT_EQ(platform::Files().Remove(InRequests(L"a.drq")), platform::eOsError_None);
    EXPECT_EQ(client.Finish().code, 5);
}

TEST_F(WaitCommandTest, AStatusThatSomebodyHoldsOpenIsWaitedForInTimeOnly)
{
    MakeEnded(L"a.drq", 13);
    std::unique_ptr<platform::IFile> holder;
    ASSERT_EQ(platform::Files().Open(InOutput(L"a.drq.status"), platform::eOpenMode_ReadShared, holder),
              platform::eOsError_None);
    for (const wchar_t* option : {L"--json", L"--quiet"})
        EXPECT_EQ(Zel({L"wait", L"a.drq", L"--timeout", L"0.2", option}).code, 7);
}

TEST_F(WaitCommandTest, AStatusThatSomebodyHoldsOpenDoesNotHinderTheStop)
{
    Write(InRequests(L"a.drq"), "");
    CRunningProgram waiting = StartZel({L"wait", L"a.drq"});
    ASSERT_TRUE(waiting.WaitForErrors("a.drq: Waiting"));
    std::unique_ptr<platform::IFile> holder;
    ASSERT_EQ(platform::Files().Open(InOutput(L"a.drq.status"), platform::eOpenMode_WriteExclusive, holder),
              platform::eOsError_None);
    waiting.Process().RequestStop();
    EXPECT_EQ(waiting.Finish().code, 130);
}

TEST_F(WaitCommandTest, InterruptionLeavesTheRequestAndSaysSo)
{
    CRunningProgram server = StartServer();
    CRunningProgram client = StartZel({L"send", MakeGate(L"g.drq"), L"--wait", L"--json"});
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    client.Process().RequestStop();
    const SProgramResult result = client.Finish();
    EXPECT_EQ(result.code, 130);
    EXPECT_TRUE(Contains(result.errors, "interrupted; the request 'g.drq' goes on")) << result.errors;
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, 0);
    StopServer(server);
}

} // namespace
