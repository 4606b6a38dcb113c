#include "protocol/HandOver.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using testsupport::CFaultyFiles;

namespace {

class HandOver : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_from, "content"))); }

    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_from = m_dir / L"from.drq";
    std::wstring m_to = m_dir / L"to.drq";
    CFaultyFiles m_files;
    testsupport::CManualClock m_clock;
};

} // namespace

TEST_F(HandOver, AMoveIsTriedUntilTheFileIsFree)
{
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_SharingViolation, 1000);
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_TRUE(Protocol::MoveFileWhenFree(m_from, m_to, platform::eMoveFlag_WriteThrough));
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Move), 1001U);
    EXPECT_EQ(m_clock.Yields() + m_clock.Sleeps(), 1000U);
    EXPECT_TRUE(platform::PathExists(m_to));
    EXPECT_FALSE(platform::PathExists(m_from));
}

TEST_F(HandOver, AnyOtherErrorEndsAMoveAtOnce)
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

TEST_F(HandOver, AMoveThatCouldNotBeSyncedIsReportedAndDone)
{
    CRecordingHost host;
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_NotDurable);
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(Protocol::MoveFileWhenFree(m_from, m_to, platform::eMoveFlag_WriteThrough));
    host.ExpectReport(1, L"The file was handed over, but may not survive a power cut: " + m_to);
}

TEST_F(HandOver, AMoveReplacesOnlyWhenToldTo)
{
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_to, "old")));
    EXPECT_FALSE(Protocol::MoveFileWhenFree(m_from, m_to, platform::eMoveFlag_WriteThrough));
    EXPECT_TRUE(platform::PathExists(m_from));
    EXPECT_TRUE(Protocol::MoveFileWhenFree(m_from, m_to,
                                           platform::eMoveFlag_ReplaceExisting | platform::eMoveFlag_WriteThrough));
    std::string bytes;
    EXPECT_TRUE(platform::Succeeded(
        platform::ReadWholeFile(m_to, platform::eOpenMode_ReadShared, bytes, std::size_t{1} << 20)));
    EXPECT_EQ(bytes, "content");
}

TEST_F(HandOver, ATryEndsWhenItsCallerNoLongerWants)
{
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation);
    std::atomic<bool> goOn = true;
    m_clock.OnWait([&] { goOn = m_clock.Yields() < 5; });
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_FALSE(Protocol::MoveFileWhenFree(m_from, m_to, 0, [&] { return goOn.load(); }));
    EXPECT_TRUE(platform::PathExists(m_from));
}

TEST_F(HandOver, ARemovalWaitsForAFileThatIsBeingClosed)
{
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_SharingViolation, 10);
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_TRUE(Protocol::RemoveFileWhenFree(m_from));
    EXPECT_FALSE(platform::PathExists(m_from));
}

TEST_F(HandOver, ARemovalIsTriedForAsLongAsItsCallerWants)
{
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation);
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_EQ(Protocol::RemoveWhenFree(m_from, [&] { return m_clock.Yields() < 5; }),
              platform::eOsError_SharingViolation);
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Remove), 6U);
    m_files.StopFailing();
    EXPECT_EQ(Protocol::RemoveWhenFree(m_from, {}), platform::eOsError_None);
    EXPECT_FALSE(platform::PathExists(m_from));
}

TEST_F(HandOver, ARemovalGivesUpAfterASecond)
{
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation);
    const std::chrono::nanoseconds start = m_clock.Steady();
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_FALSE(Protocol::RemoveFileWhenFree(m_from));
    EXPECT_EQ(m_clock.Steady() - start, std::chrono::seconds(1));
    EXPECT_TRUE(platform::PathExists(m_from));
}

TEST_F(HandOver, ARemovalThatIsRefusedIsNotTriedAgain)
{
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_AccessDenied);
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_FALSE(Protocol::RemoveFileWhenFree(m_from));
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Remove), 1U);
}

TEST_F(HandOver, ClearingDeletesFilesAndLeavesDirectoriesAlone)
{
    const std::wstring sub = m_dir / L"Queue";
    const std::wstring inside = sub + platform::kPathSeparator + L"inside";
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(sub)));
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(inside, "x")));
    EXPECT_TRUE(Protocol::DeleteAllFilesInDir(m_dir.Path()));
    EXPECT_FALSE(platform::PathExists(m_from));
    EXPECT_TRUE(platform::PathExists(inside));
}

TEST_F(HandOver, ClearingGoesOnAfterAFileThatCanNotBeDeleted)
{
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_to, "x")));
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation, m_from);
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(Protocol::DeleteAllFilesInDir(m_dir.Path()));
    EXPECT_TRUE(platform::PathExists(m_from));
    EXPECT_FALSE(platform::PathExists(m_to));
}

TEST_F(HandOver, ClearingEndsAlthoughNewFilesAreMadeAllTheTime)
{
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_List)
            static_cast<void>(platform::WriteWholeFile(m_to, "x"));
    });
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(Protocol::DeleteAllFilesInDir(m_dir.Path()));
    EXPECT_FALSE(platform::PathExists(m_from));
}

TEST_F(HandOver, ClearingAMissingDirectoryIsFalse)
{
    EXPECT_FALSE(Protocol::DeleteAllFilesInDir(m_dir / L"missing"));
}
