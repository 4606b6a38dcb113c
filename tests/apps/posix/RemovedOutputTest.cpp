#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <filesystem>

namespace {

/// Here, because Windows removes no directory in which a server holds its claim open.
class RemovedOutputTest : public CProgramTest {
protected:
    /// In one step: a server that looks in the middle of it would make parts again.
    void RemoveOutput() const
    {
        std::filesystem::rename(platform::StandardPath(m_strOutput), platform::StandardPath(m_root / L"removed"));
    }
};

TEST_F(RemovedOutputTest, AnOutputDirectoryIsMadeAgainWithItsClaim)
{
    CRunningProgram server = StartServer();
    RemoveOutput();
    const std::string told = "' was removed; it was made again, and what lay in it is lost";
    ASSERT_TRUE(server.WaitForErrors(told));
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_EQ(Zel({L"server", L"-q"}).code, 0);
    EXPECT_TRUE(Contains(ServerResult(DirectoryArguments()).errors, "another server (process "));
    StopServer(server);
    const std::string errors = server.Errors();
    EXPECT_EQ(errors.find(told), errors.rfind(told)) << "told once";
}

TEST_F(RemovedOutputTest, ATaskThatGoesOnReportingFillsNoLog)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeRequest(L"a.drq", L"Type='Sleep' Milliseconds='8000' Steps='400'")}).code, 0);
    ASSERT_TRUE(server.WaitForErrors("{a.drq} Started"));
    RemoveOutput();
    ASSERT_TRUE(server.WaitForErrors("{a.drq} Ended"));
    StopServer(server);
    const std::string errors = server.Errors();
    for (const std::string told : {"a.drq.status' cannot be written: ", "a.drq.status' is written again"}) {
        EXPECT_NE(errors.find(told), std::string::npos) << errors;
        EXPECT_EQ(errors.find(told), errors.rfind(told)) << errors;
    }
    EXPECT_EQ(errors.find("Unable to create/open status file"), std::string::npos) << errors;
}

TEST_F(RemovedOutputTest, OneWhoseWayIsGoneEndsTheServerWithAnError)
{
    m_strOutput = m_root / platform::JoinPath(L"mounted", L"output");
    CRunningProgram server = StartServer({L"--create-dirs"});
    std::filesystem::rename(platform::StandardPath(m_root / L"mounted"), platform::StandardPath(m_root / L"gone"));
    const SProgramResult result = server.Finish();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "' was removed and cannot be made again: ")) << result.errors;
    EXPECT_FALSE(platform::PathExists(m_root / L"mounted")) << "nothing is made where it does not belong";
}

TEST_F(RemovedOutputTest, AClaimIsMadeAgain)
{
    CRunningProgram server = StartServer();
    // In one step: the server may be making it anew already while its files are removed one by one.
    std::filesystem::rename(platform::StandardPath(InOutput(L".zel-server")), platform::StandardPath(m_root / L"gone"));
    ASSERT_TRUE(server.WaitForErrors("the claim on the directory '" + platform::ToUtf8(m_strOutput) + "' was removed"));
    EXPECT_TRUE(Contains(ServerResult(DirectoryArguments()).errors, "another server (process "));
    std::filesystem::rename(platform::StandardPath(InRequests(L".zel-server")),
                            platform::StandardPath(m_root / L"gone too"));
    ASSERT_TRUE(
        server.WaitForErrors("the claim on the directory '" + platform::ToUtf8(m_strRequests) + "' was removed"));
    StopServer(server);
}

TEST_F(RemovedOutputTest, ALinkInThePlaceOfTheClaimOnRequestsEndsNoServerAndLeadsNowhere)
{
    CRunningProgram server = StartServer();
    const std::wstring claim = InRequests(L".zel-server");
    const std::wstring other = m_root / L"other";
    std::filesystem::create_directory(platform::StandardPath(other));
    for (const wchar_t* const name : {L"lock", L"process"})
        Write(platform::JoinPath(other, name), "of somebody");
    // Again when the server, which looks for its claim all the time, was quicker and has made it anew.
    std::error_code error = std::make_error_code(std::errc::file_exists);
    for (int attempt = 0; attempt < 100 && error == std::errc::file_exists; ++attempt) {
        const std::wstring gone = m_root / (L"gone" + std::to_wstring(attempt));
        std::filesystem::rename(platform::StandardPath(claim), platform::StandardPath(gone));
        std::filesystem::create_directory_symlink(platform::StandardPath(other), platform::StandardPath(claim), error);
    }
    ASSERT_FALSE(error) << error.message();
    ASSERT_TRUE(server.WaitForErrors("cannot be claimed"));
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_EQ(Read(platform::JoinPath(other, L"lock")), "of somebody");
    EXPECT_EQ(Read(platform::JoinPath(other, L"process")), "of somebody");
}

} // namespace
