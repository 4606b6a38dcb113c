#include "apps/common/DirectoryTrial.h"
#include "apps/zel-server/ServerDirectories.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/FaultyFiles.h"

namespace {

/// What a start and a check try in the directories before anything else is done there.
class DirectoryTrialTest : public CProgramTest {
protected:
    [[nodiscard]] SServerOptions Options() const
    {
        SServerOptions options;
        options.requestDir = m_strRequests;
        options.outputDir = m_strOutput;
        return options;
    }
};

TEST_F(DirectoryTrialTest, WhatATrialLeftThatWasKilledKeepsNoServerFromStarting)
{
    Write(InOutput(L".zel-server-{1}.tmp"), "");
    CRunningProgram server = StartServer();
    StopServer(server);
    EXPECT_FALSE(platform::PathExists(InOutput(L".zel-server-{1}.tmp")));
    Write(InOutput(L"somebody's.txt"), "");
    EXPECT_EQ(platform::Files().RemoveEmptyDirectory(InOutput(L"Queue")), platform::eOsError_None);
    EXPECT_TRUE(Contains(ServerResult(DirectoryArguments()).errors, "somebody's.txt")) << "others count";
}

TEST_F(DirectoryTrialTest, FilesThatCannotBePrivateAreNamedWithTheOption)
{
    testsupport::CFaultyFiles files;
    files.FailAlways(testsupport::eFileCall_MakePrivate, platform::eOsError_NotSupported, m_strOutput);
    const platform::CScopedOs os(&files, nullptr);
    std::wstring error;
    SServerOptions options = Options();
    EXPECT_TRUE(CServerDirectories::Try(options, error));
    options.privateFiles = true;
    EXPECT_FALSE(CServerDirectories::Try(options, error));
    for (const std::wstring& part : {std::wstring(L"--private"), m_strOutput})
        EXPECT_NE(error.find(part), std::wstring::npos) << platform::ToUtf8(error);
}

TEST_F(DirectoryTrialTest, RightsThatAreMissingAreNamedWithTheFolderAndNothingStays)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    for (const auto call : {testsupport::eFileCall_Open, testsupport::eFileCall_Move}) {
        for (const std::wstring& folder : {m_strRequests, InOutput(L"."), InOutput(L"Queue")}) {
            testsupport::CFaultyFiles files;
            const std::wstring part = folder == InOutput(L".") ? InOutput(L".zel-server-") : folder;
            files.FailAlways(call, platform::eOsError_AccessDenied, part);
            const platform::CScopedOs os(&files, nullptr);
            std::wstring error;
            EXPECT_FALSE(CServerDirectories::Try(Options(), error)) << platform::ToUtf8(folder);
            const std::wstring named = folder == InOutput(L".") ? m_strOutput : folder;
            for (const std::wstring& text :
                 {L"'" + named + L"'", platform::OsErrorText(platform::eOsError_AccessDenied)})
                EXPECT_NE(error.find(text), std::wstring::npos) << platform::ToUtf8(error);
        }
    }
    for (const std::wstring& folder : {m_strRequests, m_strOutput, InOutput(L"Queue")})
        EXPECT_EQ(FilesIn(folder), std::vector<std::wstring>());
}

TEST_F(DirectoryTrialTest, ACheckNamesDirectoriesThatCouldNotBeMade)
{
    testsupport::CFaultyFiles files;
    files.FailAlways(testsupport::eFileCall_MakeDirectory, platform::eOsError_AccessDenied);
    const platform::CScopedOs os(&files, nullptr);
    SServerOptions options = Options();
    std::wstring error;
    EXPECT_FALSE(CServerDirectories::Check(options, error));
    EXPECT_NE(error.find(L"cannot be claimed"), std::wstring::npos) << platform::ToUtf8(error);
    options.createDirs = true;
    options.outputDir = m_root / L"new/deep/output";
    EXPECT_FALSE(CServerDirectories::Check(options, error));
    EXPECT_NE(error.find(L"cannot be created"), std::wstring::npos) << platform::ToUtf8(error);
    files.StopFailing();
    EXPECT_TRUE(CServerDirectories::Check(options, error)) << platform::ToUtf8(error);
    EXPECT_FALSE(platform::PathExists(m_root / L"new"));
    std::vector<platform::SDirectoryEntry> entries;
    EXPECT_EQ(platform::Files().List(m_root.Path(), entries), platform::eOsError_None);
    EXPECT_EQ(entries.size(), 3U) << "nothing stays of what was tried";
}

TEST_F(DirectoryTrialTest, AStartThatResumesLeavesNothingOfATrialThatWasKilled)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    std::wstring tried;
    testsupport::CFaultyFiles files;
    files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Move)
            tried = platform::FileNameOf(call.path);
    });
    {
        const platform::CScopedOs os(&files, nullptr);
        std::wstring error;
        ASSERT_TRUE(CServerDirectories::Try(Options(), error));
    }
    ASSERT_FALSE(tried.empty());
    for (const std::wstring& left : {InOutput(tried), InQueue(tried)})
        Write(left, "");
    CRunningProgram server = StartServer({L"--resume"});
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), " 0 moved aside")) << server.Errors();
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
}

TEST_F(DirectoryTrialTest, ATrialSucceedsWhenAStartTakesItsFileAway)
{
    testsupport::CFaultyFiles files;
    for (const auto kind : {testsupport::eFileCall_Move, testsupport::eFileCall_Remove}) {
        std::wstring taken;
        files.OnCall([&](const testsupport::SFileCall& call) {
            if (call.call == kind && taken.empty()) {
                taken = call.path;
                ASSERT_EQ(platform::SystemFiles().Remove(taken), platform::eOsError_None);
            }
        });
        const platform::CScopedOs os(&files, nullptr);
        std::wstring error;
        EXPECT_TRUE(CServerDirectories::Try(Options(), error)) << platform::ToUtf8(error);
        EXPECT_FALSE(taken.empty());
    }
    files.OnCall({});
}

} // namespace
