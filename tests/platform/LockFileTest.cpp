#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UntilFree.h"

#include <gtest/gtest.h>

#include <atomic>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

int HoldLock(const std::vector<std::wstring>& arguments)
{
    std::unique_ptr<ILockFile> lock;
    const auto error = Files().OpenLockFile(arguments[0], "child", lock);
    testsupport::TellParent(error == eOsError_None ? L"held" : L"busy");
    while (testsupport::WaitForParent()) {
    }
    return 0;
}
const testsupport::CChildPart holdLockPart(L"lock-hold", &HoldLock);

/// Adds 1 to the number in a file, n times, each time under the lock.
int CountUnderLock(const std::vector<std::wstring>& arguments)
{
    const std::wstring& path = arguments[0];
    for (int left = std::stoi(arguments[1]); left > 0; --left) {
        std::unique_ptr<ILockFile> lock;
        const auto error =
            testsupport::UntilFree([&] { return Files().OpenLockFile(path + L".lock", ToUtf16Le(L"counting"), lock); });
        std::string number;
        if (error != eOsError_None || ReadWholeFile(path, eOpenMode_ReadExclusive, number, 100) != eOsError_None ||
            WriteWholeFile(path, std::to_string(std::stoi(number) + 1)) != eOsError_None)
            return 1;
    }
    return 0;
}
const testsupport::CChildPart countPart(L"lock-count", &CountUnderLock);

class LockFileTest : public testing::Test {
protected:
    eOsError Lock(std::unique_ptr<ILockFile>& lock) { return Files().OpenLockFile(m_path, "content", lock); }

    const CTemporaryDirectory m_directory;
    const std::wstring m_path = m_directory / L"guarded.dat.lock";
};

TEST_F(LockFileTest, SecondHolderIsBusyUntilTheFirstEnds)
{
    std::unique_ptr<ILockFile> first;
    std::unique_ptr<ILockFile> second;
    ASSERT_EQ(Lock(first), eOsError_None);
    EXPECT_TRUE(PathExists(m_path));
    EXPECT_EQ(Lock(second), eOsError_SharingViolation);
    EXPECT_EQ(second, nullptr);
    first.reset();
    EXPECT_FALSE(PathExists(m_path)) << "the file goes with its holder";
    EXPECT_EQ(Lock(second), eOsError_None);
}

TEST_F(LockFileTest, AnotherProcessIsAHolderLikeAnyOther)
{
    auto child = testsupport::StartChild(L"lock-hold", {m_path});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"held"));
    std::unique_ptr<ILockFile> lock;
    EXPECT_EQ(Lock(lock), eOsError_SharingViolation);
    EXPECT_EQ(testsupport::FinishChild(child), 0);
    EXPECT_FALSE(PathExists(m_path));
    EXPECT_EQ(Lock(lock), eOsError_None);
    auto other = testsupport::StartChild(L"lock-hold", {m_path});
    EXPECT_TRUE(testsupport::WaitForChild(other, L"busy"));
    EXPECT_EQ(testsupport::FinishChild(other), 0);
    EXPECT_TRUE(PathExists(m_path)) << "one that was refused takes nothing away";
}

TEST_F(LockFileTest, AKilledHolderNeverBlocksTheNext)
{
    for (int round = 0; round < 5; ++round) {
        auto child = testsupport::StartChild(L"lock-hold", {m_path});
        ASSERT_TRUE(testsupport::WaitForChild(child, L"held"));
        child.Kill();
        int exitCode = 0;
        ASSERT_TRUE(child.Wait(std::chrono::seconds(60), exitCode));
        std::unique_ptr<ILockFile> lock;
        EXPECT_EQ(Lock(lock), eOsError_None);
        EXPECT_TRUE(PathExists(m_path));
        lock.reset();
        EXPECT_FALSE(PathExists(m_path));
    }
}

TEST_F(LockFileTest, AFileThatWasLeftBehindIsTakenOver)
{
    ASSERT_EQ(WriteWholeFile(m_path, "a long content of somebody who is no more"), eOsError_None);
    std::unique_ptr<ILockFile> lock;
    EXPECT_EQ(Lock(lock), eOsError_None);
    SFileAttributes attributes;
    ASSERT_EQ(Files().GetAttributes(m_path, attributes), eOsError_None);
    EXPECT_LE(attributes.length, 7U) << "the old note is gone, whether ours could be written or not";
}

TEST_F(LockFileTest, AHeldLockCanBeReadButNotTakenByReaders)
{
    std::unique_ptr<ILockFile> lock;
    ASSERT_EQ(Lock(lock), eOsError_None);
    std::unique_ptr<IFile> reader;
    EXPECT_EQ(Files().Open(m_path, eOpenMode_ReadExclusive, reader), eOsError_SharingViolation);
    EXPECT_EQ(Files().Open(m_path, eOpenMode_WriteExclusive, reader), eOsError_SharingViolation);
    std::string note;
    EXPECT_EQ(ReadWholeFile(m_path, eOpenMode_ReadShared, note, 100), eOsError_None);
    EXPECT_TRUE(note == "content" || testsupport::IsNoteOfALockLost()) << note;
    ASSERT_EQ(Files().Open(m_path, eOpenMode_ReadShared, reader), eOsError_None);
    std::unique_ptr<ILockFile> second;
    EXPECT_EQ(Lock(second), eOsError_SharingViolation) << "a reader does not break the lock";
}

TEST_F(LockFileTest, ALockIsNotMovedOrDeletedByOthers)
{
    std::unique_ptr<ILockFile> lock;
    ASSERT_EQ(Lock(lock), eOsError_None);
    EXPECT_EQ(Files().Remove(m_path), eOsError_SharingViolation);
    EXPECT_EQ(Files().Move(m_path, m_directory / L"elsewhere", 0), eOsError_SharingViolation);
}

TEST_F(LockFileTest, OtherFailuresAreNotBusy)
{
    std::unique_ptr<ILockFile> lock;
    EXPECT_EQ(Files().OpenLockFile(m_directory / L"none/a.lock", "", lock), eOsError_PathNotFound);
    EXPECT_EQ(Files().OpenLockFile(m_directory.Path(), "", lock), eOsError_AccessDenied);
    EXPECT_EQ(lock, nullptr);
}

TEST_F(LockFileTest, ThreadsExcludeEachOther)
{
    int inside = 0; // guarded by the lock file
    bool alone = true;
    int total = 0;
    std::array<CThread, 4> threads;
    for (CThread& thread : threads) {
        ASSERT_TRUE(thread.Start([&] {
            for (int taken = 0; taken < 100; ++taken) {
                std::unique_ptr<ILockFile> lock;
                if (testsupport::UntilFree([&] { return Lock(lock); }) != eOsError_None)
                    return 1U;
                std::atomic_ref(alone).store(std::atomic_ref(alone).load() && ++std::atomic_ref(inside) == 1);
                Clock().YieldThread();
                ++std::atomic_ref(total);
                --std::atomic_ref(inside);
            }
            return 0U;
        }));
    }
    for (CThread& thread : threads) {
        EXPECT_TRUE(thread.Join());
        EXPECT_EQ(thread.ExitCode(), 0U);
    }
    EXPECT_TRUE(alone);
    EXPECT_EQ(total, 400);
}

TEST_F(LockFileTest, ProcessesExcludeEachOther)
{
    const std::wstring counter = m_directory / L"counter";
    ASSERT_EQ(WriteWholeFile(counter, "0"), eOsError_None);
    std::array<CProcess, 3> children;
    for (CProcess& child : children)
        child = testsupport::StartChild(L"lock-count", {counter, L"100"});
    for (CProcess& child : children)
        EXPECT_EQ(testsupport::FinishChild(child), 0);
    std::string number;
    ASSERT_EQ(ReadWholeFile(counter, eOpenMode_ReadExclusive, number, 100), eOsError_None);
    EXPECT_EQ(number, "300");
    EXPECT_FALSE(PathExists(counter + L".lock"));
}

} // namespace
} // namespace platform
