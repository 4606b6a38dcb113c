#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/PrivateFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

class PrivateFilesTest : public testing::Test {
protected:
    [[nodiscard]] FileOwner Self() const
    {
        FileOwner owner;
        EXPECT_EQ(WriteWholeFile(m_directory / L"own", ""), eOsError_None);
        EXPECT_EQ(Files().GetOwner(m_directory / L"own", owner), eOsError_None);
        EXPECT_FALSE(owner.empty());
        return owner;
    }
    const testsupport::CTemporaryDirectory m_directory;
};

TEST_F(PrivateFilesTest, NobodyCountsWithoutAnOwner)
{
    EXPECT_EQ(CPrivateFiles::Current(), nullptr);
    const CPrivateFiles nobody({});
    EXPECT_EQ(CPrivateFiles::Current(), nullptr);
}

TEST_F(PrivateFilesTest, TheInnermostOwnerCounts)
{
    const CPrivateFiles outer("1");
    {
        const CPrivateFiles inner("2");
        EXPECT_EQ(*CPrivateFiles::Current(), "2");
        const CPrivateFiles asUsual({});
        EXPECT_EQ(CPrivateFiles::Current(), nullptr);
    }
    EXPECT_EQ(*CPrivateFiles::Current(), "1");
}

TEST_F(PrivateFilesTest, AFileIsWrittenRewrittenAndReadAsEver)
{
    const CPrivateFiles own(Self());
    for (const char* content : {"first, and longer", "second"}) {
        std::string bytes;
        ASSERT_EQ(WriteWholeFile(m_directory / L"file", content), eOsError_None);
        ASSERT_EQ(ReadWholeFile(m_directory / L"file", eOpenMode_ReadShared, bytes, 100), eOsError_None);
        EXPECT_EQ(bytes, content);
    }
}

TEST_F(PrivateFilesTest, AFileThatWasForEverybodyIsWritten)
{
    ASSERT_EQ(WriteWholeFile(m_directory / L"file", "for everybody"), eOsError_None);
    const CPrivateFiles own(Self());
    ASSERT_EQ(WriteWholeFile(m_directory / L"file", "mine"), eOsError_None);
    EXPECT_EQ(Files().MakePrivate(m_directory / L"file", Self()), eOsError_None);
    std::string bytes;
    ASSERT_EQ(ReadWholeFile(m_directory / L"file", eOpenMode_ReadShared, bytes, 100), eOsError_None);
    EXPECT_EQ(bytes, "mine");
}

TEST_F(PrivateFilesTest, AnOwnerThatIsNoneMakesNothing)
{
    const CPrivateFiles own("no such user");
    EXPECT_NE(WriteWholeFile(m_directory / L"file", "secret"), eOsError_None);
    EXPECT_FALSE(PathExists(m_directory / L"file"));
}

TEST_F(PrivateFilesTest, WhatIsMissingIsAbsent)
{
    FileOwner owner;
    EXPECT_EQ(Files().GetOwner(m_directory / L"missing", owner), eOsError_FileNotFound);
    EXPECT_EQ(Files().MakePrivate(m_directory / L"missing", Self()), eOsError_FileNotFound);
    EXPECT_TRUE(IsAbsent(Files().CanMakePrivate(m_directory / L"missing")));
    EXPECT_EQ(Files().CanMakePrivate(m_directory.Path()), eOsError_None);
}

} // namespace
} // namespace platform
