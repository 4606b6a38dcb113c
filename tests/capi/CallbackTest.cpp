#include "tests/capi/CApiFixture.h"
#include "tests/support/FaultyThreads.h"

namespace {

/// What a follower was told, and what it does with the last of it.
struct SFollowed {
    platform::CManualResetEvent ended;
    std::atomic<int> calls = 0;
    zel_follower* follower = nullptr;
    zel_client* client = nullptr;
    bool closes = false;
    std::string name;
    zel_code closed = ZEL_INTERNAL;
    zel_code clientClosed = ZEL_INTERNAL;

    static void Tell(void* context, const zel_status* status)
    {
        auto& self = *static_cast<SFollowed*>(context);
        ++self.calls;
        self.name = status->name;
        if (status->has_ended == 0)
            return;
        self.clientClosed = zel_client_close(self.client);
        if (self.closes)
            self.closed = zel_follower_close(self.follower);
        self.ended.Set();
    }
};

struct SWatched {
    platform::CManualResetEvent called;
    zel_watch* watch = nullptr;
    std::atomic<int> calls = 0;
    bool closes = false;

    static void Tell(void* context)
    {
        auto& self = *static_cast<SWatched*>(context);
        ++self.calls;
        if (self.closes) {
            EXPECT_ZEL_OK(zel_watch_close(self.watch));
        }
        self.called.Set();
    }
};

class CCallback : public CApiFixture {};

} // namespace

TEST_F(CCallback, AFollowerIsToldToTheEndAndMayCloseItselfButNotTheClient)
{
    Run();
    SendText("a.drq");
    for (const bool closes : {false, true}) {
        SFollowed followed;
        followed.client = m_c;
        followed.closes = closes;
        EXPECT_ZEL_OK(zel_follow(m_c, "a.drq", SFollowed::Tell, &followed, &followed.follower));
        ASSERT_TRUE(followed.ended.WaitFor(kPatience));
        EXPECT_EQ(followed.clientClosed, ZEL_WRONG_TIME);
        EXPECT_EQ(followed.name, "a.drq");
        EXPECT_EQ(zel_follower_close(followed.follower), closes ? ZEL_BAD_ARGUMENT : ZEL_OK);
        EXPECT_EQ(followed.closed, closes ? ZEL_OK : ZEL_INTERNAL);
    }
}

TEST_F(CCallback, NobodyIsToldOnceTheFollowerIsClosed)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    SendText("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    SFollowed followed;
    EXPECT_ZEL_OK(zel_follow(m_c, "a.drq", SFollowed::Tell, &followed, &followed.follower));
    ASSERT_TRUE(WaitUntil([&] { return followed.calls > 0; }));
    EXPECT_ZEL_OK(zel_follower_close(followed.follower));
    const int calls = followed.calls;
    gate.Open();
    EXPECT_ZEL_OK(zel_wait(m_c, "a.drq", Patience(), nullptr, nullptr));
    SFollowed other; // told after the closed one would have been
    other.client = m_c;
    EXPECT_ZEL_OK(zel_follow(m_c, "a.drq", SFollowed::Tell, &other, &other.follower));
    ASSERT_TRUE(other.ended.WaitFor(kPatience));
    EXPECT_EQ(followed.calls, calls);
    EXPECT_ZEL_OK(zel_follower_close(other.follower));
}

TEST_F(CCallback, AWatchIsCalledInTheBeginningAndWithEachChange)
{
    SWatched watched;
    EXPECT_ZEL_OK(zel_watch_open(m_c, SWatched::Tell, &watched, &watched.watch));
    ASSERT_TRUE(watched.called.WaitFor(kPatience));
    // Without a change it is called each second, which would take much longer.
    constexpr int kChanges = 20;
    const auto begin = std::chrono::steady_clock::now();
    for (int change = 0; change < kChanges; ++change) {
        watched.called.Reset();
        Write(In(m_outputDir, L"a" + std::to_wstring(change) + L".drq"), "<Response/>");
        EXPECT_TRUE(watched.called.WaitFor(kPatience));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(kChanges / 2));
    EXPECT_ZEL_OK(zel_watch_close(watched.watch));
    const int calls = watched.calls;
    Write(In(m_outputDir, L"b.drq"), "<Response/>");
    EXPECT_EQ(zel_watch_close(watched.watch), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(watched.calls, calls);
}

TEST_F(CCallback, AFollowerThatOutlivesItsClientLeavesRoomForTheNextClient)
{
    SFollowed followed;
    EXPECT_ZEL_OK(zel_follow(m_c, "a.drq", SFollowed::Tell, &followed, &followed.follower));
    Reopen();
    EXPECT_EQ(zel_cancel(m_c, "b.drq"), ZEL_UNKNOWN_REQUEST) << "its text comes from the services of the process";
    EXPECT_STRNE(zel_last_error()->text, "");
    EXPECT_ZEL_OK(zel_follower_close(followed.follower));
}

TEST_F(CCallback, WhereNoThreadIsToBeHadNobodyIsToldAndNothingIsOpen)
{
    const testsupport::CFaultyThreads threads(1);
    SFollowed followed;
    EXPECT_EQ(zel_follow(m_c, "a.drq", SFollowed::Tell, &followed, &followed.follower), ZEL_SYSTEM_ERROR);
    EXPECT_EQ(followed.follower, nullptr);
    SFollowed other; // its thread would tell the first one, too
    other.client = m_c;
    EXPECT_ZEL_OK(zel_follow(m_c, "a.drq", SFollowed::Tell, &other, &other.follower));
    ASSERT_TRUE(other.ended.WaitFor(kPatience));
    EXPECT_ZEL_OK(zel_follower_close(other.follower));
    EXPECT_EQ(followed.calls, 0);
}

TEST_F(CCallback, AWatchForWhichNoThreadIsToBeHadIsNotOpen)
{
    const testsupport::CFaultyThreads threads(1);
    SWatched watched;
    EXPECT_EQ(zel_watch_open(m_c, SWatched::Tell, &watched, &watched.watch), ZEL_SYSTEM_ERROR);
    EXPECT_EQ(watched.watch, nullptr);
    EXPECT_ZEL_OK(zel_client_close(std::exchange(m_c, nullptr))) << "it waits for no thread that never was";
    EXPECT_EQ(watched.calls, 0);
}

TEST_F(CCallback, AWatchMayCloseItselfAndAClientEndsThoseThatAreLeft)
{
    SWatched closing;
    closing.closes = true;
    EXPECT_ZEL_OK(zel_watch_open(m_c, SWatched::Tell, &closing, &closing.watch));
    ASSERT_TRUE(closing.called.WaitFor(kPatience));
    SWatched left;
    EXPECT_ZEL_OK(zel_watch_open(m_c, SWatched::Tell, &left, &left.watch));
    ASSERT_TRUE(left.called.WaitFor(kPatience));
    EXPECT_ZEL_OK(zel_client_close(std::exchange(m_c, nullptr)));
    const int calls = left.calls;
    EXPECT_ZEL_OK(zel_watch_close(left.watch));
    EXPECT_EQ(left.calls, calls);
    EXPECT_EQ(closing.calls, 1);
}
