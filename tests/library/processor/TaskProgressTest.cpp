#include "processor/TaskProgress.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class TaskProgress : public testing::Test {
protected:
    std::vector<SZelTaskRun> m_told;
    const std::function<void(const SZelTaskRun&)> m_tell = [this](const SZelTaskRun& run) { m_told.push_back(run); };
    CTaskProgress m_progress{m_tell};
};

} // namespace

TEST_F(TaskProgress, ThePercentAreThoseOfStatusFiles)
{
    m_progress.SetPos(30);
    EXPECT_EQ(m_progress.Run().percent, 30) << "from 0 to 100 until it is told otherwise";
    m_progress.SetRange(100, 300);
    EXPECT_EQ(m_progress.Run().percent, 0);
    m_progress.SetPos(250);
    EXPECT_EQ(m_progress.Run().percent, 125) << "the position counts, not its distance from the low end";
    EXPECT_EQ(m_told.size(), 3U) << "each of them is told";
}

TEST_F(TaskProgress, AStepGoesOnFromThePositionBackwardsToo)
{
    m_progress.StepIt();
    EXPECT_EQ(m_progress.Run().percent, 1);
    m_progress.SetStep(20);
    EXPECT_EQ(m_told.size(), 1U) << "that moves nothing";
    m_progress.StepIt();
    EXPECT_EQ(m_progress.Run().percent, 21);
    m_progress.SetStep(-11);
    m_progress.StepIt();
    EXPECT_EQ(m_progress.Run().percent, 10);
}

TEST_F(TaskProgress, StatusAndCommentAreToldTogether)
{
    m_progress.SetStatusAndComment(eRequestStatus_GettingData, L"reading");
    ASSERT_EQ(m_told.size(), 1U);
    EXPECT_EQ(m_told[0].status, eRequestStatus_GettingData);
    EXPECT_EQ(m_told[0].comment, L"reading");
    m_progress.SetComment(nullptr);
    ASSERT_EQ(m_told.size(), 2U);
    EXPECT_EQ(m_told[1].status, eRequestStatus_GettingData);
    EXPECT_EQ(m_told[1].comment, L"");
}

TEST_F(TaskProgress, NobodyHasToListen)
{
    const std::function<void(const SZelTaskRun&)> nobody;
    CTaskProgress progress(nobody);
    progress.SetPos(50);
    EXPECT_EQ(progress.Run().percent, 50);
}
