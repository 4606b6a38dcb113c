#include "platform/FaultMutex.h"

#include "platform/Fault.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

namespace platform {
namespace {

/// Faults with the lock held.
void Lose(CFaultMutex& mutex)
{
    SFaultRecord record;
    EXPECT_FALSE(RunContained(
        [&] {
            const CFaultLock lock(mutex);
            std::abort();
        },
        record));
}

TEST(FaultMutexTest, OneAtATimeHasIt)
{
    CFaultMutex mutex;
    int count = 0;
    const auto add = [&] {
        for (int i = 0; i < 1000; ++i) {
            const CFaultLock lock(mutex);
            EXPECT_TRUE(lock.IsHeld());
            ++count;
        }
    };
    std::thread other(add);
    add();
    other.join();
    EXPECT_EQ(count, 2000);
}

TEST(FaultMutexTest, TheThreadThatFaultedWithItDoesNotWaitForItself)
{
    CFaultMutex mutex;
    Lose(mutex);
    EXPECT_FALSE(CFaultLock(mutex).IsHeld());
    bool isHeld = true;
    std::thread([&] { isHeld = CFaultLock(mutex).IsHeld(); }).join();
    EXPECT_FALSE(isHeld) << "and what it guards is left alone by all";
}

TEST(FaultMutexTest, WhoWaitsForItMeanwhileWaitsNoLonger)
{
    CFaultMutex mutex;
    Lose(mutex);
    std::atomic<bool> isHeld = true;
    std::thread waiting([&] { isHeld = CFaultLock(mutex).IsHeld(); });
    EXPECT_FALSE(CFaultLock(mutex).IsHeld()); // the report
    waiting.join();
    EXPECT_FALSE(isHeld);
}

} // namespace
} // namespace platform
