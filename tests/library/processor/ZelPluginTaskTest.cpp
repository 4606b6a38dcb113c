#include <ZEL_Processor/ZelPluginTask.h>

#include "ZEL_Processor/ZelPluginModule.h"
#include "tests/support/RequestDoubles.h"

#include <gtest/gtest.h>

namespace {

/// Tells of 100,000 rows.
class CRowsTask : public CZelTask {
public:
    explicit CRowsTask(std::chrono::milliseconds pause) : m_pause(pause) {}
    bool STDMETHODCALLTYPE Init(IXMLDOMNode*) override { return true; }

protected:
    bool Work(CZelProcessorContext& context, CZelProcessorProgress& progress) override
    {
        progress.SetRange(0, 100'000);
        for (std::uint64_t row = 1; row <= 100'000 && !context.IsCanceled(); ++row)
            progress.SetPos(row);
        return !context.IsCanceled() || Fail(L"it was cancelled.");
    }
    std::chrono::milliseconds ProgressPause() const override { return m_pause; }

private:
    const std::chrono::milliseconds m_pause;
};

class CEmptyTask : public CZelTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode*) override { return true; }
};

CString ErrorOf(CZelTask& task)
{
    CBstr text;
    return task.GetErrorText(text.Put()) ? text.Text() : CString();
}

class CCountingProgress final : public CZelProcessorProgress {
public:
    void SetRange(std::uint64_t, std::uint64_t) override { ++calls; }
    void SetPos(std::uint64_t position) override
    {
        ++calls;
        last = position;
    }
    void SetStep(std::int32_t) override {}
    void StepIt() override { ++calls; }
    void SetComment(const wchar_t*) override { ++calls; }
    void SetStatusAndComment(eZelProcRequestStatus, const wchar_t*) override { ++calls; }

    unsigned calls = 0;
    std::uint64_t last = 0;
};

} // namespace

TEST(ZelPluginTask, PacesWhatItsWorkReports)
{
    CTestContext context;
    CCountingProgress progress;
    const auto task = ZelMake<CRowsTask>(std::chrono::hours(1));
    EXPECT_TRUE(task->ObtainData(&context, &progress));
    EXPECT_EQ(progress.calls, 101U);
    EXPECT_EQ(progress.last, 100'000U);
}

TEST(ZelPluginTask, PassesEverythingOnWithoutAPause)
{
    CTestContext context;
    CCountingProgress progress;
    const auto task = ZelMake<CRowsTask>(std::chrono::milliseconds(0));
    EXPECT_TRUE(task->ObtainData(&context, &progress));
    EXPECT_EQ(progress.calls, 100'001U);
}

TEST(ZelPluginTask, WorkHasTheContext)
{
    CTestContext context;
    context.SetCanceled(true);
    CCountingProgress progress;
    const auto task = ZelMake<CRowsTask>(std::chrono::milliseconds(50));
    EXPECT_FALSE(task->ObtainData(&context, &progress));
    EXPECT_EQ(ErrorOf(*task), L"it was cancelled.");
    EXPECT_FALSE(task->ObtainData(nullptr, &progress));
    EXPECT_FALSE(task->ObtainData(&context, nullptr));
}

TEST(ZelPluginTask, OneWithoutWorkSaysSo)
{
    CTestContext context;
    CCountingProgress progress;
    const auto task = ZelMake<CEmptyTask>();
    EXPECT_FALSE(task->ObtainData(&context, &progress));
    EXPECT_EQ(ErrorOf(*task), L"the task has neither Work nor ObtainData.");
}
