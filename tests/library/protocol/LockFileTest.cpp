#include "ZEL_Processor/LockFile.h"

#include "framework/Exceptions.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

/// Child: holds the lock of the given file until its parent speaks or it is killed.
int HoldLock(const std::vector<std::wstring>& arguments)
{
    CLockFile lock(arguments.at(0));
    testsupport::TellParent(lock.Lock(false) ? L"held" : L"busy");
    testsupport::WaitForParent();
    return lock.Unlock() ? 0 : 1;
}
const testsupport::CChildPart g_holdLock(L"hold-lock", &HoldLock);

class LockFile : public testing::Test {
protected:
    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_guarded = m_dir / L"x.dat";
    std::wstring m_lockPath = m_guarded + L".lock";
};

} // namespace

TEST_F(LockFile, ASecondHolderIsBusyUntilTheFirstUnlocks)
{
    CLockFile first(m_guarded);
    CLockFile second(m_guarded);
    EXPECT_TRUE(first.Lock(false));
    EXPECT_FALSE(second.Lock(false));
    EXPECT_TRUE(first.Unlock());
    EXPECT_TRUE(second.Lock(false));
}

TEST_F(LockFile, TheLockFileIsTheGuardedPathWithLockAppended)
{
    CLockFile lock(m_guarded);
    EXPECT_FALSE(platform::PathExists(m_lockPath));
    EXPECT_TRUE(lock.Lock(false));
    EXPECT_TRUE(platform::PathExists(m_lockPath));
    EXPECT_FALSE(platform::PathExists(m_guarded));
}

TEST_F(LockFile, TheContentNamesProcessAndThread)
{
    testsupport::CFaultyFiles files;
    const platform::CScopedOs os(&files, nullptr);
    CLockFile lock(m_guarded);
    EXPECT_TRUE(lock.Lock(false));
    EXPECT_EQ(platform::FromUtf16Le(files.Calls().at(0).content),
              L"Process id: " + std::to_wstring(platform::CurrentProcessId()) + L"\nThread id: " +
                  std::to_wstring(platform::CurrentThreadId()));
}

TEST_F(LockFile, NothingIsLeftAfterUnlockingOrDestruction)
{
    {
        CLockFile lock(m_guarded);
        EXPECT_TRUE(lock.Lock(false));
        EXPECT_TRUE(lock.Unlock());
        EXPECT_FALSE(platform::PathExists(m_lockPath));
        EXPECT_TRUE(lock.Lock(true));
    }
    EXPECT_FALSE(platform::PathExists(m_lockPath));
}

TEST_F(LockFile, UnlockingTwiceIsHarmless)
{
    CLockFile lock(m_guarded);
    EXPECT_TRUE(lock.Lock(false));
    EXPECT_TRUE(lock.Unlock());
    EXPECT_TRUE(lock.Unlock());
}

TEST_F(LockFile, LockingTwiceReportsAndThrows)
{
    CLockFile lock(m_guarded);
    EXPECT_TRUE(lock.Lock(false));
    EXPECT_THROW(lock.Lock(false), CNotSupportedException);
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].message, L"Please call Unlock before next lock !");
    EXPECT_EQ(reports[0].function, L"CLockFile::CreateLockFile");
    EXPECT_EQ(reports[0].sourceFile, L"Kernel/ZEL_Processor/ZEL_Processor/LockFile");
    EXPECT_TRUE(platform::PathExists(m_lockPath));
}

TEST_F(LockFile, WaitingEndsAfterALittleMoreThanTwoSeconds)
{
    testsupport::CManualClock clock(std::chrono::milliseconds(10));
    const platform::CScopedOs os(nullptr, &clock);
    CLockFile holder(m_guarded);
    EXPECT_TRUE(holder.Lock(false));
    const auto start = clock.Steady();
    CLockFile waiter(m_guarded);
    EXPECT_FALSE(waiter.Lock(true));
    const auto waited = clock.Steady() - start;
    EXPECT_GT(waited, std::chrono::seconds(2));
    EXPECT_LT(waited, std::chrono::milliseconds(2050));
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].message, L"Timeout expired");
    EXPECT_EQ(reports[0].function, L"CLockFile::Lock");
}

TEST_F(LockFile, WaitingTakesALockThatIsReleasedInTime)
{
    testsupport::CManualClock clock(std::chrono::milliseconds(10));
    CLockFile holder(m_guarded);
    EXPECT_TRUE(holder.Lock(false));
    const auto start = clock.Steady();
    clock.OnWait([&] {
        if (clock.Steady() - start >= std::chrono::milliseconds(1900))
            holder.Unlock();
    });
    const platform::CScopedOs os(nullptr, &clock);
    CLockFile waiter(m_guarded);
    EXPECT_TRUE(waiter.Lock(true));
}

TEST_F(LockFile, AMissingDirectoryIsAnErrorAtOnceAndReportedOnlyByAWaitingCaller)
{
    const std::wstring guarded = (m_dir / L"missing") + platform::kPathSeparator + L"x.dat";
    CLockFile lock(guarded);
    EXPECT_FALSE(lock.Lock(false));
    EXPECT_TRUE(m_host.TakeReports().empty());
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    EXPECT_FALSE(lock.Lock(true));
    EXPECT_EQ(clock.Yields(), 0U);
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].message, L"Unable to create lock file");
}

TEST_F(LockFile, CopiesShareTheHeldLock)
{
    CLockFile original(m_guarded);
    EXPECT_TRUE(original.Lock(false));
    CLockFile copy(original);
    EXPECT_TRUE(copy.Unlock());
    EXPECT_FALSE(platform::PathExists(m_lockPath));
    EXPECT_TRUE(original.Lock(false)) << "a released lock can be taken again";
}

TEST_F(LockFile, ACopyOfAnUnheldLockIsIndependent)
{
    CLockFile original(m_guarded);
    CLockFile copy(original);
    EXPECT_TRUE(original.Lock(false));
    EXPECT_FALSE(copy.Lock(false));
}

TEST_F(LockFile, AHolderInAnotherProcessKeepsOthersOutAndBlocksNobodyOnceKilled)
{
    platform::CProcess child = testsupport::StartChild(L"hold-lock", {m_guarded});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"held"));
    CLockFile lock(m_guarded);
    EXPECT_FALSE(lock.Lock(false));
    child.Kill();
    int exitCode = 0;
    ASSERT_TRUE(child.Wait(std::chrono::seconds(20), exitCode));
    EXPECT_TRUE(lock.Lock(true));
}
