#include "server/RequestQueue.h"
#include "platform/Os.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RequestDoubles.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class RequestQueueTest : public testing::Test {
protected:
    RequestQueueTest() { m_queue.SetContext(&m_context); }

    void Add(std::initializer_list<const wchar_t*> paths)
    {
        for (const wchar_t* path : paths)
            m_queue.Add({path, 0, "owner"});
    }
    /// What runs next, empty when nothing does.
    std::wstring TakeRequest()
    {
        TSRequestItem item;
        return m_queue.TakeRequest(item, m_bLast, [this] { ++m_empty; }) ? item.m_strFile : std::wstring();
    }
    std::wstring TakeAll()
    {
        std::wstring order;
        for (std::wstring path = TakeRequest(); !path.empty(); path = TakeRequest())
            order += path;
        return order;
    }
    [[nodiscard]] bool IsAwake() { return m_queue.WaitFor(0ms); }

    CTestContext m_context;
    std::atomic<bool> m_bRunning = true;
    CRequestQueue m_queue{m_bRunning};
    bool m_bLast = false;
    int m_empty = 0;
};

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

TEST_F(RequestQueueTest, WhatIsHeldStartsNothingUntilItIsReleased)
{
    Add({L"a"});
    m_queue.SetHeld(true);
    Add({L"b", L"c"});
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_EQ(m_empty, 0) << "a queue that is held has not run dry";
    EXPECT_FALSE(IsAwake()) << "nothing asks again and again";
    TSRequestItem item;
    EXPECT_TRUE(m_queue.TakeWaiting(L"b", item)) << "a cancel or a pause still finds it";
    m_queue.Unpause(item);
    EXPECT_EQ(TakeRequest(), L"");
    m_queue.SetHeld(false);
    EXPECT_TRUE(IsAwake());
    EXPECT_EQ(TakeAll(), L"bac");
}

TEST_F(RequestQueueTest, WhoseTimeComesWhileTheQueueIsHeldRunsWhenItIsReleased)
{
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    TSRequestItem later{L"later"};
    later.m_nNotBefore = clock.UtcSeconds() + 10;
    m_queue.Add(later);
    m_queue.SetHeld(true);
    clock.Advance(11s);
    EXPECT_EQ(TakeRequest(), L"");
    m_queue.SetHeld(false);
    EXPECT_EQ(TakeRequest(), L"later");
}

TEST_F(RequestQueueTest, WhatDrainsRunsNothingMoreAndSaysOnceThatItHas)
{
    EXPECT_FALSE(m_queue.TakeDrained());
    Add({L"a", L"b"});
    EXPECT_EQ(TakeRequest(), L"a");
    m_queue.Drain(false);
    EXPECT_TRUE(m_queue.IsDraining());
    EXPECT_FALSE(m_queue.TakeDrained()) << "a runs";
    m_queue.EndRunning();
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_TRUE(m_queue.TakeDrained());
    EXPECT_FALSE(m_queue.TakeDrained());
    EXPECT_TRUE(m_queue.IsRequestInQueue(L"b"));
}

TEST_F(RequestQueueTest, WhatDrainsWithAllThatWaitsRunsThatFirstAlsoWhenItIsHeldMeanwhile)
{
    Add({L"a", L"b"});
    m_queue.SetHeld(true);
    m_queue.Drain(true);
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_FALSE(m_queue.TakeDrained());
    m_queue.SetHeld(false);
    EXPECT_EQ(TakeAll(), L"ab");
    EXPECT_FALSE(m_queue.TakeDrained()) << "b runs";
    m_queue.EndRunning();
    EXPECT_TRUE(m_queue.TakeDrained());
}

TEST_F(RequestQueueTest, WhoTakesRequestsIsAwakeForWhatIsDrainedWheneverThatIsAskedFor)
{
    m_queue.Drain(false);
    EXPECT_EQ(TakeRequest(), L"") << "between the look whether it is drained and this one";
    EXPECT_TRUE(IsAwake());
    EXPECT_TRUE(m_queue.TakeDrained());
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_FALSE(IsAwake());
}

TEST_F(RequestQueueTest, TheLastOneThatIsTakenOutOfAHeldQueueEndsADrain)
{
    Add({L"a", L"b"});
    m_queue.SetHeld(true);
    m_queue.Drain(true);
    EXPECT_EQ(TakeRequest(), L"");
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakeWaiting(L"a", item));
    EXPECT_FALSE(IsAwake());
    ASSERT_TRUE(m_queue.TakeWaiting(L"b", item));
    EXPECT_TRUE(IsAwake());
    EXPECT_TRUE(m_queue.TakeDrained());
}

TEST_F(RequestQueueTest, AStopEndsTheWaitOfAQueueThatIsHeld)
{
    Add({L"a"});
    m_queue.SetHeld(true);
    EXPECT_EQ(TakeRequest(), L"");
    m_bRunning = false;
    m_queue.Wake();
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_TRUE(IsAwake());
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

TEST_F(RequestQueueTest, WhatWaitsForItsTimeCanBePausedAndCanceled)
{
    testsupport::CManualClock clock;
    clock.SetUtcSeconds(1000);
    const platform::CScopedOs os(nullptr, &clock);
    m_queue.Add({.m_strFile = L"later", .m_nNotBefore = 1001});
    EXPECT_FALSE(m_queue.CancelRunningRequest(L"later", true)) << "it waits";
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakeWaiting(L"later", item));
    EXPECT_FALSE(m_queue.IsKnown(L"later"));
    m_queue.Unpause(item);
    EXPECT_EQ(TakeRequest(), L"") << "its time has not come";
    m_queue.Clear(false);
    EXPECT_FALSE(m_queue.IsKnown(L"later"));
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

TEST_F(RequestQueueTest, ACanceledRequestIsNotPutBack)
{
    Add({L"a"});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"a", false));
    EXPECT_FALSE(m_queue.PutBack({L"a"}));
    EXPECT_FALSE(m_queue.IsRequestInQueue(L"a"));
}

TEST_F(RequestQueueTest, WhatWaitsIsNotCanceledInPlaceOfWhatRuns)
{
    Add({L"a", L"b"});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_FALSE(m_queue.CancelRunningRequest(L"b", false)) << "it is to be taken out";
    EXPECT_FALSE(m_context.m_canceled);
}

TEST_F(RequestQueueTest, ACancelMeansWhateverRunsUnlessNamesCount)
{
    Add({L"a"});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"unknown", true));
    EXPECT_FALSE(m_context.m_canceled);
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"unknown", false));
    EXPECT_TRUE(m_context.m_canceled);
}

TEST_F(RequestQueueTest, ACancelByNameFindsNothingWhenTheRequestHasEnded)
{
    Add({L"a"});
    ASSERT_EQ(TakeRequest(), L"a");
    m_queue.EndRunning();
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"a", true));
    EXPECT_FALSE(m_context.m_canceled);
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

TEST_F(RequestQueueTest, OnlyTheRunThatHasReachedItsLimitIsCancelled)
{
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    EXPECT_FALSE(m_queue.Running());
    m_queue.Add({.m_strFile = L"a", .m_timeLimit = 2s});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_EQ(m_queue.Running()->start, 0s);
    m_queue.BeginRunning();
    const std::optional<SRunningRequest> first = m_queue.Running();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->path, L"a");
    EXPECT_EQ(first->start, clock.Steady());
    EXPECT_EQ(first->limit, 2s);
    EXPECT_FALSE(m_queue.EndRunning());
    EXPECT_FALSE(m_queue.Running());
    EXPECT_FALSE(m_queue.EndAtLimit(first->number)) << "it has ended";
    m_queue.Add({.m_strFile = L"a", .m_timeLimit = 2s});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_FALSE(m_queue.EndAtLimit(first->number)) << "this is another run";
    EXPECT_FALSE(m_context.m_canceled || m_queue.IsEndedByLimit());
    EXPECT_TRUE(m_queue.EndAtLimit(m_queue.Running()->number));
    EXPECT_TRUE(m_context.m_canceled && m_queue.IsEndedByLimit());
    EXPECT_FALSE(m_queue.PutBack({L"a"})) << "it would begin anew";
    EXPECT_TRUE(m_queue.EndRunning());
    Add({L"b"});
    ASSERT_EQ(TakeRequest(), L"b");
    EXPECT_FALSE(m_context.m_canceled || m_queue.IsEndedByLimit());
    EXPECT_FALSE(m_queue.EndRunning());
}

TEST_F(RequestQueueTest, WhoCancelsARunAtItsLimitIsTheOneWhoEndedIt)
{
    for (const bool isFirst : {true, false}) {
        Add({L"a"});
        ASSERT_EQ(TakeRequest(), L"a");
        if (isFirst) {
            EXPECT_TRUE(m_queue.CancelRunningRequest(L"a", true));
        }
        EXPECT_TRUE(m_queue.EndAtLimit(m_queue.Running()->number));
        if (!isFirst) {
            EXPECT_TRUE(m_queue.CancelRunningRequest(L"a", true));
        }
        EXPECT_FALSE(m_queue.IsEndedByLimit());
        EXPECT_TRUE(m_queue.EndRunning()) << "it has reached its limit all the same";
    }
}

TEST_F(RequestQueueTest, ALimitIsKeptWhileItsRequestIsPausedOrDeclined)
{
    m_queue.Add({.m_strFile = L"a", .m_timeLimit = 2s});
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakeWaiting(L"a", item));
    m_queue.Pause(item);
    ASSERT_TRUE(m_queue.TakePaused(L"a", item));
    m_queue.Unpause(item);
    ASSERT_TRUE(m_queue.TakeRequest(item, m_bLast, [] {}));
    EXPECT_TRUE(m_queue.PutBack(item));
    m_queue.EndRunning();
    ASSERT_TRUE(m_queue.TakeRequest(item, m_bLast, [] {}));
    EXPECT_EQ(m_queue.Running()->limit, 2s);
}

TEST_F(RequestQueueTest, WhatIsToRunAgainWaitsForItsTimeUnlessSomebodyCancelsIt)
{
    testsupport::CManualClock clock(0ms);
    const platform::CScopedOs os(nullptr, &clock);
    Add({L"a"});
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakeRequest(item, m_bLast, [] {}));
    EXPECT_TRUE(m_queue.Running()->isLastAttempt);
    item.m_nMaxRuns = 3;
    item.m_nFailedRuns = 1;
    EXPECT_TRUE(m_queue.RunAgain(item, 2s));
    m_queue.EndRunning();
    EXPECT_EQ(m_queue.UntilDue(), 2s);
    Add({L"b"});
    EXPECT_EQ(TakeAll(), L"b");
    ASSERT_TRUE(m_queue.TakeWaiting(L"a", item));
    m_queue.Pause(item);
    ASSERT_TRUE(m_queue.TakePaused(L"a", item));
    m_queue.Unpause(item);
    ASSERT_TRUE(m_queue.TakeRequest(item, m_bLast, [] {}));
    EXPECT_FALSE(m_queue.Running()->isLastAttempt) << "it is counted over a pause";
    ++item.m_nFailedRuns;
    EXPECT_TRUE(m_queue.RunAgain(item, 1s));
    clock.Advance(1s);
    ASSERT_TRUE(m_queue.TakeRequest(item, m_bLast, [] {}));
    EXPECT_TRUE(m_queue.Running()->isLastAttempt);
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"a", true));
    EXPECT_FALSE(m_queue.RunAgain(item, 1s));
    m_queue.EndRunning();
    EXPECT_FALSE(m_queue.IsKnown(L"a"));
}

} // namespace
