#include <ZEL_Processor/ZelPluginProgress.h>

#include "tests/plugins/PluginHarness.h"

#include <gtest/gtest.h>

#include <optional>

using namespace plugintest;
using namespace std::chrono_literals;

namespace {

CZelPacedProgress::TimePoint pacedNow;

/// Time passes only when a test says so.
class PacedProgress : public testing::Test {
protected:
    PacedProgress()
    {
        m_paced.emplace(
            m_recorded, 50ms, +[] { return pacedNow; });
    }

    CRecordingProgress m_recorded;
    std::optional<CZelPacedProgress> m_paced;
};

} // namespace

TEST_F(PacedProgress, PassesEachPercentOnOnce)
{
    m_paced->SetRange(0, 300'000);
    for (std::uint64_t row = 1; row <= 300'000; ++row)
        m_paced->SetPos(row);
    m_paced.reset();
    EXPECT_EQ(m_recorded.Reports().front(), L"range 0 300000");
    EXPECT_EQ(m_recorded.CountOf(L"pos "), 100U);
    EXPECT_EQ(m_recorded.Reports().back(), L"pos 300000");
}

TEST_F(PacedProgress, PassesOnInOnePercentWhenThePauseIsOver)
{
    m_paced->SetRange(0, 1'000'000);
    m_paced->SetPos(1);
    m_paced->SetPos(2);
    pacedNow += 49ms;
    m_paced->SetPos(3);
    EXPECT_EQ(m_recorded.CountOf(L"pos "), 0U);
    pacedNow += 1ms;
    m_paced->SetPos(4);
    EXPECT_EQ(m_recorded.Reports().back(), L"pos 4");
    m_paced->SetPos(5);
    EXPECT_EQ(m_recorded.CountOf(L"pos "), 1U);
}

TEST_F(PacedProgress, TheLastPositionArrivesInTheEnd)
{
    m_paced->SetRange(0, 1000);
    m_paced->SetPos(10);
    m_paced->SetPos(11);
    EXPECT_EQ(m_recorded.Reports().back(), L"pos 10");
    m_paced.reset();
    EXPECT_EQ(m_recorded.Reports().back(), L"pos 11");
}

TEST_F(PacedProgress, TheLastCommentArrivesInTheEnd)
{
    for (int row = 0; row < 100'000; ++row)
        m_paced->SetComment((L"row " + std::to_wstring(row)).c_str());
    EXPECT_EQ(m_recorded.Reports().size(), 10U);
    EXPECT_EQ(m_recorded.Reports().back(), L"comment row 9");
    m_paced.reset();
    EXPECT_EQ(m_recorded.Reports().size(), 11U);
    EXPECT_EQ(m_recorded.Reports().back(), L"comment row 99999");
}

TEST_F(PacedProgress, ACommentNowAndThenGoesOnAtOnce)
{
    for (int phase = 0; phase < 100; ++phase) {
        m_paced->SetComment((L"phase " + std::to_wstring(phase)).c_str());
        EXPECT_EQ(m_recorded.Reports().back(), L"comment phase " + std::to_wstring(phase));
        pacedNow += 50ms;
    }
}

TEST_F(PacedProgress, RangesInARowAreNoWayAroundThePace)
{
    for (int item = 0; item < 10'000; ++item) {
        m_paced->SetRange(0, 2);
        m_paced->StepIt();
        m_paced->StepIt();
    }
    EXPECT_LE(m_recorded.Reports().size(), 40U);
    m_paced.reset();
    EXPECT_EQ(m_recorded.Reports().back(), L"pos 2");
}

TEST_F(PacedProgress, ANewStatusGoesOnAtOnceAfterWhatWasKeptBack)
{
    m_paced->SetRange(0, 1000);
    m_paced->SetPos(10);
    m_paced->SetPos(11);
    m_paced->SetStatusAndComment(eRequestStatus_PreparingResponse, L"sorting");
    const std::vector<std::wstring> expected = {L"range 0 1000", L"pos 10", L"pos 11",
                                                L"status " + std::to_wstring(eRequestStatus_PreparingResponse) +
                                                    L" sorting"};
    EXPECT_EQ(m_recorded.Reports(), expected);
    for (int again = 0; again < 1000; ++again)
        m_paced->SetStatusAndComment(eRequestStatus_PreparingResponse, L"still");
    EXPECT_LE(m_recorded.Reports().size(), 14U);
}

TEST_F(PacedProgress, StepsCountFromThePositionThatWasKeptBack)
{
    m_paced->SetRange(0, 1000);
    m_paced->SetStep(3);
    m_paced->StepIt();
    m_paced->StepIt();
    m_paced->SetStep(-1);
    m_paced->StepIt();
    m_paced.reset();
    EXPECT_EQ(m_recorded.Reports().back(), L"pos 5");
}

TEST(PacedProgressOff, PassesEverythingOn)
{
    CRecordingProgress recorded;
    CZelPacedProgress paced(
        recorded, 0ms, +[] { return pacedNow; });
    for (std::uint64_t row = 0; row < 1000; ++row) {
        paced.SetPos(0);
        paced.SetComment(L"same");
    }
    EXPECT_EQ(recorded.Reports().size(), 2000U);
}

TEST(ZelPercent, IsThatOfThePosition)
{
    EXPECT_EQ(ZelPercent(0, 1000, 0), 0);
    EXPECT_EQ(ZelPercent(0, 1000, 9), 0);
    EXPECT_EQ(ZelPercent(0, 1000, 10), 1);
    EXPECT_EQ(ZelPercent(0, 1000, 2000), 100);
    EXPECT_EQ(ZelPercent(5, 5, 7), 0);
    EXPECT_EQ(ZelPercent(100, 200, 150), 150);
}
