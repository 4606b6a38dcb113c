#include "platform/Os.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/WaitUntil.h"

namespace {

/// A server whose system fails, by a plug-in that stands between the two.
class ServerFailureTest : public CProgramTest {
protected:
    void SetUp() override
    {
        MakeFailingSystem();
        // As an earlier server left it.
        ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
        Write(InOutput(L"response.drq"), "keep");
        Write(InQueue(L"waiting.drq"), "keep");
    }
    [[nodiscard]] SProgramResult StartFailing(const std::wstring& failure) const
    {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--components", m_strHome});
        platform::SProcessOptions options;
        options.environment = {{L"ZEL_TEST_FAILURE", failure}};
        return RunProgram(L"zel-server", arguments, options);
    }
    void ExpectRefusedAndNothingDeleted(const SProgramResult& result, const std::string& reason) const
    {
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(Contains(result.errors, reason)) << result.errors;
        EXPECT_EQ(Read(InOutput(L"response.drq")), "keep");
        EXPECT_EQ(Read(InQueue(L"waiting.drq")), "keep");
        EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
    }
};

TEST_F(ServerFailureTest, AStartThatCanNotWatchTheRequestsDeletesNothing)
{
    ExpectRefusedAndNothingDeleted(StartFailing(L"watch"), "cannot be watched for changes: ");
}

TEST_F(ServerFailureTest, AStartThatCanNotWriteBesideTheRequestsDeletesNothing)
{
    ExpectRefusedAndNothingDeleted(StartFailing(L"touch"), "requests' cannot be written: ");
}

TEST_F(ServerFailureTest, AStartWithoutAProjectDeletesNothing)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L".zel-server")), platform::eOsError_None);
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L".zel-server/project")), platform::eOsError_None);
    ExpectRefusedAndNothingDeleted(StartFailing(L""), "project of the output directory");
}

TEST_F(ServerFailureTest, AServerThatEndedItselfSaysSoAndEndsWithAnError)
{
    CRunningProgram server = StartServer({L"--components", m_strHome});
    Write(InRequests(L"fail-now"), "");
    const SProgramResult result = server.Finish();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "zel-server: the server has ended by itself because of a failure"))
        << result.errors;
}

TEST_F(ServerFailureTest, AStopIsHeardWhileALookAtTheDirectoriesHangs)
{
    CRunningProgram server = StartServer({L"--components", m_strHome, L"--stop-timeout", L"1"});
    Write(InOutput(L"Queue") + L".hangs", "");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InOutput(L"Queue") + L".hung"); }));
    server.Process().RequestStop();
    const SProgramResult result = server.Finish();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "the file system of its directories does not answer")) << result.errors;
}

TEST_F(ServerFailureTest, AStopWaitsForALookThatComesBack)
{
    CRunningProgram server = StartServer({L"--components", m_strHome});
    Write(InOutput(L"Queue") + L".hangs", "");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InOutput(L"Queue") + L".hung"); }));
    server.Process().RequestStop();
    ASSERT_TRUE(server.WaitForErrors("waiting for the file system of the directories"));
    EXPECT_EQ(platform::Files().Remove(InOutput(L"Queue") + L".hangs"), platform::eOsError_None);
    EXPECT_EQ(server.Finish().code, 0);
}

TEST_F(ServerFailureTest, AStopThatIsAskedForTwiceWaitsForALookAsWell)
{
    CRunningProgram server = StartServer({L"--components", m_strHome});
    Write(InOutput(L"Queue") + L".hangs", "");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InOutput(L"Queue") + L".hung"); }));
    server.Process().RequestStop();
    ASSERT_TRUE(server.WaitForErrors("The server stops"));
    server.Process().RequestStop();
    ASSERT_TRUE(server.WaitForErrors("waiting for the file system of the directories"));
    EXPECT_EQ(platform::Files().Remove(InOutput(L"Queue") + L".hangs"), platform::eOsError_None);
    EXPECT_EQ(server.Finish().code, 0);
}

TEST_F(ServerFailureTest, AFailureDuringAStopIsToldAndCancelsNothing)
{
    CRunningProgram server = StartServer({L"--components", m_strHome});
    CRunningProgram client = StartZel({L"send", MakeGate(L"g.drq"), L"--wait"});
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    // The listener stands in a look at the directory while the stop comes, and fails when it goes on.
    Write(InRequests(L"fail-when-told"), "");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(m_strRequests + L".listing"); }));
    server.Process().RequestStop();
    ASSERT_TRUE(server.WaitForErrors("waiting for the running request to end"));
    Write(m_strRequests + L".fail", "");
    ASSERT_TRUE(server.WaitForErrors("bad_alloc"));
    // One signal too many would be heard within 20 ms.
    EXPECT_FALSE(testsupport::WaitUntil([&] { return Contains(server.Errors(), "cancelling"); },
                                        std::chrono::milliseconds(500)));
    Write(Gate(L"g.drq"), "");
    const SProgramResult followed = client.Finish();
    EXPECT_EQ(followed.code, 0) << "the request was not cancelled, and its client is told so\n" << followed.errors;
    const SProgramResult result = server.Finish();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "zel-server: the server has ended by itself because of a failure"))
        << result.errors;
}

} // namespace
