#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/platform/posix/LockCalls.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace platform {
namespace {

TEST(PosixLockFileTest, AHolderWhoCameAndWentWhileTheLockWasTakenLeavesNoLockWithoutAFile)
{
    const testsupport::CTemporaryDirectory directory;
    const std::wstring path = directory / L"guarded.dat.lock";
    // Between the exclusive lock and the shared one there is none: somebody holds the file and deletes it at his end.
    bool cameAndWent = false;
    testsupport::BeforeSharing([&] { cameAndWent = unlink(ToUtf8(path).c_str()) == 0; });
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
