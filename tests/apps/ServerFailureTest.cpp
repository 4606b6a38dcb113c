#include "platform/Os.h"
#include "tests/apps/ProgramFixture.h"

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

} // namespace
