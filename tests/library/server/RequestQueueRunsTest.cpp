#include "platform/Os.h"
#include "tests/library/server/RequestQueueFixture.h"

using namespace std::chrono_literals;

namespace {

using RequestQueueRunsTest = CRequestQueueFixture;

TEST_F(RequestQueueRunsTest, WhatIsHeldStartsNothingUntilItIsReleased)
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

TEST_F(RequestQueueRunsTest, WhoseTimeComesWhileTheQueueIsHeldRunsWhenItIsReleased)
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

TEST_F(RequestQueueRunsTest, WhatDrainsRunsNothingMoreAndSaysOnceThatItHas)
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

TEST_F(RequestQueueRunsTest, WhatDrainsWithAllThatWaitsRunsThatFirstAlsoWhenItIsHeldMeanwhile)
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

TEST_F(RequestQueueRunsTest, WhoTakesRequestsIsAwakeForWhatIsDrainedWheneverThatIsAskedFor)
{
    m_queue.Drain(false);
    EXPECT_EQ(TakeRequest(), L"") << "between the look whether it is drained and this one";
    EXPECT_TRUE(IsAwake());
    EXPECT_TRUE(m_queue.TakeDrained());
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_FALSE(IsAwake());
}

TEST_F(RequestQueueRunsTest, TheLastOneThatIsTakenOutOfAHeldQueueEndsADrain)
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

TEST_F(RequestQueueRunsTest, AStopEndsTheWaitOfAQueueThatIsHeld)
{
    Add({L"a"});
    m_queue.SetHeld(true);
    EXPECT_EQ(TakeRequest(), L"");
    m_bRunning = false;
    m_queue.Wake();
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_TRUE(IsAwake());
}

TEST_F(RequestQueueRunsTest, WhatWaitsForItsTimeCanBePausedAndCanceled)
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

TEST_F(RequestQueueRunsTest, ACanceledRequestIsNotPutBack)
{
    Add({L"a"});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"a", false));
    EXPECT_FALSE(m_queue.PutBack({L"a"}));
    EXPECT_FALSE(m_queue.IsRequestInQueue(L"a"));
}

TEST_F(RequestQueueRunsTest, WhatWaitsIsNotCanceledInPlaceOfWhatRuns)
{
    Add({L"a", L"b"});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_FALSE(m_queue.CancelRunningRequest(L"b", false)) << "it is to be taken out";
    EXPECT_FALSE(m_context.m_canceled);
}

TEST_F(RequestQueueRunsTest, ACancelMeansWhateverRunsUnlessNamesCount)
{
    Add({L"a"});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"unknown", true));
    EXPECT_FALSE(m_context.m_canceled);
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"unknown", false));
    EXPECT_TRUE(m_context.m_canceled);
}

TEST_F(RequestQueueRunsTest, ACancelByNameFindsNothingWhenTheRequestHasEnded)
{
    Add({L"a"});
    ASSERT_EQ(TakeRequest(), L"a");
    m_queue.EndRunning();
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"a", true));
    EXPECT_FALSE(m_context.m_canceled);
}

TEST_F(RequestQueueRunsTest, OnlyTheRunThatHasReachedItsLimitIsCancelled)
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
    EXPECT_EQ(m_queue.CloseLimit(), false);
    EXPECT_FALSE(m_queue.EndAtLimit(first->number)) << "it is about to end";
    m_queue.EndRunning();
    EXPECT_FALSE(m_queue.Running());
    EXPECT_FALSE(m_queue.EndAtLimit(first->number)) << "it has ended";
    m_queue.Add({.m_strFile = L"a", .m_timeLimit = 2s});
    ASSERT_EQ(TakeRequest(), L"a");
    EXPECT_FALSE(m_queue.EndAtLimit(first->number)) << "this is another run";
    EXPECT_FALSE(m_context.m_canceled || m_queue.IsEndedByLimit());
    EXPECT_TRUE(m_queue.EndAtLimit(m_queue.Running()->number));
    EXPECT_TRUE(m_context.m_canceled && m_queue.IsEndedByLimit());
    EXPECT_FALSE(m_queue.PutBack({L"a"})) << "it would begin anew";
    EXPECT_EQ(m_queue.CloseLimit(), std::nullopt) << "it is told of just now";
    m_queue.TellLimit(m_queue.Running()->number);
    EXPECT_EQ(m_queue.CloseLimit(), true);
    m_queue.EndRunning();
    Add({L"b"});
    ASSERT_EQ(TakeRequest(), L"b");
    EXPECT_FALSE(m_context.m_canceled || m_queue.IsEndedByLimit());
    EXPECT_EQ(m_queue.CloseLimit(), false);
    m_queue.EndRunning();
}

TEST_F(RequestQueueRunsTest, WhoCancelsARunAtItsLimitIsTheOneWhoEndedIt)
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
        m_queue.TellLimit(m_queue.Running()->number);
        EXPECT_EQ(m_queue.CloseLimit(), true) << "it has reached its limit all the same";
        m_queue.EndRunning();
    }
}

TEST_F(RequestQueueRunsTest, ALimitIsKeptWhileItsRequestIsPausedOrDeclined)
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

TEST_F(RequestQueueRunsTest, WhatIsToRunAgainWaitsForItsTimeUnlessSomebodyCancelsIt)
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
