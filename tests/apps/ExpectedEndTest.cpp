#include "apps/common/ExpectedEnd.h"
#include "apps/zel/ProgressView.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

using Range = CExpectedEnd::SRange;

TEST(ExpectedEndTest, NothingIsSaidBeforeItIsKnown)
{
    CExpectedEnd end;
    EXPECT_FALSE(end.Left(0s));
    end.Report(0, 0s);
    end.Report(50, 10s);
    EXPECT_FALSE(end.Left(10s)) << "two reports";
    end.Report(60, 12s);
    EXPECT_TRUE(end.Left(12s));
    CExpectedEnd slow;
    for (int percent : {40, 41})
        slow.Report(percent, std::chrono::seconds(percent));
    slow.Report(41, 100s);
    EXPECT_FALSE(slow.Left(100s)) << "the same percent is no report";
    CExpectedEnd sudden;
    for (int percent : {0, 10, 20})
        sudden.Report(percent, std::chrono::milliseconds(percent));
    EXPECT_FALSE(sudden.Left(20ms)) << "20 ms are no measure";
}

TEST(ExpectedEndTest, AnEvenRateGivesOneEnd)
{
    CExpectedEnd end;
    for (int percent = 0; percent <= 40; percent += 10)
        end.Report(percent, std::chrono::seconds(percent));
    EXPECT_EQ(end.Left(40s), (Range{60s, 60s}));
}

TEST(ExpectedEndTest, ARateThatVariesWidensTheRange)
{
    CExpectedEnd end;
    end.Report(0, 0s);
    end.Report(10, 10s);
    end.Report(20, 20s);
    end.Report(30, 120s);
    const auto left = end.Left(120s);
    ASSERT_TRUE(left);
    EXPECT_EQ(left->shortest, 70s) << "as fast as it began";
    EXPECT_EQ(left->longest, 700s) << "as slow as it is now";
}

TEST(ExpectedEndTest, AStandstillMovesTheEndAway)
{
    CExpectedEnd end;
    for (int percent : {0, 10, 20})
        end.Report(percent, std::chrono::seconds(percent));
    const auto at = [&](std::chrono::seconds now) { return end.Left(now).value_or(Range{}); };
    EXPECT_EQ(at(20s), (Range{80s, 80s}));
    EXPECT_EQ(at(30s).shortest, 70s);
    EXPECT_GT(at(30s).longest, 80s);
    EXPECT_GT(at(60s).longest, at(30s).longest);
    EXPECT_EQ(at(1000s).shortest, 0s) << "never less than nothing";
}

TEST(ExpectedEndTest, ALowerPercentIsANewBeginning)
{
    CExpectedEnd end;
    for (int percent : {0, 10, 20})
        end.Report(percent, std::chrono::seconds(percent));
    end.Report(5, 30s);
    EXPECT_FALSE(end.Left(30s));
    end.Report(std::nullopt, 31s);
    for (int percent : {10, 20, 30})
        end.Report(percent, std::chrono::seconds(percent * 100));
    EXPECT_EQ(end.Left(3000s), (Range{7000s, 7000s})) << "what was before does not count";
}

TEST(ExpectedEndTest, NothingIsSaidAtTheEndNorOfMonths)
{
    CExpectedEnd end;
    for (int percent : {0, 50, 100})
        end.Report(percent, std::chrono::seconds(percent));
    EXPECT_FALSE(end.Left(100s));
    CExpectedEnd endless;
    for (int percent : {0, 1, 2})
        endless.Report(percent, std::chrono::hours(24 * percent));
    EXPECT_FALSE(endless.Left(48h));
}

TEST(ExpectedEndTest, TheBarSaysItInWords)
{
    EXPECT_EQ(LeftText(std::nullopt), L"");
    EXPECT_EQ(LeftText(Range{60s, 60s}), L"60 s left");
    EXPECT_EQ(LeftText(Range{50s, 600s}), L"50 s to 10 min left");
    SRequestState state;
    state.name = L"a.drq";
    state.status = eRequestStatus_GettingData;
    state.percent = 50;
    EXPECT_EQ(ProgressBarLine(state, 80, L"60 s left"), L"[##########          ]  50 % 60 s left  a.drq: GettingData");
    EXPECT_EQ(ProgressBarLine(state, 59, L"60 s left"), L"a.drq: GettingData 50 %");
}

} // namespace
