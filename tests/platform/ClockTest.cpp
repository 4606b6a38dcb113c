#include "platform/Clock.h"

#include "platform/Os.h"
#include "tests/support/ManualClock.h"
#include "tests/support/Predicates.h"

#include <gtest/gtest.h>

#include <ctime>

namespace platform {
namespace {

using namespace std::chrono_literals;

TEST(ClockTest, SleepingTakesItsTime)
{
    const auto ticks = Clock().TickCount();
    const auto steady = Clock().Steady();
    Clock().SleepFor(50ms);
    EXPECT_GE(Clock().Steady() - steady, 49ms);
    EXPECT_GE(Clock().TickCount() - ticks, 49U);
}

TEST(ClockTest, NeverGoesBack)
{
    auto last = Clock().Steady();
    for (int i = 0; i < 10'000; ++i) {
        const auto now = Clock().Steady();
        ASSERT_GE(now, last);
        last = now;
        if (i % 100 == 0)
            Clock().YieldThread();
    }
}

TEST(ClockTest, CountsSecondsOfUniversalTime)
{
    const auto before = static_cast<std::int64_t>(std::time(nullptr));
    const auto now = Clock().UtcSeconds();
    EXPECT_GE(now, before - 1); // the two may come from clocks of different fineness
    EXPECT_LE(now, before + 60);
}

TEST(ClockTest, TheStartOfTheSystemHasANameThatStays)
{
    if (testsupport::IsWine())
        GTEST_SKIP() << "Wine tells of no start of the system";
    const std::string id = SystemClock().SystemStartId();
    EXPECT_GE(id.size(), 10U);
    EXPECT_EQ(id.find_first_not_of("0123456789abcdef-"), std::string::npos) << id;
    SystemClock().SleepFor(20ms);
    EXPECT_EQ(SystemClock().SystemStartId(), id);
}

TEST(ClockTest, AManualClockMovesByHandAndByWaiting)
{
    testsupport::CManualClock clock;
    const auto start = clock.Steady();
    EXPECT_EQ(clock.Steady(), start);
    clock.Advance(5s);
    EXPECT_EQ(clock.Steady() - start, 5s);
    int calls = 0;
    clock.OnWait([&calls] { ++calls; });
    const auto ticks = clock.TickCount();
    clock.SleepFor(2s);
    EXPECT_EQ(clock.TickCount() - ticks, 2000U);
    clock.YieldThread();
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(clock.Sleeps(), 1U);
    EXPECT_EQ(clock.Yields(), 1U);
    clock.SetUtcSeconds(1'000'000'000);
    EXPECT_EQ(clock.UtcSeconds(), 1'000'000'000);
}

} // namespace
} // namespace platform
