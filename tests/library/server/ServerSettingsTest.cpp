#include "server/ServerSettings.h"
#include "platform/Os.h"
#include "server/TurnList.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class ServerSettingsTest : public testing::Test {
protected:
    ServerSettingsTest() { m_settings.m_paths.m_strQueueDir = m_dir.Path(); }

    /// For how long it goes on.
    std::chrono::nanoseconds Patience()
    {
        const auto goOn = m_settings.BriefPatience();
        std::chrono::nanoseconds time = 0ms;
        for (; goOn(); time += 1ms)
            m_clock.Advance(1ms);
        return time;
    }
    [[nodiscard]] unsigned AsksForOwners()
    {
        const unsigned before = m_files.Count(testsupport::eFileCall_GetOwner);
        static_cast<void>(m_settings.OwnerOf(m_dir.Path()));
        return m_files.Count(testsupport::eFileCall_GetOwner) - before;
    }

    testsupport::CTemporaryDirectory m_dir;
    testsupport::CFaultyFiles m_files;
    testsupport::CManualClock m_clock;
    const platform::CScopedOs m_os{&m_files, &m_clock};
    CServerSettings m_settings;
};

TEST_F(ServerSettingsTest, NobodyAsksWhoseFilesAreWithoutAnOptionThatNeedsIt)
{
    EXPECT_EQ(AsksForOwners(), 0U);
    const std::vector<SZelServerOptions> options = {
        {.takeTurns = true}, {.maxQueued = 1}, {.maxClients = 1}, {.privateFiles = true}, {.fair = true}};
    for (const SZelServerOptions& option : options) {
        m_settings.m_options = option;
        EXPECT_EQ(AsksForOwners(), 1U);
        EXPECT_FALSE(m_settings.OwnerOf(m_dir.Path()).empty());
    }
    EXPECT_EQ(m_settings.OwnerOf(m_dir / L"none"), "");
}

TEST_F(ServerSettingsTest, AnOperatorIsWhoMayWriteAloneOrAnAdministratorOrAnybodyWhereFilesHaveNoOwners)
{
    const std::wstring path = m_dir / L"a.command";
    ASSERT_EQ(platform::WriteWholeFile(path, "x"), platform::eOsError_None);
    m_settings.m_paths.m_strRequestDir = m_dir.Path();
    EXPECT_TRUE(m_settings.IsOperators(path));
    m_settings.m_paths.m_strRequestDir = m_dir / L"none"; // of which nobody knows who may write there
    EXPECT_FALSE(m_settings.IsOperators(path)) << "the server's responses belong to this account, too";
    m_files.FailCall(testsupport::eFileCall_GetOwner, 1, platform::eOsError_NotSupported);
    EXPECT_TRUE(m_settings.IsOperators(path));
    m_files.FailCall(testsupport::eFileCall_GetOwner, 1, platform::eOsError_AccessDenied);
    EXPECT_FALSE(m_settings.IsOperators(path)) << "who may take the right to ask away is no operator";
}

TEST_F(ServerSettingsTest, WhatARequestAsksForIsReadWhenTheHostWantsThat)
{
    const std::wstring path = m_dir / L"a.drq";
    ASSERT_EQ(platform::WriteWholeFile(path, "<Request Priority='7' Client='me' Attempts='100'/>"),
              platform::eOsError_None);
    const unsigned opens = m_files.Count(testsupport::eFileCall_Open);
    EXPECT_EQ(m_settings.ItemOf(path).m_nPriority, 0);
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Open), opens) << "nobody pays for what nobody wants";
    m_settings.m_options.requestAttributes = true;
    const TSRequestItem item = m_settings.ItemOf(path);
    EXPECT_EQ(item.m_nPriority, 7);
    EXPECT_EQ(item.m_strClient, "me");
    EXPECT_EQ(item.m_nMaxRuns, 100);
    EXPECT_EQ(item.m_strFile, path);
}

TEST_F(ServerSettingsTest, TheSmallerLimitOfTimeCounts)
{
    const std::wstring path = m_dir / L"a.drq";
    ASSERT_EQ(platform::WriteWholeFile(path, "<Request TimeLimit='3'/>"), platform::eOsError_None);
    const auto limit = [&](std::chrono::milliseconds ofHost, bool readsAttributes = true) {
        m_settings.m_options.timeLimit = ofHost;
        m_settings.m_options.requestAttributes = readsAttributes;
        return m_settings.ItemOf(path).m_timeLimit;
    };
    EXPECT_EQ(limit(0ms), 3s);
    EXPECT_EQ(limit(2s), 2s);
    EXPECT_EQ(limit(4s), 3s);
    EXPECT_EQ(limit(4s, false), 4s);
    EXPECT_EQ(limit(0ms, false), 0ms);
    EXPECT_EQ(limit(-1ms, false), 0ms) << "no time is no limit";
    EXPECT_EQ(limit(std::chrono::milliseconds::max(), false), 1'000'000'000s);
    EXPECT_EQ(limit(std::chrono::milliseconds::max()), 3s);
    ASSERT_EQ(platform::WriteWholeFile(path, "<Request TimeLimit='soon'/>"), platform::eOsError_None);
    EXPECT_EQ(limit(2s), 2s);
}

TEST_F(ServerSettingsTest, WhatConcernsNobodyKnownIsForTheServerAlone)
{
    EXPECT_EQ(m_settings.PrivateFor("somebody"), "") << "everybody reads it";
    m_settings.m_options.privateFiles = true;
    EXPECT_EQ(m_settings.PrivateFor("somebody"), "somebody");
    EXPECT_EQ(m_settings.PrivateFor({}), m_settings.OwnerOf(m_dir.Path()));
}

TEST_F(ServerSettingsTest, AHandOverIsSyncedUnlessTheHostDoesWithout)
{
    EXPECT_EQ(m_settings.MoveFlags(), platform::eMoveFlag_WriteThrough);
    m_settings.m_options.syncing = false;
    EXPECT_EQ(m_settings.MoveFlags(), platform::eMoveFlag_None);
}

TEST_F(ServerSettingsTest, WhatTidiesUpWaitsASecondOrAsLongAsTheHostHasPatience)
{
    EXPECT_EQ(Patience(), 1s);
    m_settings.m_options.patience = std::chrono::milliseconds(30);
    EXPECT_EQ(Patience(), 30ms);
}

TEST_F(ServerSettingsTest, ReadersOfTheOutputDirectoryAreNeverWaitedForLessThanTheyNeed)
{
    EXPECT_EQ(m_settings.PatienceWithReaders(), 0ms) << "no limit";
    m_settings.m_options.patience = 0ms;
    EXPECT_EQ(m_settings.PatienceWithReaders(), 20ms);
    EXPECT_EQ(Patience(), 20ms);
    m_settings.m_options.patience = 21ms;
    EXPECT_EQ(m_settings.PatienceWithReaders(), 21ms);
}

} // namespace
