#include "platform/DiskSpace.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(DiskSpaceTest, ADirectoryHasSpaceOfItsFileSystem)
{
    const testsupport::CTemporaryDirectory root;
    SDiskSpace space;
    ASSERT_EQ(GetDiskSpace(root / L"", space), eOsError_None);
    EXPECT_GT(space.total, 0U);
    EXPECT_LE(space.available, space.total);
}

TEST(DiskSpaceTest, WhereThereIsNoDirectoryNothingIsTold)
{
    const testsupport::CTemporaryDirectory root;
    SDiskSpace space;
    EXPECT_TRUE(IsAbsent(GetDiskSpace(root / L"missing", space)));
}

} // namespace
} // namespace platform
