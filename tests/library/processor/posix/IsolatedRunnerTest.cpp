#include "processor/IsolatedRunner.h"

#include "ZEL_Processor/ZelProcessor.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "tests/library/processor/TasksFixture.h"
#include "tests/support/RequestDoubles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

namespace {

/// Against a process that says what it is told to, not what a task does.
class IsolatedRunnerHostTest : public CTasksFixture {
protected:
    IsolatedRunnerHostTest() { EXPECT_TRUE(m_processor.SetOutputDir(m_directory.Path())); }

    /// A program that answers a request with these lines.
    [[nodiscard]] std::wstring MakeHost(const std::string& answer) const
    {
        const std::wstring path = m_directory / L"host";
        const std::string script = "#!/bin/sh\n"
                                   "while read -r line; do\n"
                                   "case \"$line\" in\n"
                                   "'begin;') echo 'ready 1;' ;;\n"
                                   "'run '*) " +
                                   answer +
                                   " ;;\n"
                                   "'end;') exit 0 ;;\n"
                                   "esac\n"
                                   "done\n";
        EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, script)));
        std::filesystem::permissions(testsupport::StandardPath(path), std::filesystem::perms::owner_all);
        return path;
    }

    testsupport::CTemporaryDirectory m_directory;
    CZelProcessor m_processor;
    CTestContext m_context;
    CRecordingProgress m_progress;
    std::atomic<bool> m_isRunning = true;
};

TEST_F(IsolatedRunnerHostTest, ARequestIsTakenAwayOnce)
{
    const std::wstring request = m_directory / L"abc.drq";
    const std::wstring answers = m_directory / L"answers";
    SZelIsolation isolation;
    isolation.program =
        MakeHost("for time in 1 2; do echo 'remove;'; read -r answer; echo \"$answer\" >> \"${0%host}answers\"; done; "
                 "echo 'end 0 0 0;'");
    int taken = 0;
    const auto remove = [&](const CString& path) {
        EXPECT_EQ(path, request);
        ++taken;
        return platform::eOsError_None;
    };
    CIsolatedRunner runner(
        m_processor,
        SIsolatedRunnerSetup{
            isolation, m_directory.Path(), false, {}, false, {}, {}, &m_context, m_isRunning, remove, {}, nullptr});
    for (int plugin = 0; plugin < 2; ++plugin)
        m_host.ExpectLogLine(L"A plug-in that lives in this process serves no isolated request");
    runner.Prepare();
    runner.GetReady();
    bool isRetry = true;
    EXPECT_TRUE(runner.ProcessRequest(request, &m_progress, false, isRetry));
    runner.Finish();
    EXPECT_EQ(taken, 1) << "the second one may be another request of that name";
    std::string told;
    EXPECT_TRUE(platform::Succeeded(platform::ReadWholeFile(answers, platform::eOpenMode_ReadShared, told, 1000)));
    EXPECT_EQ(told, "removed 0;\nremoved 0;\n");
    EXPECT_EQ(m_progress.m_statuses, std::vector{eRequestStatus_Done});
}

} // namespace
