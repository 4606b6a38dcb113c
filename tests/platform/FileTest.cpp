#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

std::span<const std::byte> Bytes(const std::string& text)
{
    return std::as_bytes(std::span(text));
}

std::string Content(const std::wstring& path)
{
    std::string bytes;
    EXPECT_EQ(ReadWholeFile(path, eOpenMode_ReadExclusive, bytes, 1'000'000), eOsError_None);
    return bytes;
}

class FileTest : public testing::Test {
protected:
    void WriteContent(const std::string& bytes) { ASSERT_EQ(WriteWholeFile(m_path, bytes), eOsError_None); }

    const CTemporaryDirectory m_directory;
    const std::wstring m_path = m_directory / L"file.bin";
};

TEST_F(FileTest, HoldsWhatWasWritten)
{
    std::string bytes("binary\0\r\n\xFF\x1A content", 18);
    WriteContent(bytes);
    EXPECT_EQ(Content(m_path), bytes);
}

TEST_F(FileTest, AShorterContentReplacesALongerOneWhole)
{
    WriteContent(std::string(10'000, 'a'));
    WriteContent("short");
    EXPECT_EQ(Content(m_path), "short");
    WriteContent("");
    EXPECT_EQ(Content(m_path), "");
    WriteContent(std::string(20'000, 'b'));
    EXPECT_EQ(Content(m_path), std::string(20'000, 'b'));
}

TEST_F(FileTest, AnObjectThatIsDroppedLeavesWhatWasWrittenToo)
{
    WriteContent("a long old content");
    {
        std::unique_ptr<IFile> file;
        ASSERT_EQ(Files().Open(m_path, eOpenMode_WriteExclusive, file), eOsError_None);
        ASSERT_EQ(file->Write(Bytes("new")), eOsError_None);
    }
    EXPECT_EQ(Content(m_path), "new");
}

TEST_F(FileTest, PiecesFollowEachOther)
{
    std::unique_ptr<IFile> file;
    ASSERT_EQ(Files().Open(m_path, eOpenMode_WriteExclusive, file), eOsError_None);
    ASSERT_EQ(file->Write(Bytes("one ")), eOsError_None);
    ASSERT_EQ(file->Write({}), eOsError_None);
    ASSERT_EQ(file->Write(Bytes("two")), eOsError_None);
    ASSERT_EQ(file->Sync(), eOsError_None);
    ASSERT_EQ(file->Close(), eOsError_None);

    ASSERT_EQ(Files().Open(m_path, eOpenMode_ReadShared, file), eOsError_None);
    std::array<std::byte, 5> buffer = {};
    std::size_t read = 0;
    ASSERT_EQ(file->Read(buffer, read), eOsError_None);
    EXPECT_EQ(read, 5U);
    ASSERT_EQ(file->Read(buffer, read), eOsError_None);
    EXPECT_EQ(read, 2U);
    ASSERT_EQ(file->Read(buffer, read), eOsError_None);
    EXPECT_EQ(read, 0U) << "the end";
    EXPECT_EQ(file->Close(), eOsError_None);
}

TEST_F(FileTest, WritingGoesOnWhereItIsSoughtAndTheFileEndsWhereItEnds)
{
    WriteContent("0123456789");
    const auto write = [&](const std::vector<std::pair<std::uint64_t, std::string>>& pieces) {
        std::unique_ptr<IFile> file;
        ASSERT_EQ(Files().Open(m_path, eOpenMode_WriteExclusive, file), eOsError_None);
        for (const auto& [position, text] : pieces) {
            ASSERT_EQ(file->Seek(position), eOsError_None);
            ASSERT_EQ(file->Write(Bytes(text)), eOsError_None);
        }
        ASSERT_EQ(file->Close(), eOsError_None);
    };
    write({{10, "behind"}, {0, "AB"}, {16, ""}});
    EXPECT_EQ(Content(m_path), "AB23456789behind");
    write({{16, "and more"}, {4, "XY"}});
    EXPECT_EQ(Content(m_path), "AB23XY") << "the rest is cut off, what was written just now included";
    write({{6, "no"}, {6, ""}});
    EXPECT_EQ(Content(m_path), "AB23XY") << "as if it had not been written";
    write({{0, ""}});
    EXPECT_EQ(Content(m_path), "");
}

TEST_F(FileTest, FailuresAreToldApart)
{
    std::unique_ptr<IFile> file;
    EXPECT_EQ(Files().Open(m_path, eOpenMode_ReadExclusive, file), eOsError_FileNotFound);
    EXPECT_EQ(Files().Open(m_path, eOpenMode_ReadShared, file), eOsError_FileNotFound);
    EXPECT_EQ(Files().Open(m_directory / L"none/file", eOpenMode_ReadExclusive, file), eOsError_PathNotFound);
    EXPECT_EQ(Files().Open(m_directory / L"none/file", eOpenMode_WriteExclusive, file), eOsError_PathNotFound);
    EXPECT_EQ(Files().Open(m_directory.Path(), eOpenMode_ReadExclusive, file), eOsError_AccessDenied);
    EXPECT_EQ(Files().Open(m_directory.Path(), eOpenMode_ReadShared, file), eOsError_AccessDenied);
    EXPECT_EQ(Files().Open(m_directory.Path(), eOpenMode_WriteExclusive, file), eOsError_AccessDenied);
    WriteContent("a file");
    EXPECT_EQ(Files().Open(m_path + L"/file", eOpenMode_ReadExclusive, file), eOsError_PathNotFound);
    EXPECT_EQ(file, nullptr);
}

TEST_F(FileTest, TextsThatAreNoPathsFail)
{
    std::unique_ptr<IFile> file;
    EXPECT_NE(Files().Open(L"", eOpenMode_WriteExclusive, file), eOsError_None);
    EXPECT_NE(Files().Open(m_path + std::wstring(L"\0x", 2), eOpenMode_WriteExclusive, file), eOsError_None);
    EXPECT_FALSE(PathExists(m_path)) << "what is before the null character is not a path of its own";
}

TEST_F(FileTest, AttributesOfPathAndOpenFileAgree)
{
    WriteContent("seven b");
    SFileAttributes byPath;
    ASSERT_EQ(Files().GetAttributes(m_path, byPath), eOsError_None);
    EXPECT_FALSE(byPath.isDirectory);
    EXPECT_EQ(byPath.length, 7U);

    std::unique_ptr<IFile> file;
    ASSERT_EQ(Files().Open(m_path, eOpenMode_ReadShared, file), eOsError_None);
    SFileAttributes byFile;
    ASSERT_EQ(file->GetAttributes(byFile), eOsError_None);
    EXPECT_EQ(byFile.length, 7U);
    EXPECT_EQ(byFile.times.modified, byPath.times.modified);
    EXPECT_EQ(byFile.times.created, byPath.times.created);

    constexpr std::int64_t second = 1'000'000'000;
    EXPECT_NEAR(static_cast<double>(byPath.times.modified / second), static_cast<double>(Clock().UtcSeconds()), 60);
    EXPECT_NEAR(static_cast<double>(byPath.times.created / second), static_cast<double>(Clock().UtcSeconds()), 60);
}

TEST_F(FileTest, TheChangeTimeIsThatOfTheLastNewName)
{
    WriteContent("x");
    SFileAttributes before;
    ASSERT_EQ(Files().GetAttributes(m_path, before), eOsError_None);
    FileTimeNs first = 0;
    ASSERT_EQ(Files().GetChangeTime(m_path, first), eOsError_None);
    FileTimeNs last = first;
    const std::wstring other = m_path + L".moved";
    for (int moves = 0; last == first && moves < 1'000'000; ++moves) { // until the clock of the file system ticks
        ASSERT_EQ(Files().Move(m_path, other, eMoveFlag_None), eOsError_None);
        ASSERT_EQ(Files().Move(other, m_path, eMoveFlag_None), eOsError_None);
        ASSERT_EQ(Files().GetChangeTime(m_path, last), eOsError_None);
    }
    EXPECT_GT(last, first);
    SFileAttributes after;
    ASSERT_EQ(Files().GetAttributes(m_path, after), eOsError_None);
    EXPECT_EQ(after.times.modified, before.times.modified);
    EXPECT_TRUE(IsAbsent(Files().GetChangeTime(other, last)));
}

TEST_F(FileTest, AFileIsSyncedWithoutAChange)
{
    WriteContent("x");
    FileTimeNs before = 0;
    ASSERT_EQ(Files().GetChangeTime(m_path, before), eOsError_None);
    EXPECT_EQ(Files().SyncFile(m_path), eOsError_None);
    FileTimeNs after = 0;
    ASSERT_EQ(Files().GetChangeTime(m_path, after), eOsError_None);
    EXPECT_EQ(after, before);
    EXPECT_EQ(Content(m_path), "x");
    EXPECT_TRUE(IsAbsent(Files().SyncFile(m_path + L".missing")));
}

TEST_F(FileTest, AttributesTellDirectoriesAndWhatIsMissing)
{
    SFileAttributes attributes;
    ASSERT_EQ(Files().GetAttributes(m_directory.Path(), attributes), eOsError_None);
    EXPECT_TRUE(attributes.isDirectory);
    EXPECT_EQ(Files().GetAttributes(m_path, attributes), eOsError_FileNotFound);
    EXPECT_EQ(Files().GetAttributes(m_directory / L"none/file", attributes), eOsError_PathNotFound);
}

TEST_F(FileTest, ExistenceOfPathsAndDirectories)
{
    EXPECT_FALSE(PathExists(m_path));
    WriteContent("");
    EXPECT_TRUE(PathExists(m_path));
    EXPECT_FALSE(DirectoryExists(m_path));
    EXPECT_TRUE(PathExists(m_directory.Path()));
    EXPECT_TRUE(DirectoryExists(m_directory.Path()));
    EXPECT_TRUE(DirectoryExists(m_directory.Path() + L"/"));
    EXPECT_TRUE(DirectoryExists(m_directory.Path() + L"//"));
    EXPECT_FALSE(DirectoryExists(m_directory / L"none"));
    EXPECT_FALSE(DirectoryExists(L""));
}

TEST_F(FileTest, WholeFilesAreReadUpToALimit)
{
    std::string bytes = "old";
    EXPECT_EQ(ReadWholeFile(m_path, eOpenMode_ReadExclusive, bytes, 10), eOsError_FileNotFound);
    EXPECT_EQ(bytes, "");
    WriteContent("0123456789");
    EXPECT_EQ(ReadWholeFile(m_path, eOpenMode_ReadExclusive, bytes, 10), eOsError_None);
    EXPECT_EQ(bytes, "0123456789");
    EXPECT_EQ(ReadWholeFile(m_path, eOpenMode_ReadShared, bytes, 9), eOsError_NotSupported);
    EXPECT_EQ(bytes, "");
    EXPECT_EQ(ReadWholeFile(m_path, eOpenMode_ReadShared, bytes, 1'000'000'000), eOsError_None);
    EXPECT_EQ(bytes, "0123456789");
    WriteContent("");
    EXPECT_EQ(ReadWholeFile(m_path, eOpenMode_ReadShared, bytes, 0), eOsError_None);
    EXPECT_EQ(bytes, "");
}

} // namespace
} // namespace platform
