#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <functional>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace {

std::function<void()> g_beforeSharing; ///< once, before the next lock is made a shared one

} // namespace

/// Stands before the C library's for the libraries as well.
extern "C" __attribute__((visibility("default"))) int flock(int descriptor, int operation) noexcept
{
    if ((operation & LOCK_SH) != 0) {
        if (const auto hook = std::exchange(g_beforeSharing, nullptr))
            hook();
    }
    return static_cast<int>(syscall(SYS_flock, descriptor, operation));
}

namespace platform {
namespace {

TEST(PosixLockFileTest, AHolderWhoCameAndWentWhileTheLockWasTakenLeavesNoLockWithoutAFile)
{
    const testsupport::CTemporaryDirectory directory;
    const std::wstring path = directory / L"guarded.dat.lock";
    // Between the exclusive lock and the shared one there is none: somebody holds the file and deletes it at his end.
    bool cameAndWent = false;
    g_beforeSharing = [&] { cameAndWent = unlink(ToUtf8(path).c_str()) == 0; };
    std::unique_ptr<ILockFile> first;
    ASSERT_EQ(Files().OpenLockFile(path, "first", first), eOsError_None);
    ASSERT_TRUE(cameAndWent);
    EXPECT_TRUE(PathExists(path));
    std::unique_ptr<ILockFile> second;
    EXPECT_EQ(Files().OpenLockFile(path, "second", second), eOsError_SharingViolation) << "two would hold one lock";
    first.reset();
    EXPECT_FALSE(PathExists(path));
}

} // namespace
} // namespace platform
