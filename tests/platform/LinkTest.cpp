#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "tests/support/Links.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

/// A link at a path that this process uses, made by somebody who may create names in the directory.
class LinkTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(WriteWholeFile(m_target, "content"), eOsError_None);
        if (!testsupport::MakeLink(m_target, m_link))
            GTEST_SKIP() << "MakeLink: this system gives no links";
        ASSERT_TRUE(testsupport::MakeLink(m_missing, m_dangling));
    }
    static std::string Content(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_EQ(ReadWholeFile(path, eOpenMode_ReadShared, bytes, 100), eOsError_None);
        return bytes;
    }

    const CTemporaryDirectory m_directory;
    const std::wstring m_target = m_directory / L"target";
    const std::wstring m_missing = m_directory / L"missing";
    const std::wstring m_link = m_directory / L"link";
    const std::wstring m_dangling = m_directory / L"dangling";
};

TEST_F(LinkTest, NothingIsWrittenThroughALink)
{
    EXPECT_EQ(WriteWholeFile(m_link, "other"), eOsError_LinkInTheWay);
    EXPECT_EQ(Content(m_target), "content");
    EXPECT_EQ(WriteWholeFile(m_dangling, "other"), eOsError_LinkInTheWay);
    std::unique_ptr<IFile> file;
    EXPECT_EQ(Files().Open(m_dangling, eOpenMode_CreateExclusive, file), eOsError_AlreadyExists);
    EXPECT_FALSE(PathExists(m_missing)) << "what the link names was not made either";
}

TEST_F(LinkTest, NothingIsLockedThroughALink)
{
    std::unique_ptr<IFile> file;
    std::unique_ptr<ILockFile> lock;
    for (const std::wstring& link : {m_link, m_dangling}) {
        EXPECT_EQ(Files().Open(link, eOpenMode_ReadExclusive, file), eOsError_LinkInTheWay);
        EXPECT_EQ(Files().OpenLockFile(link, "note", lock), eOsError_LinkInTheWay);
    }
    EXPECT_EQ(Content(m_target), "content");
    EXPECT_FALSE(PathExists(m_missing));
}

TEST_F(LinkTest, SharedReadersFollowIt)
{
    EXPECT_EQ(Content(m_link), "content");
    std::unique_ptr<IFile> file;
    EXPECT_EQ(Files().Open(m_dangling, eOpenMode_ReadShared, file), eOsError_FileNotFound);
}

TEST_F(LinkTest, MovedAndRemovedIsTheLinkItself)
{
    for (const std::wstring& link : {m_link, m_dangling}) {
        EXPECT_EQ(Files().Move(link, m_directory / L"moved", eMoveFlag_WriteThrough), eOsError_None);
        EXPECT_EQ(Files().Remove(m_directory / L"moved"), eOsError_None);
        EXPECT_EQ(Files().Remove(m_directory / L"moved"), eOsError_FileNotFound);
    }
    EXPECT_EQ(Content(m_target), "content");
}

TEST_F(LinkTest, WhoUsesTheTargetDoesNotHoldTheLink)
{
    std::unique_ptr<IFile> user;
    ASSERT_EQ(Files().Open(m_target, eOpenMode_ReadExclusive, user), eOsError_None);
    EXPECT_EQ(Files().Move(m_link, m_directory / L"moved", eMoveFlag_None), eOsError_None);
    EXPECT_EQ(Files().Remove(m_directory / L"moved"), eOsError_None);
}

TEST_F(LinkTest, AReplacingMovePutsTheFileInThePlaceOfTheLink)
{
    const std::wstring from = m_directory / L"from";
    ASSERT_EQ(WriteWholeFile(from, "new"), eOsError_None);
    EXPECT_EQ(Files().Move(from, m_link, eMoveFlag_ReplaceExisting), eOsError_None);
    EXPECT_EQ(WriteWholeFile(m_link, "newer"), eOsError_None);
    EXPECT_EQ(Content(m_target), "content");
}

} // namespace
} // namespace platform
