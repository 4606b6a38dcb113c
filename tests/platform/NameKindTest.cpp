#include "platform/NameKind.h"

#include "platform/Os.h"
#include "tests/support/Links.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <system_error>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

/// The kinds that the listing tells, for the file systems that tests run on tell all.
std::map<std::wstring, eNameKind> Listed(const std::wstring& directory)
{
    std::map<std::wstring, eNameKind> kinds;
    EXPECT_EQ(Files().Visit(directory,
                            [&](const SDirectoryEntry& entry) { return kinds.emplace(entry.name, entry.kind).second; }),
              eOsError_None);
    return kinds;
}

TEST(NameKindTest, FilesDirectoriesAndNothing)
{
    const CTemporaryDirectory directory;
    ASSERT_EQ(WriteWholeFile(directory / L"file", ""), eOsError_None);
    EXPECT_EQ(NameKind(directory / L"file"), eNameKind_File);
    EXPECT_EQ(NameKind(directory.Path()), eNameKind_Directory);
    EXPECT_EQ(NameKind(directory / L"none"), eNameKind_Missing);
    EXPECT_EQ(NameKind(L""), eNameKind_Missing);
    EXPECT_EQ(Listed(directory.Path()), (std::map<std::wstring, eNameKind>{{L"file", eNameKind_File}}));
}

TEST(NameKindTest, SecondNameOfAFileIsSeenAtBoth)
{
    const CTemporaryDirectory directory;
    ASSERT_EQ(WriteWholeFile(directory / L"file", ""), eOsError_None);
    EXPECT_FALSE(HasSeveralNames(directory / L"file"));
    std::error_code error;
    std::filesystem::create_hard_link(testsupport::StandardPath(directory / L"file"),
                                      testsupport::StandardPath(directory / L"other"), error);
    if (error)
        GTEST_SKIP() << "create_hard_link: this volume gives no second names: " << error.message();
    EXPECT_TRUE(HasSeveralNames(directory / L"file"));
    EXPECT_TRUE(HasSeveralNames(directory / L"other"));
    EXPECT_FALSE(HasSeveralNames(directory.Path()));
    EXPECT_FALSE(HasSeveralNames(directory / L"none"));
}

TEST(NameKindTest, OwnDirectoryIsTrustedAndNothingElseIs)
{
    const CTemporaryDirectory directory;
    ASSERT_EQ(WriteWholeFile(directory / L"file", ""), eOsError_None);
    EXPECT_EQ(CheckOwnDirectory(directory.Path()), eOsError_None);
    EXPECT_EQ(CheckOwnDirectory(directory / L"file"), eOsError_NotADirectory);
    EXPECT_TRUE(IsAbsent(CheckOwnDirectory(directory / L"none")));
}

TEST(NameKindTest, LinkIsALinkWhereverItLeads)
{
    const CTemporaryDirectory directory;
    const std::wstring toDirectory = directory / L"to-directory";
    if (!testsupport::MakeLink(directory.Path(), toDirectory))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    ASSERT_TRUE(testsupport::MakeLink(directory / L"none", directory / L"dangling"));
    EXPECT_EQ(NameKind(toDirectory), eNameKind_Link);
    EXPECT_EQ(NameKind(directory / L"dangling"), eNameKind_Link);
    EXPECT_EQ(CheckOwnDirectory(toDirectory), eOsError_LinkInTheWay);
    EXPECT_EQ(Listed(directory.Path()),
              (std::map<std::wstring, eNameKind>{{L"to-directory", eNameKind_Link}, {L"dangling", eNameKind_Link}}));
}

} // namespace
} // namespace platform
