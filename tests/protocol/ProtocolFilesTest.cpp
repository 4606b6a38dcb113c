#include "Kernel/ZEL_Processor/ZEL_Processor/ProtocolFiles.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using testsupport::CFaultyFiles;

namespace {

class ProtocolFiles : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_from, "content"))); }

    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_from = m_dir / L"from.drq";
    std::wstring m_to = m_dir / L"to.drq";
    CFaultyFiles m_files;
    testsupport::CManualClock m_clock;
};

} // namespace

TEST(ProtocolFileKind, FollowsTheExtensionInAnyLetterCase)
{
    EXPECT_EQ(Protocol::GetFileKind(L"x.drq"), Protocol::eFileKind_Request);
    EXPECT_EQ(Protocol::GetFileKind(L"x.DRQ"), Protocol::eFileKind_Request);
    EXPECT_EQ(Protocol::GetFileKind(L"x.Xml"), Protocol::eFileKind_Request);
    EXPECT_EQ(Protocol::GetFileKind(L"x.COMMAND"), Protocol::eFileKind_Command);
    for (const wchar_t* other : {L"x.drq.tmp", L"x.status", L"x.txt", L"drq", L"x.", L"", L"x.drqs"})
        EXPECT_EQ(Protocol::GetFileKind(other), Protocol::eFileKind_Other) << platform::ToUtf8(other);
}

TEST_F(ProtocolFiles, AMoveIsTriedUntilTheFileIsFree)
{
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_SharingViolation, 1000);
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_TRUE(Protocol::MoveFileWhenFree(m_from, m_to, platform::eMoveFlag_WriteThrough));
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Move), 1001U);
    EXPECT_EQ(m_clock.Yields() + m_clock.Sleeps(), 1000U);
    EXPECT_TRUE(platform::PathExists(m_to));
    EXPECT_FALSE(platform::PathExists(m_from));
}

TEST_F(ProtocolFiles, AnyOtherErrorEndsAMoveAtOnce)
{
    for (const platform::eOsError error : {platform::eOsError_AccessDenied, platform::eOsError_AlreadyExists,
                                           platform::eOsError_DiskFull, platform::eOsError_NotSameDevice}) {
        CFaultyFiles files;
        files.FailAlways(testsupport::eFileCall_Move, error);
        const platform::CScopedOs os(&files, &m_clock);
        EXPECT_FALSE(Protocol::MoveFileWhenFree(m_from, m_to, 0));
        EXPECT_EQ(files.Count(testsupport::eFileCall_Move), 1U);
    }
    EXPECT_TRUE(platform::PathExists(m_from));
}

TEST_F(ProtocolFiles, AMoveReplacesOnlyWhenToldTo)
{
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_to, "old")));
    EXPECT_FALSE(Protocol::MoveFileWhenFree(m_from, m_to, platform::eMoveFlag_WriteThrough));
    EXPECT_TRUE(platform::PathExists(m_from));
    EXPECT_TRUE(Protocol::MoveFileWhenFree(m_from, m_to,
                                           platform::eMoveFlag_ReplaceExisting | platform::eMoveFlag_WriteThrough));
    std::string bytes;
    EXPECT_TRUE(
        platform::Succeeded(platform::ReadWholeFile(m_to, platform::eOpenMode_ReadShared, bytes, std::size_t{1} << 20)));
    EXPECT_EQ(bytes, "content");
}

TEST_F(ProtocolFiles, ATryEndsWhenItsCallerNoLongerWants)
{
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation);
    std::atomic<bool> goOn = true;
    m_clock.OnWait([&] { goOn = m_clock.Yields() < 5; });
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_FALSE(Protocol::MoveFileWhenFree(m_from, m_to, 0, &goOn));
    EXPECT_TRUE(platform::PathExists(m_from));
}

TEST_F(ProtocolFiles, ClearingDeletesFilesAndLeavesDirectoriesAlone)
{
    const std::wstring sub = m_dir / L"Queue";
    const std::wstring inside = sub + platform::kPathSeparator + L"inside";
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(sub)));
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(inside, "x")));
    EXPECT_TRUE(Protocol::DeleteAllFilesInDir(m_dir.Path()));
    EXPECT_FALSE(platform::PathExists(m_from));
    EXPECT_TRUE(platform::PathExists(inside));
}

TEST_F(ProtocolFiles, ClearingGoesOnAfterAFileThatCanNotBeDeleted)
{
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_to, "x")));
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_SharingViolation);
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(Protocol::DeleteAllFilesInDir(m_dir.Path()));
    EXPECT_NE(platform::PathExists(m_from), platform::PathExists(m_to));
}

TEST_F(ProtocolFiles, ClearingAMissingDirectoryIsFalse)
{
    EXPECT_FALSE(Protocol::DeleteAllFilesInDir(m_dir / L"missing"));
}
