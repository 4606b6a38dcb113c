#include "platform/Installation.h"

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Trust.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using testsupport::CTemporaryDirectory;

TEST(MakeDirectories, MakesWhatIsMissingOfTheWay)
{
    const CTemporaryDirectory folder;
    const std::wstring deep = platform::JoinPath(platform::JoinPath(folder / L"a", L"b"), L"c");
    EXPECT_EQ(platform::MakeDirectories(deep), platform::eOsError_None);
    EXPECT_TRUE(platform::DirectoryExists(deep));
    EXPECT_EQ(platform::MakeDirectories(deep), platform::eOsError_None) << "it is there already";
}

TEST(MakeDirectories, FailsWhereAFileIsInTheWay)
{
    const CTemporaryDirectory folder;
    ASSERT_EQ(platform::WriteWholeFile(folder / L"file", "x"), platform::eOsError_None);
    EXPECT_NE(platform::MakeDirectories(folder / L"file"), platform::eOsError_None);
    EXPECT_NE(platform::MakeDirectories(platform::JoinPath(folder / L"file", L"below")), platform::eOsError_None);
}

TEST(IsSameFile, LooksAtTheFileAndNotAtThePath)
{
    const CTemporaryDirectory folder;
    ASSERT_EQ(platform::WriteWholeFile(folder / L"one", "x"), platform::eOsError_None);
    ASSERT_EQ(platform::WriteWholeFile(folder / L"two", "x"), platform::eOsError_None);
    const std::wstring detour = platform::JoinPath(platform::JoinPath(folder.Path(), L"."), L"one");
    EXPECT_TRUE(platform::IsSameFile(folder / L"one", detour));
    EXPECT_FALSE(platform::IsSameFile(folder / L"one", folder / L"two"));
    EXPECT_FALSE(platform::IsSameFile(folder / L"one", folder / L"none"));
    EXPECT_FALSE(platform::IsSameFile(folder / L"none", folder / L"none")) << "there must be one";
}

TEST(KeepOthersFromWriting, LeavesNothingThatOthersMayWriteTo)
{
    const CTemporaryDirectory folder;
    ASSERT_EQ(platform::WriteWholeFile(folder / L"file", "x"), platform::eOsError_None);
    for (const std::wstring& path : {folder / L"file", folder.Path()}) {
        std::filesystem::permissions(testsupport::StandardPath(path), std::filesystem::perms::all);
        EXPECT_EQ(platform::KeepOthersFromWriting(path), platform::eOsError_None);
        EXPECT_EQ(platform::DistrustOf(path), L"");
        EXPECT_EQ(platform::KeepOthersFromWriting(path), platform::eOsError_None) << "again";
    }
    EXPECT_EQ(platform::WriteWholeFile(folder / L"file", "y"), platform::eOsError_None) << "the owner may";
}

} // namespace
