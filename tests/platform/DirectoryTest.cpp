#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

std::map<std::wstring, bool> Listed(const std::wstring& directory)
{
    std::vector<SDirectoryEntry> entries;
    EXPECT_EQ(Files().List(directory, entries), eOsError_None);
    std::map<std::wstring, bool> listed;
    for (const SDirectoryEntry& entry : entries)
        EXPECT_TRUE(listed.emplace(entry.name, entry.isDirectory).second) << "twice: " << ToUtf8(entry.name);
    return listed;
}

TEST(DirectoryTest, ListsFilesAndDirectories)
{
    const CTemporaryDirectory directory;
    EXPECT_TRUE(Listed(directory.Path()).empty());
    ASSERT_EQ(WriteWholeFile(directory / L"file", ""), eOsError_None);
    ASSERT_EQ(WriteWholeFile(directory / L".hidden", ""), eOsError_None);
    ASSERT_EQ(Files().MakeDirectory(directory / L"inner"), eOsError_None);
    ASSERT_EQ(WriteWholeFile(directory / L"inner/deeper", ""), eOsError_None);
    EXPECT_EQ(Listed(directory.Path()),
              (std::map<std::wstring, bool>{{L"file", false}, {L".hidden", false}, {L"inner", true}}));
}

TEST(DirectoryTest, ListsManyEntries)
{
    const CTemporaryDirectory directory;
    for (int i = 0; i < 2000; ++i)
        ASSERT_EQ(WriteWholeFile(directory / (L"a rather long name of a file, number " + std::to_wstring(i)), ""),
                  eOsError_None);
    EXPECT_EQ(Listed(directory.Path()).size(), 2000U);
}

TEST(DirectoryTest, FailuresOfListingAreToldApart)
{
    const CTemporaryDirectory directory;
    std::vector<SDirectoryEntry> entries(3);
    EXPECT_EQ(Files().List(directory / L"none", entries), eOsError_PathNotFound);
    EXPECT_TRUE(entries.empty());
    ASSERT_EQ(WriteWholeFile(directory / L"file", ""), eOsError_None);
    EXPECT_EQ(Files().List(directory / L"file", entries), eOsError_NotADirectory);
}

TEST(DirectoryTest, MakingAndRemoving)
{
    const CTemporaryDirectory directory;
    const std::wstring made = directory / L"made";
    ASSERT_EQ(Files().MakeDirectory(made), eOsError_None);
    EXPECT_EQ(Files().MakeDirectory(made), eOsError_AlreadyExists);
    EXPECT_EQ(Files().MakeDirectory(directory / L"none/made"), eOsError_PathNotFound);
    ASSERT_EQ(WriteWholeFile(made + L"/file", ""), eOsError_None);
    EXPECT_EQ(Files().RemoveEmptyDirectory(made), eOsError_DirectoryNotEmpty);
    EXPECT_EQ(Files().RemoveEmptyDirectory(made + L"/file"), eOsError_NotADirectory);
    ASSERT_EQ(Files().Remove(made + L"/file"), eOsError_None);
    EXPECT_EQ(Files().RemoveEmptyDirectory(made), eOsError_None);
    EXPECT_EQ(Files().RemoveEmptyDirectory(made), eOsError_FileNotFound);
    EXPECT_FALSE(PathExists(made));
}

TEST(DirectoryTest, AVisitEndsWhenTheVisitorHasSeenEnough)
{
    const CTemporaryDirectory directory;
    for (const wchar_t* name : {L"a", L"b", L"c"})
        ASSERT_EQ(WriteWholeFile(directory / name, ""), eOsError_None);
    int seen = 0;
    EXPECT_EQ(Files().Visit(directory.Path(), [&](const SDirectoryEntry&) { return ++seen < 2; }), eOsError_None);
    EXPECT_EQ(seen, 2);
}

TEST(DirectoryTest, AVisitorMayRemoveWhatItSees)
{
    constexpr int kFiles = 2000; // more than one call of the system lists
    const CTemporaryDirectory directory;
    for (int index = 0; index < kFiles; ++index)
        ASSERT_EQ(WriteWholeFile(directory / std::to_wstring(index), ""), eOsError_None);
    int seen = 0;
    EXPECT_EQ(Files().Visit(directory.Path(),
                            [&](const SDirectoryEntry& entry) {
                                ++seen;
                                EXPECT_EQ(Files().Remove(directory / entry.name), eOsError_None);
                                return true;
                            }),
              eOsError_None);
    EXPECT_EQ(seen, kFiles);
    EXPECT_TRUE(Listed(directory.Path()).empty());
}

TEST(DirectoryTest, SyncingNames)
{
    const CTemporaryDirectory directory;
    EXPECT_FALSE(Succeeded(SyncDirectory(directory / L"none")));
    EXPECT_EQ(SyncDirectory(directory.Path()), eOsError_None);
}

TEST(DirectoryTest, NamesThatAreNoValidTextSurvive)
{
    if (testsupport::IsWine()) {
        GTEST_SKIP() << "IsWine: its names are UTF-8 in the end, which has no lone surrogates";
    }
    const CTemporaryDirectory directory;
    const std::wstring odd = L"odd \u20ac " + FromUtf8("\xFF\x80") + L".drq";
    ASSERT_TRUE(HasLoneSurrogates(odd));
    ASSERT_EQ(WriteWholeFile(directory / odd, "content"), eOsError_None);
    ASSERT_EQ(Listed(directory.Path()), (std::map<std::wstring, bool>{{odd, false}}));

    // With the name as it was listed, not as it was made.
    const std::wstring listed = Listed(directory.Path()).begin()->first;
    std::string bytes;
    EXPECT_EQ(ReadWholeFile(directory / listed, eOpenMode_ReadExclusive, bytes, 100), eOsError_None);
    EXPECT_EQ(bytes, "content");
    EXPECT_EQ(Files().Move(directory / listed, directory / (listed + L".moved"), 0), eOsError_None);
    EXPECT_EQ(Listed(directory.Path()), (std::map<std::wstring, bool>{{odd + L".moved", false}}));
    EXPECT_EQ(Files().Remove(directory / (listed + L".moved")), eOsError_None);
}

TEST(DirectoryTest, LongPathsAreNoObstacle)
{
    const CTemporaryDirectory directory;
    std::wstring path = directory.Path();
    std::vector<std::wstring> made;
    for (int depth = 0; depth < 6; ++depth) {
        path = JoinPath(path, std::wstring(60, L'd'));
        ASSERT_EQ(Files().MakeDirectory(path), eOsError_None);
        made.push_back(path);
    }
    const std::wstring file = JoinPath(path, L"file");
    ASSERT_EQ(WriteWholeFile(file, "content"), eOsError_None);
    EXPECT_EQ(Listed(path).size(), 1U);
    EXPECT_EQ(Files().Move(file, file + L"2", eMoveFlag_WriteThrough), eOsError_None);
    EXPECT_TRUE(PathExists(file + L"2"));
    std::unique_ptr<IFile> opened;
    EXPECT_NE(Files().Open(JoinPath(path, std::wstring(300, L'x')), eOpenMode_WriteExclusive, opened), eOsError_None);

    // By ourselves: the standard library can't on every system.
    EXPECT_EQ(Files().Remove(file + L"2"), eOsError_None);
    for (; !made.empty(); made.pop_back()) {
        EXPECT_EQ(Files().RemoveEmptyDirectory(made.back()), eOsError_None);
    }
}

} // namespace
} // namespace platform
