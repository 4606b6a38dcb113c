#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

/// Holds a file in a mode given by its number until the parent closes the pipe.
int HoldOpen(const std::vector<std::wstring>& arguments)
{
    std::unique_ptr<IFile> file;
    const auto error = Files().Open(arguments[0], static_cast<eOpenMode>(std::stoi(arguments[1])), file);
    testsupport::TellParent(error == eOsError_None ? L"open" : L"failed");
    while (testsupport::WaitForParent()) {
    }
    return 0;
}
const testsupport::CChildPart holdOpenPart(L"file-hold-open", &HoldOpen);

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
    eOsError Open(eOpenMode mode)
    {
        std::unique_ptr<IFile> file;
        return Files().Open(m_path, mode, file);
    }

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

TEST_F(FileTest, FailuresAreToldApart)
{
    EXPECT_EQ(Open(eOpenMode_ReadExclusive), eOsError_FileNotFound);
    EXPECT_EQ(Open(eOpenMode_ReadShared), eOsError_FileNotFound);
    std::unique_ptr<IFile> file;
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

TEST_F(FileTest, WhoIsInKeepsOthersOutAsTheModesSay)
{
    WriteContent("content");
    struct {
        eOpenMode first;
        eOpenMode second;
        bool together;
    } const cases[] = {
        {eOpenMode_ReadExclusive, eOpenMode_ReadExclusive, false},
        {eOpenMode_ReadExclusive, eOpenMode_ReadShared, false},
        {eOpenMode_ReadExclusive, eOpenMode_WriteExclusive, false},
        {eOpenMode_ReadShared, eOpenMode_ReadExclusive, false},
        {eOpenMode_ReadShared, eOpenMode_ReadShared, true},
        {eOpenMode_ReadShared, eOpenMode_WriteExclusive, false},
        {eOpenMode_WriteExclusive, eOpenMode_ReadExclusive, false},
        {eOpenMode_WriteExclusive, eOpenMode_ReadShared, false},
        {eOpenMode_WriteExclusive, eOpenMode_WriteExclusive, false},
    };
    for (const auto& entry : cases) {
        std::unique_ptr<IFile> holder;
        ASSERT_EQ(Files().Open(m_path, entry.first, holder), eOsError_None);
        EXPECT_EQ(Open(entry.second), entry.together ? eOsError_None : eOsError_SharingViolation)
            << entry.first << " then " << entry.second;
        ASSERT_EQ(holder->Close(), eOsError_None);
        EXPECT_EQ(Open(entry.second), eOsError_None) << "free after " << entry.first;
    }
}

TEST_F(FileTest, WhatIsCreatedWasNotThere)
{
    std::unique_ptr<IFile> file;
    ASSERT_EQ(Files().Open(m_path, eOpenMode_CreateExclusive, file), eOsError_None);
    EXPECT_EQ(Open(eOpenMode_ReadShared), eOsError_SharingViolation) << "nobody finds it empty";
    EXPECT_EQ(file->Write(Bytes("content")), eOsError_None);
    EXPECT_EQ(Open(eOpenMode_CreateExclusive), eOsError_AlreadyExists) << "held or not";
    ASSERT_EQ(file->Close(), eOsError_None);
    EXPECT_EQ(Open(eOpenMode_CreateExclusive), eOsError_AlreadyExists);
    EXPECT_EQ(Content(m_path), "content");
    EXPECT_EQ(Files().Open(m_directory.Path(), eOpenMode_CreateExclusive, file), eOsError_AlreadyExists);
    EXPECT_EQ(Files().Open(m_directory / L"none/file", eOpenMode_CreateExclusive, file), eOsError_PathNotFound);
}

TEST_F(FileTest, AWriterThatIsKeptOutChangesNothing)
{
    WriteContent("content");
    std::unique_ptr<IFile> holder;
    ASSERT_EQ(Files().Open(m_path, eOpenMode_ReadShared, holder), eOsError_None);
    EXPECT_EQ(WriteWholeFile(m_path, ""), eOsError_SharingViolation);
    SFileAttributes attributes;
    ASSERT_EQ(holder->GetAttributes(attributes), eOsError_None);
    EXPECT_EQ(attributes.length, 7U);
}

TEST_F(FileTest, AnotherProcessKeepsOthersOutUntilItDies)
{
    WriteContent("content");
    auto child = testsupport::StartChild(L"file-hold-open", {m_path, std::to_wstring(eOpenMode_ReadExclusive)});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"open"));
    EXPECT_EQ(Open(eOpenMode_ReadShared), eOsError_SharingViolation);
    EXPECT_EQ(Open(eOpenMode_WriteExclusive), eOsError_SharingViolation);
    child.Kill();
    int exitCode = 0;
    ASSERT_TRUE(child.Wait(std::chrono::seconds(60), exitCode));
    EXPECT_EQ(Open(eOpenMode_WriteExclusive), eOsError_None);
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

TEST_F(FileTest, AReadOnlyFileIsRemovedLikeAnyOther)
{
    WriteContent("content");
    std::filesystem::permissions(testsupport::StandardPath(m_path), std::filesystem::perms::owner_read);
    EXPECT_EQ(Files().Remove(m_path), eOsError_None);
    EXPECT_FALSE(PathExists(m_path));
}

TEST_F(FileTest, AReadOnlyFileThatIsHeldStaysReadOnly)
{
    WriteContent("content");
    const std::filesystem::path path = testsupport::StandardPath(m_path);
    std::filesystem::permissions(path, std::filesystem::perms::owner_read);
    {
        std::unique_ptr<IFile> holder;
        ASSERT_EQ(Files().Open(m_path, eOpenMode_ReadShared, holder), eOsError_None);
        EXPECT_NE(Files().Remove(m_path), eOsError_None);
    }
    const std::filesystem::perms left = std::filesystem::status(path).permissions();
    EXPECT_EQ(left & std::filesystem::perms::owner_write, std::filesystem::perms::none);
    EXPECT_EQ(Files().Remove(m_path), eOsError_None);
}

TEST_F(FileTest, RemovingTakesTheFileAway)
{
    EXPECT_EQ(Files().Remove(m_path), eOsError_FileNotFound);
    EXPECT_EQ(Files().Remove(m_directory / L"none/file"), eOsError_PathNotFound);
    EXPECT_EQ(Files().Remove(m_directory.Path()), eOsError_AccessDenied);
    WriteContent("content");
    {
        std::unique_ptr<IFile> holder;
        ASSERT_EQ(Files().Open(m_path, eOpenMode_ReadShared, holder), eOsError_None);
        EXPECT_EQ(Files().Remove(m_path), eOsError_SharingViolation);
    }
    EXPECT_EQ(Files().Remove(m_path), eOsError_None);
    EXPECT_FALSE(PathExists(m_path));
}

} // namespace
} // namespace platform
