#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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

class FileHeldTest : public testing::Test {
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

TEST_F(FileHeldTest, WhoIsInKeepsOthersOutAsTheModesSay)
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

TEST_F(FileHeldTest, WhatIsCreatedWasNotThere)
{
    std::unique_ptr<IFile> file;
    ASSERT_EQ(Files().Open(m_path, eOpenMode_CreateExclusive, file), eOsError_None);
    EXPECT_EQ(Open(eOpenMode_ReadShared), eOsError_SharingViolation) << "nobody finds it empty";
    EXPECT_EQ(file->Write(std::as_bytes(std::span(std::string_view("content")))), eOsError_None);
    EXPECT_EQ(Open(eOpenMode_CreateExclusive), eOsError_AlreadyExists) << "held or not";
    ASSERT_EQ(file->Close(), eOsError_None);
    EXPECT_EQ(Open(eOpenMode_CreateExclusive), eOsError_AlreadyExists);
    std::string bytes;
    EXPECT_EQ(ReadWholeFile(m_path, eOpenMode_ReadExclusive, bytes, 100), eOsError_None);
    EXPECT_EQ(bytes, "content");
    EXPECT_EQ(Files().Open(m_directory.Path(), eOpenMode_CreateExclusive, file), eOsError_AlreadyExists);
    EXPECT_EQ(Files().Open(m_directory / L"none/file", eOpenMode_CreateExclusive, file), eOsError_PathNotFound);
}

TEST_F(FileHeldTest, AWriterThatIsKeptOutChangesNothing)
{
    WriteContent("content");
    std::unique_ptr<IFile> holder;
    ASSERT_EQ(Files().Open(m_path, eOpenMode_ReadShared, holder), eOsError_None);
    EXPECT_EQ(WriteWholeFile(m_path, ""), eOsError_SharingViolation);
    SFileAttributes attributes;
    ASSERT_EQ(holder->GetAttributes(attributes), eOsError_None);
    EXPECT_EQ(attributes.length, 7U);
}

TEST_F(FileHeldTest, AnotherProcessKeepsOthersOutUntilItDies)
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

TEST_F(FileHeldTest, AReadOnlyFileIsRemovedLikeAnyOther)
{
    WriteContent("content");
    std::filesystem::permissions(testsupport::StandardPath(m_path), std::filesystem::perms::owner_read);
    EXPECT_EQ(Files().Remove(m_path), eOsError_None);
    EXPECT_FALSE(PathExists(m_path));
}

TEST_F(FileHeldTest, AReadOnlyFileThatIsHeldStaysReadOnly)
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

TEST_F(FileHeldTest, RemovingTakesTheFileAway)
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
