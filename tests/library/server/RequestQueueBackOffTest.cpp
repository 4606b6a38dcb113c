#include "platform/Os.h"
#include "server/RequestQueue.h"
#include "tests/support/ManualClock.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

/// A queue that backs off, of what was put back once, and a clock that only the test moves.
class RequestQueueBackOffTest : public testing::Test {
protected:
    RequestQueueBackOffTest()
    {
        m_queue.Clear(false, false, true);
        m_queue.Add({.m_strFile = L"a", .m_strOwner = "owner"});
        Decline();
    }
    /// What runs next is put back.
    void Decline()
    {
        TSRequestItem item;
        ASSERT_TRUE(m_queue.TakeRequest(item, m_bLast, [this] { ++m_empty; }));
        ASSERT_EQ(item.m_strFile, L"a");
        ASSERT_TRUE(m_queue.PutBack(item));
        m_queue.EndRunning();
    }

    /// What runs next, empty when nothing does.
    std::wstring TakeRequest()
    {
        TSRequestItem item;
        return m_queue.TakeRequest(item, m_bLast, [this] { ++m_empty; }) ? item.m_strFile : std::wstring();
    }
    [[nodiscard]] bool IsAwake() { return m_queue.WaitFor(0ms); }

    std::atomic<bool> m_bRunning = true;
    CRequestQueue m_queue{m_bRunning};
    bool m_bLast = false;
    int m_empty = 0;
    testsupport::CManualClock m_clock{0ms};
    const platform::CScopedOs m_os{nullptr, &m_clock};
};

TEST_F(RequestQueueBackOffTest, APauseIsTwiceAsLongEachTimeUntilItIsAGoodSecond)
{
    for (const auto pause : {10ms, 20ms, 40ms, 80ms, 160ms, 320ms, 640ms, 1100ms, 1100ms}) {
        EXPECT_EQ(m_queue.UntilDue(), pause);
        m_clock.Advance(pause - 1ns);
        EXPECT_EQ(m_queue.UntilDue(), 1ms) << "rounded up, or the last millisecond would cost a processor";
        EXPECT_EQ(TakeRequest(), L"");
        m_clock.Advance(1ns);
        EXPECT_EQ(m_queue.UntilDue(), 0ms);
        Decline();
    }
    EXPECT_EQ(m_empty, 0) << "something waits still, so a step that was granted goes on";
}

TEST_F(RequestQueueBackOffTest, OthersRunMeanwhileAndItWaitsBehindThem)
{
    for (const wchar_t* path : {L"b", L"c"})
        m_queue.Add({path});
    EXPECT_EQ(TakeRequest(), L"b");
    m_clock.Advance(10ms);
    EXPECT_EQ(TakeRequest(), L"c");
    EXPECT_FALSE(m_bLast) << "it waits behind";
    EXPECT_EQ(TakeRequest(), L"a");
    EXPECT_TRUE(m_bLast);
    EXPECT_EQ(m_queue.UntilDue(), std::chrono::milliseconds::max());
}

TEST_F(RequestQueueBackOffTest, WhoWaitsForItIsNotTheLastOne)
{
    m_queue.Add({L"b"});
    EXPECT_EQ(TakeRequest(), L"b");
    EXPECT_FALSE(m_bLast);
}

TEST_F(RequestQueueBackOffTest, InItsPauseItIsInTheQueueAndCanBeTakenOut)
{
    EXPECT_TRUE(m_queue.IsRequestInQueue(L"a") && m_queue.IsKnown(L"a"));
    EXPECT_EQ(m_queue.CountOf("owner"), 1U);
    EXPECT_FALSE(m_queue.CancelRunningRequest(L"a", true)) << "it waits";
    TSRequestItem item;
    ASSERT_TRUE(m_queue.TakeWaiting(L"a", item));
    EXPECT_FALSE(m_queue.IsKnown(L"a"));
    EXPECT_EQ(m_queue.CountOf("owner"), 0U);
    m_queue.Unpause(item);
    EXPECT_EQ(TakeRequest(), L"a") << "who lets it go on wants that now";
    m_queue.Add({L"x"});
    m_queue.Clear(false);
    EXPECT_FALSE(m_queue.IsKnown(L"x"));
}

TEST_F(RequestQueueBackOffTest, AClearedQueueHasForgottenIt)
{
    m_queue.Clear(false);
    EXPECT_FALSE(m_queue.IsKnown(L"a"));
    EXPECT_EQ(m_queue.UntilDue(), std::chrono::milliseconds::max());
}

TEST_F(RequestQueueBackOffTest, ARequestThatComesEndsTheWait)
{
    EXPECT_EQ(TakeRequest(), L"");
    EXPECT_FALSE(IsAwake());
    m_queue.Add({L"b"});
    EXPECT_TRUE(IsAwake());
}

} // namespace
