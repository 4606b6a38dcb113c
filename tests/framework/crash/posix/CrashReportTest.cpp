#include "framework/CrashReport.h"

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "tests/framework/ScratchFolder.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Reports into a folder of their own, with habits that let everybody read and write.
class CrashReportAccess : public testing::Test {
protected:
    CrashReportAccess() { m_host.WriteCrashReports(); }
    ~CrashReportAccess() override { umask(m_habits); }

    void Report()
    {
        SMOXCrashRecord record;
        record.size = sizeof record;
        ASSERT_EQ(MOXCrashRpt::GenerateErrorReport(record), 1);
        m_host.ExpectLogLine(L"A crash report was written");
    }
    static mode_t ModeOf(const std::wstring& path)
    {
        struct stat status = {};
        EXPECT_EQ(lstat(platform::NarrowPath(path).c_str(), &status), 0);
        return status.st_mode & 07777U;
    }

    const mode_t m_habits = umask(0);
    CScratchFolder m_folder;
    CRecordingHost m_host;
};

TEST_F(CrashReportAccess, AReportIsItsUsersAlone)
{
    const CScopedEnvironment variable(L"ZEL_CRASH_DIR", m_folder.Path());
    Report();
    EXPECT_EQ(ModeOf(MOXCrashRpt::LastReportPath()), 0600U);
}

TEST_F(CrashReportAccess, TheFolderOfAUsersOwnIsMadeByTheFirstReport)
{
    const CScopedEnvironment variable(L"ZEL_CRASH_DIR", L"");
    const CScopedEnvironment temporary(L"TMPDIR", m_folder.Path());
    ASSERT_EQ(chmod(platform::NarrowPath(m_folder.Path()).c_str(), 01777), 0);
    Report();
    const std::wstring folder = m_folder.PathOf(L"zel-crash-" + std::to_wstring(geteuid()));
    EXPECT_EQ(ModeOf(folder), 0700U);
    EXPECT_EQ(platform::DirectoryOf(MOXCrashRpt::LastReportPath()), folder);
}

TEST_F(CrashReportAccess, InAFolderThatOthersMayWriteToNoReportIsWritten)
{
    const CScopedEnvironment variable(L"ZEL_CRASH_DIR", L"");
    const CScopedEnvironment temporary(L"TMPDIR", m_folder.Path());
    const std::wstring folder = MOXCrashRpt::ReportDirectory();
    ASSERT_EQ(mkdir(platform::NarrowPath(folder).c_str(), 0777), 0);
    SMOXCrashRecord record;
    record.size = sizeof record;
    EXPECT_EQ(MOXCrashRpt::GenerateErrorReport(record), 0);
    m_host.ExpectLogLine(L"No crash report was written. others may write to " + m_folder.Path());
}

TEST_F(CrashReportAccess, TheReportsOfOthersStay)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "not root: only root can give a file away";
    const CScopedEnvironment variable(L"ZEL_CRASH_DIR", m_folder.Path());
    for (int old = 10; old < 70; ++old) {
        const std::wstring path = m_folder.PathOf(L"zel-crash-20200101T0000" + std::to_wstring(old) + L"Z-1-1.txt");
        ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, "old")));
        if (old < 20) {
            ASSERT_EQ(chown(platform::NarrowPath(path).c_str(), 12345, 0), 0);
        }
    }
    Report();
    const auto names = m_folder.Names();
    EXPECT_EQ(names.size(), 60U) << "ten of another user, and the fifty newest of this one";
    EXPECT_EQ(names.front(), L"zel-crash-20200101T000010Z-1-1.txt");
}

} // namespace
