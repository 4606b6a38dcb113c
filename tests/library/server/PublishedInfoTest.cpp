#include "server/PublishedInfo.h"

#include "protocol/ServerInfoFile.h"
#include "tests/library/server/RunFixture.h"

namespace {

class PublishedInfoTest : public CRunFixture {
protected:
    [[nodiscard]] CString Path() const { return m_settings.m_paths.InOwnFolder(Protocol::kServerInfoFile); }
    /// Of a server that has ended, so that no plug-ins are asked.
    [[nodiscard]] static SZelServerInfo Ended()
    {
        SZelServerInfo info;
        info.process = 7;
        info.ended = 1'700'000'100;
        return info;
    }
};

TEST_F(PublishedInfoTest, TheServersDirectoryComesWithWhatItsHostTells)
{
    EXPECT_TRUE(PublishServerInfo(m_settings, Ended()));
    SZelServerInfo info;
    ASSERT_TRUE(ServerInfoFile::Read(Path(), info));
    EXPECT_EQ(info.requestDir, m_requestDir);
    EXPECT_EQ(info.process, 7U);
    EXPECT_TRUE(info.plugins.empty());
}

TEST_F(PublishedInfoTest, AServerThatTakesTheCommandsOfAnOperatorSaysWhich)
{
    SZelServerInfo info;
    ASSERT_TRUE(PublishServerInfo(m_settings, Ended()));
    ASSERT_TRUE(ServerInfoFile::Read(Path(), info));
    EXPECT_TRUE(info.commands.empty());
    m_settings.m_options.operatorCommands = true;
    ASSERT_TRUE(PublishServerInfo(m_settings, Ended()));
    ASSERT_TRUE(ServerInfoFile::Read(Path(), info));
    std::vector<std::wstring> commands = {L"HoldQueue", L"ReleaseQueue", L"MoveRequest", L"RetryFailed",
                                          L"DiscardFailed"};
    EXPECT_EQ(info.commands, commands);
    m_settings.m_options.drained = [](void*) {};
    ASSERT_TRUE(PublishServerInfo(m_settings, Ended()));
    ASSERT_TRUE(ServerInfoFile::Read(Path(), info));
    commands.insert(commands.begin() + 3, L"DrainServer");
    EXPECT_EQ(info.commands, commands);
}

TEST_F(PublishedInfoTest, AnOutputDirectoryThatIsGoneIsNotMade)
{
    m_settings.m_paths = SProtocolPaths::Of(m_requestDir, m_dir / L"gone");
    EXPECT_FALSE(PublishServerInfo(m_settings, Ended()));
    EXPECT_FALSE(platform::PathExists(m_dir / L"gone"));
    m_host.ExpectLogLine(L"Clients cannot be told what this server is: " + Path());
}

TEST_F(PublishedInfoTest, WhatCannotBeWrittenIsToldWithItsReason)
{
    m_files.FailAlways(testsupport::eFileCall_Write, platform::eOsError_DiskFull);
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_FALSE(PublishServerInfo(m_settings, Ended()));
    m_host.ExpectLogLine(Path() + L": " + platform::OsErrorText(platform::eOsError_DiskFull));
}

} // namespace
