#include "apps/zel-server/FigureHistory.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

SZelServerFigures FiguresOf(std::uint64_t done, std::chrono::milliseconds each)
{
    SZelServerFigures figures;
    figures.types.push_back({.type = L"Query", .done = done});
    for (std::uint64_t count = 0; count < done; ++count)
        figures.running.Add(each);
    return figures;
}

TEST(FigureHistoryTest, APercentileIsEstimatedBetweenTheLimits)
{
    SZelTimes times;
    EXPECT_EQ(Percentile(times, 0.5), std::nullopt);
    for (int count = 0; count < 100; ++count)
        times.Add(15ms);
    EXPECT_EQ(Percentile(times, 0.5), 15ms);
    EXPECT_EQ(Percentile(times, 1), 20ms);
    times = {};
    times.Add(48h);
    EXPECT_EQ(Percentile(times, 0.5), 1h) << "nothing is known beyond the last limit";
}

TEST(FigureHistoryTest, WhatIsNewIsOfTheIntervalOfItsTime)
{
    CFigureHistory history;
    history.Add(FiguresOf(3, 15ms), 1003);
    history.Add(FiguresOf(5, 15ms), 1009);
    history.Add(FiguresOf(6, 15ms), 1031);
    const auto& intervals = history.Intervals();
    ASSERT_EQ(intervals.size(), 4U);
    EXPECT_EQ(intervals[0].start, 1000);
    EXPECT_EQ(intervals[0].done, 5U);
    EXPECT_EQ(intervals[1].done + intervals[2].done, 0U);
    EXPECT_EQ(intervals[3].done, 1U);
    EXPECT_EQ(intervals[3].running.counts[4], 1U);
}

TEST(FigureHistoryTest, TenMinutesAreKeptHoweverLongNothingWas)
{
    CFigureHistory history;
    history.Add(FiguresOf(1, 1ms), 0);
    history.Add(FiguresOf(2, 1ms), 1'000'000);
    ASSERT_EQ(history.Intervals().size(), CFigureHistory::kIntervals);
    EXPECT_EQ(history.Intervals().back().start, 1'000'000);
    history.Add(FiguresOf(3, 1ms), 500'000); // the clock was set back
    EXPECT_EQ(history.Intervals().size(), 1U);
    EXPECT_EQ(history.Intervals().back().done, 1U);
}

class FigureHistoryEnds : public testing::Test {
protected:
    std::optional<SExpectedEnd> EndAfter(std::initializer_list<std::pair<std::chrono::seconds, int>> reports)
    {
        SZelServerFigures figures;
        figures.runs.resize(1);
        figures.runs[0].run = ++m_nRun;
        for (const auto& [time, percent] : reports) {
            figures.now = time;
            figures.runs[0].percent = percent;
            m_history.Add(figures, 0);
        }
        return m_history.EndOf(figures.runs[0]);
    }

    CFigureHistory m_history;
    std::uint64_t m_nRun = 0;
};

TEST_F(FigureHistoryEnds, NoneIsToldBeforeItIsKnown)
{
    EXPECT_FALSE(EndAfter({}));
    EXPECT_FALSE(EndAfter({{1s, -1}}));
    EXPECT_FALSE(EndAfter({{1s, 10}, {2s, 20}}));
    EXPECT_FALSE(EndAfter({{1s, 0}, {2s, 0}, {3s, 0}, {4s, 1}}));
    EXPECT_FALSE(EndAfter({{1s, 50}, {2s, 60}, {3s, 70}, {4s, 5}})) << "it began something else";
}

TEST_F(FigureHistoryEnds, ItIsToldFromTheReportsOfARun)
{
    const auto end = EndAfter({{10s, 10}, {20s, 20}, {30s, 30}, {40s, 40}});
    ASSERT_TRUE(end);
    EXPECT_EQ(end->earliest, 100s);
    EXPECT_EQ(end->latest, 100s);
}

} // namespace
