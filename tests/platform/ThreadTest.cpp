#include "platform/Thread.h"

#include "tests/support/FaultyThreads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

namespace platform {
namespace {

using namespace std::chrono_literals;

TEST(ManualResetEventTest, StaysSetUntilReset)
{
    CManualResetEvent event;
    EXPECT_FALSE(event.IsSet());
    EXPECT_FALSE(event.WaitFor(0ms));
    EXPECT_FALSE(event.WaitFor(10ms));
    event.Set();
    event.Wait();
    EXPECT_TRUE(event.WaitFor(0ms));
    EXPECT_TRUE(event.IsSet());
    event.Reset();
    EXPECT_FALSE(event.WaitFor(0ms));
}

TEST(ManualResetEventTest, WakesAllWaiters)
{
    CManualResetEvent event;
    std::atomic<int> awake{0};
    CThread threads[4];
    for (CThread& thread : threads) {
        ASSERT_TRUE(thread.Start([&] {
            awake += event.WaitFor(std::chrono::milliseconds::max()) ? 1 : 0;
            return 0U;
        }));
    }
    event.Set();
    for (CThread& thread : threads)
        EXPECT_TRUE(thread.Join());
    EXPECT_EQ(awake, 4);
}

TEST(ThreadTest, GivesItsExitCode)
{
    CThread thread;
    EXPECT_FALSE(thread.IsStarted());
    EXPECT_FALSE(thread.Join()) << "nothing to wait for";
    ASSERT_TRUE(thread.Start([] { return 7U; }));
    EXPECT_TRUE(thread.IsStarted());
    EXPECT_TRUE(thread.WaitFor(60s));
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(thread.ExitCode(), 7U);
    EXPECT_FALSE(thread.Join()) << "joined already";
    EXPECT_EQ(thread.ExitCode(), 7U);
}

TEST(ThreadTest, WaitingForOneThatRunsEndsInTime)
{
    CManualResetEvent end;
    CThread thread;
    ASSERT_TRUE(thread.Start([&end] {
        end.Wait();
        return 1U;
    }));
    EXPECT_FALSE(thread.WaitFor(20ms));
    EXPECT_FALSE(thread.Start([] { return 2U; })) << "one at a time";
    end.Set();
    EXPECT_TRUE(thread.Join());
    EXPECT_TRUE(thread.WaitFor(0ms));
    ASSERT_TRUE(thread.Start([] { return 2U; })) << "and another after it";
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(thread.ExitCode(), 2U);
}

TEST(ThreadTest, CannotWaitForItself)
{
    CManualResetEvent started;
    CThread thread;
    bool joined = true;
    ASSERT_TRUE(thread.Start([&] {
        started.Wait();
        joined = thread.Join();
        return 0U;
    }));
    started.Set();
    EXPECT_TRUE(thread.Join());
    EXPECT_FALSE(joined);
}

TEST(ThreadTest, TheEndOfTheObjectWaitsForTheThread)
{
    std::atomic<bool> ended{false};
    CManualResetEvent go;
    {
        CThread thread;
        ASSERT_TRUE(thread.Start([&] {
            go.Wait();
            ended = true;
            return 0U;
        }));
        CThread moved = std::move(thread);
        EXPECT_FALSE(thread.IsStarted()); // NOLINT(bugprone-use-after-move): a moved one is as new
        go.Set();
    }
    EXPECT_TRUE(ended);
}

TEST(ThreadTest, APlannedStartFails)
{
    const testsupport::CFaultyThreads threads(2);
    CThread first;
    CThread second;
    CThread third;
    EXPECT_TRUE(first.Start([] { return 0U; }));
    EXPECT_FALSE(second.Start([] { return 0U; }));
    EXPECT_FALSE(second.IsStarted());
    EXPECT_TRUE(third.Start([] { return 0U; }));
}

TEST(ThreadTest, TakesANameOfAnyLength)
{
    CThread thread;
    ASSERT_TRUE(thread.Start([] {
        EXPECT_STREQ(CurrentThreadName(), "");
        SetCurrentThreadName("short");
        EXPECT_STREQ(CurrentThreadName(), "short");
        SetCurrentThreadName("ZelProcessorServer::MessageHandling");
        EXPECT_STREQ(CurrentThreadName(), "ZelProcessorServer::MessageHandling");
        SetCurrentThreadName(std::string(100, 'x').c_str());
        EXPECT_EQ(CurrentThreadName(), std::string(63, 'x'));
        return 0U;
    }));
    EXPECT_TRUE(thread.Join());
}

} // namespace
} // namespace platform
