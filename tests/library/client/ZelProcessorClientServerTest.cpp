#include "ZEL_Processor/ZelProtocolNames.h"
#include "processor/ZelProcessorFactories.h"
#include "tests/support/ServerKit.h"

#include <filesystem>

namespace {

/// What a host does that makes a claim, without the host.
class ClientServer : public CServerFixture {
protected:
    [[nodiscard]] std::wstring Own(const wchar_t* name) const
    {
        return platform::JoinPath(In(m_outputDir, ZelProtocol::kServerDirectory), name);
    }
    [[nodiscard]] std::unique_ptr<platform::ILockFile> Claim() const
    {
        static_cast<void>(platform::Files().MakeDirectory(In(m_outputDir, ZelProtocol::kServerDirectory)));
        std::unique_ptr<platform::ILockFile> lock;
        EXPECT_EQ(platform::Files().OpenLockFile(Own(ZelProtocol::kClaimFile), "7", lock), platform::eOsError_None);
        Write(Own(ZelProtocol::kClaimProcessFile), "7");
        return lock;
    }
    /// But for its time, which is that of a file.
    [[nodiscard]] SZelServerInfo Told() const
    {
        SZelServerInfo info = m_client.GetServerInfo();
        info.seen = 0;
        return info;
    }
    static SZelServerInfo Only(eZelServerPresence presence, std::uint32_t process)
    {
        SZelServerInfo info;
        info.presence = presence;
        info.process = process;
        return info;
    }
    static SZelServerInfo Published(std::uint32_t process, std::int64_t ended = 0)
    {
        SZelServerInfo info;
        info.process = process;
        info.started = 1'700'000'000;
        info.ended = ended;
        info.version = L"1.2";
        info.options = {L"--private"};
        info.leftOut = {L"told by the host"};
        return info;
    }
};

} // namespace

TEST_F(ClientServer, AServerThatMakesNoClaimIsNeverSaidToBeMissing)
{
    EXPECT_EQ(m_client.GetServerInfo().presence, eServerPresence_Unknown);
    Run();
    EXPECT_EQ(m_client.GetServerInfo().presence, eServerPresence_Unknown);
}

TEST_F(ClientServer, WhereNoServerEverWasNoneServes)
{
    CZelProcessorClient client;
    client.Init(m_requestDir, m_clientDir, m_clientDir);
    EXPECT_EQ(client.GetServerInfo(), Only(eServerPresence_None, 0));
}

TEST_F(ClientServer, AQueueIsHeldWhenItsServerLooksAtThat)
{
    const auto claim = Claim();
    Write(Own(ZelProtocol::kHeldFile));
    ASSERT_TRUE(m_pServer->PublishInfo(Published(7)));
    EXPECT_FALSE(m_client.GetServerInfo().isHeld) << "this one does not";
    Make({.syncing = false, .operatorCommands = true});
    m_host.ExpectLogLine(L"The queue is held since an earlier server");
    ASSERT_TRUE(m_pServer->PublishInfo(Published(7)));
    EXPECT_TRUE(m_client.GetServerInfo().isHeld);
    Run();
    EXPECT_EQ(m_client.ReleaseQueue(), eRequestStatus_Done);
    EXPECT_FALSE(m_client.GetServerInfo().isHeld);
    EXPECT_EQ(m_client.HoldQueue(), eRequestStatus_Done);
    EXPECT_TRUE(m_client.GetServerInfo().isHeld);
}

TEST_F(ClientServer, WhatWasPublishedIsToldWithThePluginsAndTheirModule)
{
    const auto claim = Claim();
    ASSERT_TRUE(m_pServer->PublishInfo(Published(7)));
    const SZelServerInfo info = m_client.GetServerInfo();
    EXPECT_EQ(info.presence, eServerPresence_Serves);
    EXPECT_EQ(info.process, 7U);
    EXPECT_EQ(info.version, L"1.2");
    EXPECT_EQ(info.requestDir, m_requestDir);
    EXPECT_EQ(info.options, std::vector<CString>{L"--private"});
    ASSERT_FALSE(info.leftOut.empty());
    EXPECT_EQ(info.leftOut.front(), L"told by the host");
    CZelProcessorFactories factories;
    ASSERT_TRUE(factories.LoadFactories());
    EXPECT_EQ(info.plugins, factories.Describe());
    EXPECT_EQ(info.plugins.size(), factories.GetArray().GetCount());
    EXPECT_EQ(info.ended, 0);
}

TEST_F(ClientServer, WhatAnEarlierServerPublishedIsNotTheNextOnes)
{
    ASSERT_TRUE(m_pServer->PublishInfo(Published(8)));
    const auto claim = Claim();
    EXPECT_EQ(Told(), Only(eServerPresence_Serves, 7));
    ASSERT_TRUE(m_pServer->PublishInfo(Published(7, 1'700'000'100)));
    EXPECT_EQ(Told(), Only(eServerPresence_Serves, 7));
}

TEST_F(ClientServer, OneThatServesWasSeenWhenItShowedLifeLast)
{
    const auto claim = Claim();
    EXPECT_EQ(m_client.GetServerInfo().seen, 0) << "it told nothing of itself";
    ASSERT_TRUE(m_pServer->PublishInfo(Published(7)));
    EXPECT_NEAR(static_cast<double>(m_client.GetServerInfo().seen), static_cast<double>(platform::Clock().UtcSeconds()),
                60);
    ASSERT_EQ(platform::Files().Remove(Own(ZelProtocol::kClaimProcessFile)), platform::eOsError_None);
    EXPECT_EQ(m_client.GetServerInfo().seen, 0) << "nobody can tell";
}

TEST_F(ClientServer, OneThatStoppedSaysWhen)
{
    static_cast<void>(Claim());
    ASSERT_TRUE(m_pServer->PublishInfo(Published(7, 1'700'000'100)));
    const SZelServerInfo info = m_client.GetServerInfo();
    EXPECT_EQ(info.presence, eServerPresence_None);
    EXPECT_EQ(info.ended, 1'700'000'100);
    EXPECT_TRUE(info.hasStopped);
    EXPECT_TRUE(info.plugins.empty()) << "nobody asks plug-ins at the end";
}

TEST_F(ClientServer, OneThatWasKilledIsMissedSinceItWasSeenAliveLast)
{
    {
        const auto claim = Claim();
        ASSERT_TRUE(m_pServer->PublishInfo(Published(7)));
    }
    // As a holder that died leaves it on some systems; on others it is gone.
    Write(Own(ZelProtocol::kClaimFile), "7");
    const SZelServerInfo info = m_client.GetServerInfo();
    EXPECT_EQ(info.presence, eServerPresence_None);
    EXPECT_FALSE(info.hasStopped);
    EXPECT_NEAR(static_cast<double>(info.ended), static_cast<double>(platform::Clock().UtcSeconds()), 60);
    EXPECT_EQ(info.version, L"1.2");
    EXPECT_TRUE(platform::PathExists(Own(ZelProtocol::kClaimFile))) << "a look removes nothing";
    ASSERT_EQ(platform::Files().Remove(Own(ZelProtocol::kClaimFile)), platform::eOsError_None);
    EXPECT_EQ(m_client.GetServerInfo().presence, eServerPresence_None) << "what it published is left";
}

TEST_F(ClientServer, AClaimThatCannotBeLookedAtTellsNothing)
{
    const auto claim = Claim();
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_AccessDenied, Own(ZelProtocol::kClaimFile));
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_EQ(m_client.GetServerInfo().presence, eServerPresence_Unknown);
}

TEST_F(ClientServer, WhatCannotBePublishedIsALineOfTheLogAndMakesNoDirectories)
{
    std::filesystem::remove_all(platform::StandardPath(m_outputDir));
    EXPECT_FALSE(m_pServer->PublishInfo(Published(7)));
    m_host.ExpectLogLine(L"Clients cannot be told what this server is: ");
    EXPECT_FALSE(platform::PathExists(m_outputDir));
}
