#include "client/OutputDirWatcher.h"

#include "platform/Os.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

namespace {

/// Without a client, and without a server.
class OutputDirWatcher : public testing::Test {
protected:
    void Change() { ASSERT_EQ(platform::WriteWholeFile(m_dir / L"file", "x"), platform::eOsError_None); }
    [[nodiscard]] bool BecomesChanged()
    {
        return testsupport::WaitUntil([&] { return m_watcher.IsChanged(); }, std::chrono::seconds(20));
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    testsupport::CFaultyFiles m_files;
    COutputDirWatcher m_watcher;
};

} // namespace

TEST_F(OutputDirWatcher, BeforeItsStartEverythingMayHaveChanged)
{
    EXPECT_TRUE(m_watcher.IsChanged());
    m_watcher.Reset();
    EXPECT_FALSE(m_watcher.IsChanged());
    m_watcher.Stop();
    EXPECT_FALSE(m_watcher.HasThread());
}

TEST_F(OutputDirWatcher, AChangeIsKnownUntilItsOwnerHasLooked)
{
    ASSERT_TRUE(m_watcher.Start(m_dir.Path()));
    EXPECT_TRUE(m_watcher.IsChanged()) << "before it was watched";
    m_watcher.Reset();
    EXPECT_FALSE(m_watcher.IsChanged());
    Change();
    EXPECT_TRUE(BecomesChanged());
}

TEST_F(OutputDirWatcher, HasOneThreadHoweverOftenItIsStarted)
{
    ASSERT_TRUE(m_watcher.Start(m_dir.Path()));
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(m_watcher.Start(m_dir.Path()));
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Watch), 0U);
}

TEST_F(OutputDirWatcher, ADirectoryThatCanNotBeWatchedIsReportedAndWatchedTheNextTime)
{
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_files.FailCall(testsupport::eFileCall_Watch, 1, platform::eOsError_AccessDenied);
        EXPECT_FALSE(m_watcher.Start(m_dir.Path()));
        m_watcher.Stop(); // before the files go
    }
    m_host.ExpectReport(600, L"FindFirstChangeNotification failed.\n" +
                                 platform::OsErrorText(platform::eOsError_AccessDenied));
    EXPECT_EQ(m_host.TakeReports().size(), 1U) << "the thread's end";
    EXPECT_TRUE(m_watcher.Start(m_dir.Path()));
}

TEST_F(OutputDirWatcher, AfterItsEndNothingIsKnownAndItCanBeginAgain)
{
    ASSERT_TRUE(m_watcher.Start(m_dir.Path()));
    m_watcher.Stop();
    EXPECT_FALSE(m_watcher.HasThread());
    EXPECT_FALSE(m_watcher.IsChanged());
    EXPECT_FALSE(platform::PathExists(m_dir / L"ThreadListenFileWatchStop.lock"));
    ASSERT_TRUE(m_watcher.Start(m_dir.Path()));
    m_watcher.Reset();
    Change();
    EXPECT_TRUE(BecomesChanged());
}

TEST_F(OutputDirWatcher, WhereNothingIsToldTheDirectoryIsListedAndTheLogSaysSo)
{
    m_files.GoDeaf();
    const platform::CScopedOs os(&m_files, nullptr);
    ASSERT_TRUE(m_watcher.Start(m_dir.Path(), {.isChecked = true}));
    m_host.ExpectLogLine(L"does not tell of changes in this directory, so it is listed instead: " + m_dir.Path());
    m_watcher.Reset();
    EXPECT_TRUE(BecomesChanged()) << "the first look";
    m_watcher.Reset();
    Change();
    EXPECT_TRUE(BecomesChanged());
    m_watcher.Stop(); // before the files go
}
