#include "apps/zel/ProgressView.h"

#include <gtest/gtest.h>

namespace {

SRequestState State(std::optional<std::int32_t> percent)
{
    SRequestState state;
    state.name = L"a.drq";
    state.status = eRequestStatus_GettingData;
    state.percent = percent;
    state.comment = L"step";
    return state;
}

TEST(ProgressViewTest, BarGrowsWithThePercent)
{
    EXPECT_EQ(ProgressBarLine(State(0), 80), L"[                    ]   0 % a.drq: GettingData step");
    EXPECT_EQ(ProgressBarLine(State(50), 80), L"[##########          ]  50 % a.drq: GettingData step");
    EXPECT_EQ(ProgressBarLine(State(100), 80), L"[####################] 100 % a.drq: GettingData step");
}

TEST(ProgressViewTest, PercentFromOutsideStaysInTheBar)
{
    EXPECT_EQ(ProgressBarLine(State(2'000'000'000), 80), ProgressBarLine(State(100), 80));
    EXPECT_EQ(ProgressBarLine(State(-7), 80), ProgressBarLine(State(0), 80));
}

TEST(ProgressViewTest, NoBarWithoutAPercent)
{
    EXPECT_EQ(ProgressBarLine(State({}), 80), L"a.drq: GettingData step");
}

TEST(ProgressViewTest, NarrowTerminalsGetTheTextOnly)
{
    EXPECT_EQ(ProgressBarLine(State(50), 59), L"a.drq: GettingData 50 % step");
}

TEST(ProgressViewTest, LineNeverIsWiderThanTheTerminal)
{
    SRequestState state = State(50);
    state.comment = std::wstring(500, L'x');
    for (std::size_t width = 1; width < 120; ++width)
        EXPECT_EQ(ProgressBarLine(state, width).size(), width);
}

} // namespace
