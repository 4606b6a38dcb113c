#include "platform/ScratchFolder.h"

#include "platform/Os.h"
#include "platform/Path.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(ScratchFolderTest, GoesWithAllThatIsInIt)
{
    std::wstring path;
    {
        const CScratchFolder folder;
        ASSERT_EQ(folder.Error(), eOsError_None);
        path = folder.Path();
        std::wstring deep = path;
        for (int level = 0; level < 10; ++level) {
            deep = JoinPath(deep, L"folder");
            ASSERT_EQ(Files().MakeDirectory(deep), eOsError_None);
            ASSERT_EQ(WriteWholeFile(JoinPath(deep, L"file"), "x"), eOsError_None);
            ASSERT_EQ(Files().MakeDirectory(JoinPath(deep, L"empty")), eOsError_None);
        }
        const CScratchFolder other;
        EXPECT_NE(other.Path(), path);
    }
    EXPECT_FALSE(PathExists(path));
}

TEST(ScratchFolderTest, IsUsedAgainWhenItIsEmptied)
{
    CScratchFolder folder;
    ASSERT_EQ(WriteWholeFile(JoinPath(folder.Path(), L"file"), "x"), eOsError_None);
    ASSERT_EQ(Files().MakeDirectory(JoinPath(folder.Path(), L"folder")), eOsError_None);
    folder.Empty();
    EXPECT_FALSE(PathExists(JoinPath(folder.Path(), L"file")));
    EXPECT_FALSE(PathExists(JoinPath(folder.Path(), L"folder")));
    EXPECT_EQ(WriteWholeFile(JoinPath(folder.Path(), L"file"), "y"), eOsError_None);
}

} // namespace
} // namespace platform
