#include "server/RequestQueue.h"
#include "server/SlotContext.h"
#include "tests/support/RequestDoubles.h"

#include <gtest/gtest.h>

#include <array>

using namespace std::chrono_literals;

namespace {

class RequestQueueSlots : public testing::Test {
protected:
    static constexpr std::size_t kSlots = 3;

    RequestQueueSlots()
    {
        std::vector<CZelProcessorContext*> contexts;
        for (CTestContext& context : m_contexts)
            contexts.push_back(&context);
        m_queue.SetSlots(contexts);
    }
    void Add(std::initializer_list<const wchar_t*> paths)
    {
        for (const wchar_t* path : paths)
            m_queue.Add({path, 0, "owner"});
    }
    /// What runs in this slot from now on, empty when nothing does.
    std::wstring TakeRequest(std::size_t slot)
    {
        TSRequestItem item;
        return m_queue.TakeRequest(
                   item, m_bLast, [this] { ++m_empty; }, slot)
                   ? item.m_strFile
                   : std::wstring();
    }
    [[nodiscard]] bool IsAwake() { return m_queue.WaitFor(0ms); }

    std::array<CTestContext, kSlots> m_contexts;
    std::atomic<bool> m_bRunning = true;
    CRequestQueue m_queue{m_bRunning};
    bool m_bLast = false;
    int m_empty = 0;
};

} // namespace

TEST_F(RequestQueueSlots, EachSlotRunsOneAndAllAreKnown)
{
    Add({L"a", L"b"});
    EXPECT_EQ(TakeRequest(2), L"a");
    EXPECT_FALSE(m_bLast);
    EXPECT_EQ(TakeRequest(0), L"b");
    EXPECT_TRUE(m_bLast);
    EXPECT_EQ(m_queue.Running(2)->path, L"a");
    EXPECT_EQ(m_queue.Running(0)->path, L"b");
    EXPECT_FALSE(m_queue.Running(1));
    EXPECT_EQ(m_queue.AllRunning().size(), 2U);
    EXPECT_NE(m_queue.Running(0)->number, m_queue.Running(2)->number);
    m_queue.EndRunning(2);
    EXPECT_FALSE(m_queue.IsKnown(L"a"));
    EXPECT_TRUE(m_queue.IsKnown(L"b"));
}

TEST_F(RequestQueueSlots, ACancelStopsTheRunOfItsNameWhereverItIs)
{
    Add({L"a", L"b", L"waits"});
    ASSERT_EQ(TakeRequest(0), L"a");
    ASSERT_EQ(TakeRequest(1), L"b");
    EXPECT_FALSE(m_queue.CancelRunningRequest(L"waits", true)) << "it is to be taken out";
    EXPECT_TRUE(m_queue.CancelRunningRequest(L"b", true));
    EXPECT_FALSE(m_contexts[0].m_canceled);
    EXPECT_TRUE(m_contexts[1].m_canceled);
    EXPECT_FALSE(m_queue.PutBack({L"b"}, 1));
    EXPECT_TRUE(m_queue.PutBack({L"a"}, 0)) << "nobody cancelled it";
    m_queue.EndRunning(1);
    ASSERT_EQ(TakeRequest(1), L"waits");
    EXPECT_FALSE(m_contexts[1].m_canceled) << "each begins without";
}

TEST_F(RequestQueueSlots, ARunThatHasReachedItsLimitIsCancelledAlone)
{
    Add({L"a", L"b"});
    ASSERT_EQ(TakeRequest(0), L"a");
    ASSERT_EQ(TakeRequest(1), L"b");
    EXPECT_TRUE(m_queue.EndAtLimit(m_queue.Running(1)->number));
    EXPECT_TRUE(m_contexts[1].m_canceled && m_queue.IsEndedByLimit(1));
    EXPECT_FALSE(m_contexts[0].m_canceled || m_queue.IsEndedByLimit(0));
    m_queue.TellLimit(m_queue.Running(1)->number);
    EXPECT_EQ(m_queue.CloseLimit(1), true);
    EXPECT_EQ(m_queue.CloseLimit(0), false);
}

TEST_F(RequestQueueSlots, OneThatIsSentAgainWaitsForTheEndOfItsRun)
{
    Add({L"a"});
    ASSERT_EQ(TakeRequest(0), L"a");
    Add({L"a", L"b"});
    EXPECT_EQ(TakeRequest(1), L"b") << "others go by";
    EXPECT_EQ(TakeRequest(2), L"");
    EXPECT_TRUE(m_queue.IsRequestInQueue(L"a"));
    EXPECT_EQ(m_queue.CountOf("owner"), 1U);
    EXPECT_FALSE(IsAwake());
    Add({L"c"});
    m_queue.EndRunning(0);
    EXPECT_TRUE(IsAwake());
    EXPECT_EQ(TakeRequest(2), L"a") << "its turn has come already";
}

TEST_F(RequestQueueSlots, OneThatWaitsForTheEndOfItsRunCanBeTakenOut)
{
    Add({L"a"});
    ASSERT_EQ(TakeRequest(0), L"a");
    Add({L"a"});
    ASSERT_EQ(TakeRequest(1), L"");
    EXPECT_FALSE(m_queue.CancelRunningRequest(L"a", true)) << "the one that waits is meant";
    TSRequestItem item;
    EXPECT_TRUE(m_queue.TakeWaiting(L"a", item));
    m_queue.EndRunning(0);
    EXPECT_EQ(TakeRequest(1), L"");
}

TEST_F(RequestQueueSlots, AGrantedStepEndsWhenNothingRunsEither)
{
    Add({L"a"});
    ASSERT_EQ(TakeRequest(0), L"a");
    EXPECT_EQ(TakeRequest(1), L"");
    EXPECT_EQ(m_empty, 0) << "its task may decline";
    m_queue.EndRunning(0);
    EXPECT_EQ(TakeRequest(0), L"");
    EXPECT_EQ(m_empty, 1);
}

TEST_F(RequestQueueSlots, ADrainIsOverWithTheLastRun)
{
    Add({L"a", L"b", L"c"});
    ASSERT_EQ(TakeRequest(0), L"a");
    ASSERT_EQ(TakeRequest(1), L"b");
    m_queue.Drain(false);
    EXPECT_EQ(TakeRequest(2), L"");
    m_queue.EndRunning(0);
    EXPECT_FALSE(m_queue.TakeDrained());
    m_queue.EndRunning(1);
    EXPECT_TRUE(m_queue.TakeDrained());
    EXPECT_FALSE(m_queue.TakeDrained()) << "once";
}

TEST_F(RequestQueueSlots, OneThatHasNothingToDoLooksForWhatIsPutBack)
{
    Add({L"a", L"b", L"c"});
    ASSERT_EQ(TakeRequest(0), L"a");
    ASSERT_EQ(TakeRequest(1), L"b");
    ASSERT_EQ(TakeRequest(1), L"c");
    EXPECT_EQ(TakeRequest(2), L"");
    ASSERT_FALSE(IsAwake());
    EXPECT_TRUE(m_queue.RunAgain({L"a"}, 0ms, 0));
    m_queue.EndRunning(0);
    EXPECT_TRUE(IsAwake()) << "who has put it back may take another one";
    Add({L"d"});
    EXPECT_TRUE(m_queue.RunAgain({L"c"}, 1h, 1));
    m_queue.EndRunning(1);
    ASSERT_EQ(TakeRequest(1), L"d");
    ASSERT_EQ(TakeRequest(0), L"a");
    EXPECT_EQ(TakeRequest(2), L"");
    EXPECT_FALSE(IsAwake());
    EXPECT_LE(m_queue.UntilDue(), 1h) << "it waits no longer";
    Add({L"e"});
    ASSERT_EQ(TakeRequest(2), L"e");
    EXPECT_TRUE(IsAwake()) << "somebody else has to wait for that now";
}

TEST(SlotContext, ForwardsWhatIsTheHostsAndKeepsItsOwnFlag)
{
    CTestContext host;
    CSlotContext one;
    CSlotContext other;
    one.SetHost(&host);
    other.SetHost(&host);
    one.SetCanceled(true);
    EXPECT_TRUE(one.IsCanceled());
    EXPECT_FALSE(other.IsCanceled() || host.m_canceled);
    one.SetCanceled(false);
    EXPECT_FALSE(one.IsCanceled());
    host.m_canceled = true;
    EXPECT_TRUE(one.IsCanceled() && other.IsCanceled()) << "a host that ends wants all to stop";
    void* service = &host;
    EXPECT_EQ(one.GetHostService(ComIid<IUnknown>(), &service), E_NOINTERFACE);
    EXPECT_EQ(service, nullptr);
    EXPECT_FALSE(one.IsClosing());
}
