#include "plugins/common/PercentProgress.h"

#include "tests/plugins/PluginHarness.h"

#include <gtest/gtest.h>

using namespace plugintest;

TEST(PercentProgress, ReportsEachPercentOnce)
{
    CRecordingProgress recorded;
    CPercentProgress progress(recorded, 12345);
    for (int work = 0; work < 12345; ++work)
        progress.Advance(1);
    const auto& reports = recorded.Reports();
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.front(), L"range 0 12345");
    EXPECT_EQ(reports.back(), L"pos 12345");
    EXPECT_EQ(recorded.CountOf(L"pos "), 101U); // the first step is a change from nothing
}

TEST(PercentProgress, ASmallTotalReportsEachStep)
{
    CRecordingProgress recorded;
    CPercentProgress progress(recorded, 3);
    for (int work = 0; work < 5; ++work)
        progress.Advance(1);
    const std::vector<std::wstring> expected = {L"range 0 3", L"pos 1", L"pos 2", L"pos 3"};
    EXPECT_EQ(recorded.Reports(), expected);
}

TEST(PercentProgress, NoWorkIsNoReport)
{
    CRecordingProgress recorded;
    CPercentProgress progress(recorded, 0);
    progress.Advance(5);
    EXPECT_TRUE(recorded.Reports().empty());
}

TEST(PercentProgress, HugeTotalsDoNotOverflow)
{
    CRecordingProgress recorded;
    constexpr std::uint64_t kTotal = ~std::uint64_t{0} / 2;
    CPercentProgress progress(recorded, kTotal);
    for (int step = 0; step < 1000; ++step)
        progress.Advance(kTotal / 1000 + 1);
    EXPECT_LE(recorded.CountOf(L"pos "), 101U);
    EXPECT_EQ(recorded.Reports().back(), L"pos " + std::to_wstring(kTotal));
}
