#include "platform/Version.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(VersionTest, TheLibrarysIsThatOfTheBuildAndOfTheHeaders)
{
    EXPECT_EQ(ToUtf8(LibraryVersion()), ZEL_VERSION);
    EXPECT_EQ(LibraryVersion(), std::to_wstring(ZEL_VERSION_MAJOR) + L"." + std::to_wstring(ZEL_VERSION_MINOR) + L"." +
                                    std::to_wstring(ZEL_VERSION_PATCH));
}

TEST(VersionTest, TheCompilerIsNamedOnceWithItsVersionAndTheWidth)
{
    const std::wstring text = CompilerVersion();
    const bool isOne = text.starts_with(L"GCC ") || text.starts_with(L"Clang ");
    EXPECT_TRUE(isOne) << ToUtf8(text);
    EXPECT_NE(text.find_first_of(L"0123456789"), std::wstring::npos) << ToUtf8(text);
    EXPECT_TRUE(text.ends_with(sizeof(void*) == 8 ? L", 64 bit" : L", 32 bit")) << ToUtf8(text);
}

TEST(VersionTest, TheSystemIsNamedWithItsVersion)
{
    const std::wstring text = SystemVersion();
    const std::size_t blank = text.find(L' ');
    ASSERT_NE(blank, std::wstring::npos) << ToUtf8(text);
    EXPECT_GT(blank, 2U);
    EXPECT_NE(text.find_first_of(L"0123456789", blank), std::wstring::npos) << ToUtf8(text);
}

} // namespace
} // namespace platform
