#include "platform/FolderRemoval.h"

#include "platform/NameKind.h"
#include "platform/Os.h"
#include "tests/support/Links.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

constexpr std::size_t kMany = 100;

class FolderRemoval : public testing::Test {
protected:
    void SetUp() override
    {
        MakeFolder(m_folder);
        MakeFile(m_folder + L"/file");
        MakeFolder(m_folder + L"/inner");
        MakeFile(m_folder + L"/inner/file");
    }
    static void MakeFolder(const std::wstring& path) { ASSERT_EQ(Files().MakeDirectory(path), eOsError_None); }
    static void MakeFile(const std::wstring& path) { ASSERT_EQ(WriteWholeFile(path, "x"), eOsError_None); }

    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_folder = m_dir / L"folder";
};

} // namespace

TEST_F(FolderRemoval, AFolderGoesWithItsFilesAndFolders)
{
    EXPECT_EQ(RemoveFolder(m_folder, kMany), eOsError_None);
    EXPECT_EQ(NameKind(m_folder), eNameKind_Missing);
    EXPECT_TRUE(IsAbsent(RemoveFolder(m_folder, kMany)));
    EXPECT_FALSE(Succeeded(RemoveFolder(L"", kMany)));
}

TEST_F(FolderRemoval, WhatLiesDeeperStays)
{
    MakeFolder(m_folder + L"/inner/deeper");
    MakeFile(m_folder + L"/inner/deeper/file");
    EXPECT_EQ(RemoveFolder(m_folder, kMany), eOsError_DirectoryNotEmpty);
    EXPECT_TRUE(PathExists(m_folder + L"/inner/deeper/file"));
    EXPECT_FALSE(PathExists(m_folder + L"/file"));
}

TEST_F(FolderRemoval, NoMoreNamesGoThanAreAllowed)
{
    EXPECT_EQ(RemoveFolder(m_folder, 2), eOsError_DirectoryNotEmpty);
    EXPECT_TRUE(PathExists(m_folder));
    EXPECT_EQ(RemoveFolder(m_folder, 3), eOsError_None) << "those that are left";
}

TEST_F(FolderRemoval, ExactlyAsManyNamesAsAreAllowedGo)
{
    EXPECT_EQ(RemoveFolder(m_folder, 3), eOsError_None);
}

TEST_F(FolderRemoval, AFileInItsPlaceStays)
{
    EXPECT_EQ(RemoveFolder(m_folder + L"/file", kMany), eOsError_NotADirectory);
    EXPECT_TRUE(PathExists(m_folder + L"/file"));
}

TEST_F(FolderRemoval, NoLinkIsFollowed)
{
    const std::wstring other = m_dir / L"other";
    MakeFolder(other);
    MakeFile(other + L"/kept");
    if (!testsupport::MakeLink(other, m_folder + L"/link") ||
        !testsupport::MakeLink(other, m_folder + L"/inner/link") || !testsupport::MakeLink(other, m_dir / L"link"))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    EXPECT_EQ(RemoveFolder(m_dir / L"link", kMany), eOsError_NotADirectory);
    EXPECT_EQ(RemoveFolder(m_folder, kMany), eOsError_None) << "the links themselves go";
    EXPECT_TRUE(PathExists(other + L"/kept"));
}

} // namespace platform
