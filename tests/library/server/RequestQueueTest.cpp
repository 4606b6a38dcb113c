#include "platform/Os.h"
#include "tests/library/server/RequestQueueFixture.h"

using namespace std::chrono_literals;

namespace {

using RequestQueueTest = CRequestQueueFixture;

TEST_F(RequestQueueTest, WhatIsUnpausedRunsBeforeWhatWaits)
{
    Add({L"a", L"b", L"c"});
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakeWaiting(L"b", item));
    m_queue.Pause(item);
    EXPECT_TRUE(m_queue.IsRequestPaused(L"b"));
    EXPECT_FALSE(m_queue.IsRequestInQueue(L"b"));
    ASSERT_TRUE(m_queue.TakePaused(L"b", item));
    EXPECT_FALSE(m_queue.TakePaused(L"b", item));
    m_queue.Unpause(item);
    EXPECT_EQ(TakeAll(), L"bac");
}

TEST_F(RequestQueueTest, BeforeItsTimeARequestWaitsWithoutHoldingUpOthers)
{
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    clock.SetUtcSeconds(1000);
    m_queue.Add({.m_strFile = L"later", .m_strOwner = "owner", .m_nPriority = 5, .m_nNotBefore = 1002});
    m_queue.Add({.m_strFile = L"late", .m_strOwner = "owner", .m_nNotBefore = 1001});
    m_queue.Add({.m_strFile = L"due", .m_strOwner = "owner", .m_nNotBefore = 1000});
    EXPECT_TRUE(IsAwake()) << "to learn that there is something to wait for";
    EXPECT_EQ(TakeAll(), L"due");
    EXPECT_TRUE(m_bLast);
    EXPECT_FALSE(IsAwake());
    EXPECT_TRUE(m_queue.IsKnown(L"later") && m_queue.IsRequestInQueue(L"later"));
    EXPECT_EQ(m_queue.CountOf("owner"), 2U);
    clock.SetUtcSeconds(1001);
    EXPECT_EQ(TakeAll(), L"late");
    clock.SetUtcSeconds(1002);
    Add({L"other"});
    EXPECT_EQ(TakeAll(), L"laterother") << "by their priority again";
    EXPECT_EQ(m_queue.CountOf("owner"), 0U);
}

TEST_F(RequestQueueTest, TheWaitEndsNowAndThenWhileTheTimeOfARequestMayCome)
{
    testsupport::CManualClock clock;
    clock.SetUtcSeconds(1000);
    const platform::CScopedOs os(nullptr, &clock);
    m_queue.Add({.m_strFile = L"later", .m_nNotBefore = 1001});
    EXPECT_EQ(TakeRequest(), L"");
    clock.SetUtcSeconds(2000); // by somebody, not by waiting
    m_queue.Wait();
    EXPECT_EQ(TakeRequest(), L"later");
}

TEST_F(RequestQueueTest, APausedRequestDoesNotRunAndWakesNobody)
{
    m_queue.Pause({L"a"});
    EXPECT_FALSE(IsAwake());
    EXPECT_EQ(TakeRequest(), L"");
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakePaused(L"a", item));
    m_queue.Unpause(item);
    EXPECT_TRUE(IsAwake());
}

TEST_F(RequestQueueTest, TheLastOneIsToldToBeTheLast)
{
    Add({L"a", L"b"});
    EXPECT_EQ(TakeRequest(), L"a");
    EXPECT_FALSE(m_bLast);
    EXPECT_EQ(TakeRequest(), L"b");
    EXPECT_TRUE(m_bLast);
    EXPECT_EQ(m_empty, 0);
}

TEST_F(RequestQueueTest, OnlyAnEmptyQueuePutsTheExecutiveToSleep)
{
    EXPECT_FALSE(IsAwake());
    Add({L"a"});
    EXPECT_TRUE(IsAwake());
    EXPECT_EQ(TakeRequest(), L"a");
    EXPECT_TRUE(IsAwake());
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_FALSE(IsAwake());
    EXPECT_EQ(m_empty, 1);
    m_queue.Wake();
    EXPECT_TRUE(IsAwake());
}

TEST_F(RequestQueueTest, AStopKeepsTheExecutiveAwake)
{
    m_bRunning = false;
    m_queue.Wake();
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_TRUE(IsAwake());
}

TEST_F(RequestQueueTest, ADeclinedRequestWaitsBehindTheOthers)
{
    Add({L"a", L"b"});
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakeRequest(item, m_bLast, [] {}));
    ++item.m_nRetries;
    EXPECT_TRUE(m_queue.PutBack(item));
    m_queue.EndRunning();
    EXPECT_EQ(TakeRequest(), L"b");
    ASSERT_TRUE(m_queue.TakeRequest(item, m_bLast, [] {}));
    EXPECT_EQ(item.m_strFile, L"a");
    EXPECT_EQ(item.m_nRetries, 1);
}

TEST_F(RequestQueueTest, ADeclinedRequestWakesTheExecutive)
{
    Add({L"a"});
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakeRequest(item, m_bLast, [] {}));
    EXPECT_EQ(TakeRequest(), L"");
    ASSERT_FALSE(IsAwake());
    EXPECT_TRUE(m_queue.PutBack(item));
    EXPECT_TRUE(IsAwake());
}

TEST_F(RequestQueueTest, TheNextRequestStartsUncanceled)
{
    Add({L"a", L"b"});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"a", true));
    ASSERT_EQ(TakeRequest(), L"b");
    EXPECT_FALSE(m_context.m_canceled);
    EXPECT_EQ(m_context.m_starts, 2);
    EXPECT_TRUE(m_queue.PutBack({L"b"}));
}

TEST_F(RequestQueueTest, NobodyIsToldWithoutAContext)
{
    m_queue.SetContext(nullptr);
    Add({L"a"});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"a", false));
    EXPECT_FALSE(m_queue.PutBack({L"a"})) << "it is canceled all the same";
    EXPECT_EQ(m_context.m_starts, 0);
}

TEST_F(RequestQueueTest, ARequestIsKnownWhileItWaitsIsPausedOrRuns)
{
    EXPECT_FALSE(m_queue.IsKnown(L"a"));
    Add({L"a"});
    m_queue.Pause({L"p"});
    EXPECT_TRUE(m_queue.IsKnown(L"a"));
    EXPECT_TRUE(m_queue.IsKnown(L"p"));
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_TRUE(m_queue.IsKnown(L"a"));
    EXPECT_FALSE(m_queue.IsRequestInQueue(L"a"));
    m_queue.EndRunning();
    EXPECT_FALSE(m_queue.IsKnown(L"a"));
}

TEST_F(RequestQueueTest, PausedRequestsCountForTheirOwner)
{
    Add({L"a", L"b"});
    m_queue.Pause({L"p", 0, "owner"});
    m_queue.Add({L"x", 0, "other"});
    EXPECT_EQ(m_queue.CountOf("owner"), 3U);
    EXPECT_EQ(m_queue.CountOf("other"), 1U);
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakePaused(L"p", item));
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_EQ(m_queue.CountOf("owner"), 1U) << "what runs does not count";
}

TEST_F(RequestQueueTest, AClearedQueueIsEmptyAndTakesTurnsFromThenOn)
{
    Add({L"a"});
    m_queue.Pause({L"p"});
    m_queue.Clear(true);
    EXPECT_FALSE(m_queue.IsKnown(L"a"));
    EXPECT_FALSE(m_queue.IsKnown(L"p"));
    Add({L"1", L"2"});
    m_queue.Add({L"x", 0, "other"});
    EXPECT_EQ(TakeAll(), L"1x2");
    m_queue.Clear(false);
    Add({L"1", L"2"});
    m_queue.Add({L"x", 0, "other"});
    EXPECT_EQ(TakeAll(), L"12x");
}

} // namespace
