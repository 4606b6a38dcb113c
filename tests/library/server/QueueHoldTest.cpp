#include "server/QueueHold.h"

#include "tests/library/server/RunFixture.h"
#include "tests/support/Links.h"

namespace {

class QueueHoldTest : public CRunFixture {
protected:
    QueueHoldTest() { m_settings.m_options.operatorCommands = true; }

    [[nodiscard]] std::wstring HeldFile() const { return m_settings.m_paths.InOwnFolder(Protocol::kHeldFile); }
    /// Something waits, and does not run.
    [[nodiscard]] bool IsHeld()
    {
        m_requests.Add({L"a.drq"});
        TSRequestItem item;
        bool bLast = false;
        return !m_requests.TakeRequest(item, bLast, [] {});
    }

    CQueueHold m_hold{m_settings, m_requests};
};

TEST_F(QueueHoldTest, ItIsHeldOverARestartUntilItIsReleased)
{
    m_hold.TakeOver();
    EXPECT_FALSE(IsHeld());
    ASSERT_EQ(m_hold.Hold(), platform::eOsError_None);
    m_host.ExpectLogLine(L"The queue is held: nothing is started until it is released");
    EXPECT_TRUE(IsHeld());
    m_requests.SetHeld(false); // as a new server's is
    m_hold.TakeOver();
    m_host.ExpectLogLine(L"The queue is held since an earlier server");
    EXPECT_TRUE(IsHeld());
    ASSERT_EQ(m_hold.Release(), platform::eOsError_None);
    m_host.ExpectLogLine(L"The queue is released");
    EXPECT_FALSE(IsHeld());
    EXPECT_FALSE(platform::PathExists(HeldFile()));
    m_hold.TakeOver();
    EXPECT_FALSE(IsHeld());
}

TEST_F(QueueHoldTest, ASecondHoldAndASecondReleaseChangeNothing)
{
    EXPECT_EQ(m_hold.Release(), platform::eOsError_None);
    EXPECT_EQ(m_hold.Hold(), platform::eOsError_None);
    EXPECT_EQ(m_hold.Hold(), platform::eOsError_None);
    EXPECT_TRUE(IsHeld());
}

TEST_F(QueueHoldTest, AServerThatDoesNotWantItLeavesTheFileAndRuns)
{
    ASSERT_EQ(m_hold.Hold(), platform::eOsError_None);
    m_settings.m_options.operatorCommands = false;
    m_hold.TakeOver();
    EXPECT_FALSE(IsHeld());
    EXPECT_TRUE(platform::PathExists(HeldFile()));
}

TEST_F(QueueHoldTest, WhatCannotBeNotedDownIsNotDone)
{
    m_files.FailAlways(testsupport::eFileCall_Write, platform::eOsError_DiskFull);
    m_files.FailAlways(testsupport::eFileCall_Sync, platform::eOsError_DiskFull);
    {
        const platform::CScopedOs os(&m_files, nullptr);
        EXPECT_EQ(m_hold.Hold(), platform::eOsError_DiskFull);
    }
    EXPECT_FALSE(IsHeld());
    EXPECT_FALSE(platform::PathExists(HeldFile()));
    ASSERT_EQ(m_hold.Hold(), platform::eOsError_None);
    m_files.StopFailing();
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_AccessDenied);
    {
        const platform::CScopedOs os(&m_files, nullptr);
        EXPECT_EQ(m_hold.Release(), platform::eOsError_AccessDenied);
    }
    EXPECT_TRUE(IsHeld());
}

TEST_F(QueueHoldTest, AFolderOfSomebodyElsesIsNeitherBelievedNorUsed)
{
    const std::wstring elsewhere = m_dir / L"elsewhere";
    ASSERT_EQ(platform::Files().MakeDirectory(elsewhere), platform::eOsError_None);
    Write(In(elsewhere, Protocol::kHeldFile));
    if (!testsupport::MakeLink(elsewhere, m_settings.m_paths.InOwnFolder({})))
        GTEST_SKIP() << "MakeLink: this user may make no links";
    m_hold.TakeOver();
    EXPECT_FALSE(IsHeld());
    m_host.ExpectLogLine(L"The queue is not held, although there is a file that says so");
}

} // namespace
