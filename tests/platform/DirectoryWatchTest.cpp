#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"
#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fstream>

namespace platform {
namespace {

using namespace std::chrono_literals;
using testsupport::CTemporaryDirectory;

constexpr auto kSoon = 30s; // a change that comes at all comes within this, on the slowest machine
constexpr auto kNever = 50ms;
const bool kAreClosesTold = kPathSeparator == L'/'; // Windows tells of a write when it likes, and of a close never

int CreateFileInDirectory(const std::vector<std::wstring>& arguments)
{
    return WriteWholeFile(arguments[0], "content") == eOsError_None ? 0 : 1;
}
const testsupport::CChildPart createPart(L"watch-create", &CreateFileInDirectory);

class DirectoryWatchTest : public testing::Test {
protected:
    void Watch(eWatchFilter filter = eWatchFilter_FileName)
    {
        ASSERT_EQ(Files().Watch(m_directory, filter, m_pWatch), eOsError_None);
    }
    void Write(const std::wstring& name, const std::string& bytes = "content")
    {
        ASSERT_EQ(WriteWholeFile(m_directory + L"/" + name, bytes), eOsError_None);
    }
    /// Expects at least one change and takes all that come: several changes may be told in one or in several.
    void ExpectChange(const char* what)
    {
        EXPECT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Changed) << what;
        TakeChanges();
    }
    void TakeChanges()
    {
        do {
            ASSERT_EQ(m_pWatch->Rearm(), eOsError_None);
        } while (m_pWatch->Wait(kNever) == eWaitResult_Changed);
    }
    void ExpectQuiet(const char* what) { EXPECT_EQ(m_pWatch->Wait(kNever), eWaitResult_Timeout) << what; }

    const CTemporaryDirectory m_parent;
    const CTemporaryDirectory m_elsewhere;
    const std::wstring m_directory = [this] {
        const std::wstring directory = m_parent / L"watched";
        EXPECT_EQ(Files().MakeDirectory(directory), eOsError_None);
        return directory;
    }();
    std::unique_ptr<IDirectoryWatch> m_pWatch;
};

TEST_F(DirectoryWatchTest, NothingHappenedIsATimeout)
{
    Watch();
    EXPECT_EQ(m_pWatch->Wait(0ms), eWaitResult_Timeout);
    ExpectQuiet("nothing happened");
    EXPECT_EQ(m_pWatch->Wait(-5ms), eWaitResult_Timeout);
}

TEST_F(DirectoryWatchTest, EveryChangeOfNamesIsTold)
{
    Write(L"old");
    ASSERT_EQ(WriteWholeFile(m_elsewhere / L"outside", ""), eOsError_None);
    Watch();
    ExpectQuiet("what was before the watch does not count");
    Write(L"new");
    ExpectChange("created");
    ASSERT_EQ(Files().Move(m_elsewhere / L"outside", m_directory + L"/inside", 0), eOsError_None);
    ExpectChange("moved in");
    ASSERT_EQ(Files().Move(m_directory + L"/inside", m_directory + L"/renamed", 0), eOsError_None);
    ExpectChange("renamed");
    ASSERT_EQ(Files().Move(m_directory + L"/renamed", m_elsewhere / L"outside", 0), eOsError_None);
    ExpectChange("moved out");
    ASSERT_EQ(Files().Remove(m_directory + L"/old"), eOsError_None);
    ExpectChange("removed");
    ASSERT_EQ(Files().MakeDirectory(m_elsewhere / L"other"), eOsError_None);
    Write(L"../beside");
    ExpectQuiet("what happens elsewhere");
}

TEST_F(DirectoryWatchTest, ContentsCountWhenAskedFor)
{
    Write(L"file");
    Watch(eWatchFilter_FileNameAndLastWrite);
    Write(L"file", "another content");
    ExpectChange("content");
    Write(L"new");
    ExpectChange("name");
}

TEST_F(DirectoryWatchTest, ContentsDoNotCountOtherwise)
{
    Write(L"file");
    Watch();
    Write(L"file", "another content");
    ExpectQuiet("only names were asked for");
}

TEST_F(DirectoryWatchTest, NamesThatGoAreTold)
{
    Write(L"removed");
    Write(L"moved");
    Watch(eWatchFilter_FileNameGone);
    ASSERT_EQ(Files().Remove(m_directory + L"/removed"), eOsError_None);
    ExpectChange("removed");
    ASSERT_EQ(Files().Move(m_directory + L"/moved", m_elsewhere / L"outside", 0), eOsError_None);
    ExpectChange("moved out");
}

TEST_F(DirectoryWatchTest, AFileThatIsClosedAfterWritingIsNamedWhereTheSystemTells)
{
    Write(L"before");
    ASSERT_EQ(WriteWholeFile(m_elsewhere / L"outside", ""), eOsError_None);
    Watch(eWatchFilter_FileNameAndClosed);
    std::vector<std::wstring> names{L"old"};
    std::ofstream writer(StandardPath(m_directory + L"/before"), std::ios::app);
    writer << "more" << std::flush;
    ExpectQuiet("it is open still");
    std::ifstream(StandardPath(m_directory + L"/before")).get();
    ExpectQuiet("who read it has closed it");
    writer.close();
    ASSERT_EQ(Files().Move(m_elsewhere / L"outside", m_directory + L"/moved", 0), eOsError_None);
    EXPECT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Changed);
    ASSERT_EQ(m_pWatch->RearmNaming(names), eOsError_None);
    EXPECT_EQ(names, kAreClosesTold ? std::vector<std::wstring>({L"before", L"moved"}) : std::vector<std::wstring>());
    ExpectQuiet("taken");
}

TEST_F(DirectoryWatchTest, AFloodOfClosedFilesIsNamedInPart)
{
    Watch(eWatchFilter_FileNameAndClosed);
    for (std::size_t count = 0; count <= IDirectoryWatch::kMostNames; ++count)
        std::ofstream(StandardPath(m_directory + L"/file" + std::to_wstring(count))) << "content";
    std::vector<std::wstring> names;
    ASSERT_EQ(m_pWatch->RearmNaming(names), eOsError_None);
    EXPECT_EQ(names.size(), kAreClosesTold ? IDirectoryWatch::kMostNames : 0);
}

TEST_F(DirectoryWatchTest, AChangeStaysSignalledUntilItIsTaken)
{
    Watch();
    Write(L"file");
    EXPECT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Changed);
    EXPECT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Changed);
    EXPECT_EQ(m_pWatch->Wait(0ms), eWaitResult_Changed);
    TakeChanges();
    ExpectQuiet("taken");
}

TEST_F(DirectoryWatchTest, AChangeBetweenTwoWaitsIsNotLost)
{
    Watch();
    for (int i = 0; i < 20; ++i) {
        Write(L"file" + std::to_wstring(i));
        ASSERT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Changed);
        ASSERT_EQ(m_pWatch->Rearm(), eOsError_None);
    }
}

TEST_F(DirectoryWatchTest, AnotherProcessIsSeen)
{
    Watch();
    auto child = testsupport::StartChild(L"watch-create", {m_directory + L"/file"});
    ExpectChange("by another process");
    EXPECT_EQ(testsupport::FinishChild(child), 0);
}

TEST_F(DirectoryWatchTest, AWaiterIsWokenByAChange)
{
    Watch();
    eWaitResult result = eWaitResult_Failed;
    CThread waiter;
    ASSERT_TRUE(waiter.Start([&] {
        result = m_pWatch->Wait(kSoon);
        return 0U;
    }));
    Write(L"file");
    ASSERT_TRUE(waiter.Join());
    EXPECT_EQ(result, eWaitResult_Changed);
}

TEST_F(DirectoryWatchTest, WakeEndsOneWait)
{
    Watch();
    m_pWatch->Wake();
    EXPECT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Woken) << "the next one";
    ExpectQuiet("once");
    eWaitResult result = eWaitResult_Failed;
    CThread waiter;
    ASSERT_TRUE(waiter.Start([&] {
        result = m_pWatch->Wait(kSoon);
        return 0U;
    }));
    m_pWatch->Wake();
    ASSERT_TRUE(waiter.Join());
    EXPECT_EQ(result, eWaitResult_Woken) << "the current one, or the next where the waiter was late";
}

TEST_F(DirectoryWatchTest, WakeDoesNotTakeAChangeAway)
{
    Watch();
    Write(L"file");
    ASSERT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Changed);
    m_pWatch->Wake();
    EXPECT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Woken);
    EXPECT_EQ(m_pWatch->Wait(0ms), eWaitResult_Changed);
}

TEST_F(DirectoryWatchTest, MoreChangesThanTheSystemRemembersAreAChange)
{
    Watch();
    // Linux tells how many; a system that does not say remembers few. Each round makes two, so that none are merged.
    int remembered = 16384;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> remembered;
    if (remembered > 200'000)
        GTEST_SKIP() << "remembered: this system remembers more than a test can make";
    const std::wstring path = m_directory + L"/file";
    for (int made = 0; made <= remembered; made += 2) {
        ASSERT_EQ(WriteWholeFile(path, ""), eOsError_None);
        ASSERT_EQ(Files().Remove(path), eOsError_None);
    }
    ExpectChange("an overflow");
    Write(L"another");
    ExpectChange("and it goes on afterwards");
}

TEST_F(DirectoryWatchTest, ADirectoryThatCameBackIsWatchedAnew)
{
    Watch();
    ASSERT_EQ(Files().RemoveEmptyDirectory(m_directory), eOsError_None);
    // Wine removes a directory that is open only when it is closed, which the re-arm does, and signals nothing before.
    if (!testsupport::IsWine()) {
        EXPECT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Changed) << "gone";
    }
    EXPECT_EQ(m_pWatch->Rearm(), eOsError_PathNotFound);
    EXPECT_EQ(m_pWatch->Rearm(), eOsError_PathNotFound) << "again";
    EXPECT_EQ(m_pWatch->Wait(0ms), eWaitResult_Failed) << "there is nothing to wait for";
    m_pWatch->Wake();
    EXPECT_EQ(m_pWatch->Wait(kSoon), eWaitResult_Woken) << "but a wake-up still arrives";

    ASSERT_EQ(Files().MakeDirectory(m_directory), eOsError_None);
    TakeChanges();
    Write(L"file");
    ExpectChange("watched anew");
}

TEST_F(DirectoryWatchTest, WhatCannotBeWatchedFails)
{
    EXPECT_EQ(Files().Watch(m_parent / L"none", eWatchFilter_FileName, m_pWatch), eOsError_PathNotFound);
    Write(L"file");
    EXPECT_EQ(Files().Watch(m_directory + L"/file", eWatchFilter_FileName, m_pWatch), eOsError_NotADirectory);
    EXPECT_EQ(m_pWatch, nullptr);
}

} // namespace
} // namespace platform
