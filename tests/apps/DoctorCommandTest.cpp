#include "apps/common/DirectoryTrial.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/FaultyFiles.h"

#include <algorithm>

namespace {

class DoctorCommandTest : public CProgramTest {
protected:
    /// The findings of one check.
    [[nodiscard]] static std::vector<nlohmann::json> Of(const SProgramResult& result, const std::string& check)
    {
        std::vector<nlohmann::json> found = result.Objects();
        std::erase_if(found, [&](const nlohmann::json& finding) { return finding["check"] != check; });
        return found;
    }
    static void ExpectEach(const SProgramResult& result, const std::string& check, std::size_t count,
                           const std::string& level)
    {
        const std::vector<nlohmann::json> found = Of(result, check);
        EXPECT_EQ(found.size(), count) << check;
        for (const nlohmann::json& finding : found) {
            EXPECT_EQ(finding["level"], level) << finding;
            EXPECT_EQ(finding["advice"].is_null(), level == "OK") << finding;
        }
    }
    /// All names in the directories, folders of the server aside.
    [[nodiscard]] std::vector<std::wstring> Left() const
    {
        std::vector<std::wstring> left = FilesIn(m_strRequests);
        for (const std::wstring& name : FilesIn(m_strOutput))
            left.push_back(name);
        return left;
    }
};

TEST_F(DoctorCommandTest, AServerThatServesIsWellAndNothingIsLeft)
{
    CRunningProgram server = StartServer();
    const SProgramResult result = Zel({L"doctor", L"--json"});
    EXPECT_EQ(result.code, 0) << result.output << result.errors;
    for (const char* const check : {"request-dir", "output-dir", "temporary", "volume", "server", "version"})
        ExpectEach(result, check, 1, "OK");
    EXPECT_EQ(Of(result, "space").size(), 2U);
    EXPECT_EQ(Of(result, "file-system").size(), 2U);
    ExpectEach(result, "watch", 2, "OK");
    ExpectEach(result, "locks", 2, "OK");
    EXPECT_FALSE(Of(result, "plugin").empty());
    EXPECT_EQ(Left(), std::vector<std::wstring>());
    StopServer(server);
}

TEST_F(DoctorCommandTest, PeopleReadWhatToDo)
{
    const SProgramResult result = Zel({L"doctor"});
    EXPECT_EQ(result.code, 1) << "no server";
    EXPECT_TRUE(Contains(result.output, platform::ToUtf8(L"\nFAIL  no server serves '" + m_strOutput +
                                                         L"'\n      start "
                                                         L"zel-server ")))
        << result.output;
    EXPECT_TRUE(result.output.starts_with("OK    files can be made in '")) << result.output;
    EXPECT_EQ(Left(), std::vector<std::wstring>());
    const SProgramResult quiet = Zel({L"doctor", L"-q"});
    EXPECT_EQ(quiet.code, 1);
    EXPECT_TRUE(quiet.output.starts_with("FAIL  no server serves")) << quiet.output;
}

TEST_F(DoctorCommandTest, WhatIsMissingIsNamed)
{
    const SProgramResult result = Zel({L"doctor", L"--json", L"--request-dir", InHome(L"none"), L"--output-dir",
                                       MakeEcho(L"file.drq", L"x"), L"--client-dir", InHome(L"nor")});
    EXPECT_EQ(result.code, 1);
    for (const char* const check : {"request-dir", "output-dir", "client-dir"})
        ExpectEach(result, check, 1, "FAIL");
    EXPECT_TRUE(Of(result, "server").empty()) << "who serves what is not there?";
    EXPECT_FALSE(platform::PathExists(InHome(L"none")));
    const std::string advice = Of(result, "output-dir").front()["advice"];
    EXPECT_TRUE(advice.starts_with("name another one ")) << advice << ": it is there, and no directory";
}

TEST_F(DoctorCommandTest, WhatIsNotNamedIsAFindingAndTheRestIsLookedAt)
{
    const SProgramResult result = RunProgram(L"zel", {L"doctor", L"--json", L"--output-dir", m_strOutput});
    EXPECT_EQ(result.code, 1) << result.errors;
    ExpectEach(result, "request-dir", 1, "FAIL");
    ExpectEach(result, "output-dir", 1, "OK");
    ExpectEach(result, "watch", 1, "OK");
    const SProgramResult none = RunProgram(L"zel", {L"doctor"});
    EXPECT_EQ(none.code, 1) << none.errors;
    EXPECT_TRUE(none.output.starts_with("FAIL  no request directory: give --request-dir")) << none.output;
    EXPECT_TRUE(Contains(none.output, "\nFAIL  no output directory: ")) << none.output;
    EXPECT_EQ(RunProgram(L"zel", {L"list"}).code, 2) << "others need both";
}

TEST_F(DoctorCommandTest, AQueueThatIsHeldIsTold)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"hold", L"-q"}).code, 0);
    const SProgramResult result = Zel({L"doctor", L"--json"});
    EXPECT_EQ(result.code, 0) << "it is meant so";
    ExpectEach(result, "queue", 1, "WARN");
    StopServer(server);
}

TEST_F(DoctorCommandTest, AServerThatWasKilledIsAFailure)
{
    CRunningProgram server = StartServer();
    server.Process().Kill();
    static_cast<void>(server.Finish());
    const SProgramResult result = Zel({L"doctor", L"--json"});
    EXPECT_EQ(result.code, 1);
    EXPECT_GE(Of(result, "server").size(), 1U);
    EXPECT_EQ(Of(result, "server").front()["level"], "FAIL");
}

TEST_F(DoctorCommandTest, ATrialTellsOtherVolumesAndFilesInUse)
{
    EXPECT_EQ(TryMove(m_strRequests, m_strOutput), platform::eOsError_None);
    bool isSeen = false;
    EXPECT_EQ(TryOpenFile(m_strRequests, isSeen), platform::eOsError_None);
    EXPECT_TRUE(isSeen);
    {
        testsupport::CFaultyFiles files;
        files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_NotSameDevice, m_strRequests);
        const platform::CScopedOs os(&files, nullptr);
        EXPECT_EQ(TryMove(m_strRequests, m_strOutput), platform::eOsError_NotSameDevice);
        EXPECT_EQ(TryOpenFile(m_strRequests, isSeen), platform::eOsError_None);
        EXPECT_FALSE(isSeen) << "the system did not say so";
    }
    EXPECT_EQ(Left(), std::vector<std::wstring>());
}

} // namespace
