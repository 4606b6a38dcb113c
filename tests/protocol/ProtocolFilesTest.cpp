#include "protocol/ProtocolFiles.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cctype>

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

TEST_F(ProtocolFiles, AMoveThatCouldNotBeSyncedIsReportedAndDone)
{
    CRecordingHost host;
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_NotDurable);
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(Protocol::MoveFileWhenFree(m_from, m_to, platform::eMoveFlag_WriteThrough));
    host.ExpectReport(1, L"The file was handed over, but may not survive a power cut: " + m_to);
}

TEST_F(ProtocolFiles, AMoveReplacesOnlyWhenToldTo)
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

TEST_F(ProtocolFiles, ATryEndsWhenItsCallerNoLongerWants)
{
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation);
    std::atomic<bool> goOn = true;
    m_clock.OnWait([&] { goOn = m_clock.Yields() < 5; });
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_FALSE(Protocol::MoveFileWhenFree(m_from, m_to, 0, &goOn));
    EXPECT_TRUE(platform::PathExists(m_from));
}

TEST_F(ProtocolFiles, ARemovalWaitsForAFileThatIsBeingClosed)
{
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_SharingViolation, 10);
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_TRUE(Protocol::RemoveFileWhenFree(m_from));
    EXPECT_FALSE(platform::PathExists(m_from));
}

TEST_F(ProtocolFiles, ARemovalGivesUpAfterASecond)
{
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation);
    const std::chrono::nanoseconds start = m_clock.Steady();
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_FALSE(Protocol::RemoveFileWhenFree(m_from));
    EXPECT_EQ(m_clock.Steady() - start, std::chrono::seconds(1));
    EXPECT_TRUE(platform::PathExists(m_from));
}

TEST_F(ProtocolFiles, ARemovalThatIsRefusedIsNotTriedAgain)
{
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_AccessDenied);
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_FALSE(Protocol::RemoveFileWhenFree(m_from));
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Remove), 1U);
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
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation, m_from);
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(Protocol::DeleteAllFilesInDir(m_dir.Path()));
    EXPECT_TRUE(platform::PathExists(m_from));
    EXPECT_FALSE(platform::PathExists(m_to));
}

TEST_F(ProtocolFiles, ClearingEndsAlthoughNewFilesAreMadeAllTheTime)
{
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_List)
            static_cast<void>(platform::WriteWholeFile(m_to, "x"));
    });
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(Protocol::DeleteAllFilesInDir(m_dir.Path()));
    EXPECT_FALSE(platform::PathExists(m_from));
}

TEST_F(ProtocolFiles, ClearingAMissingDirectoryIsFalse)
{
    EXPECT_FALSE(Protocol::DeleteAllFilesInDir(m_dir / L"missing"));
}

TEST_F(ProtocolFiles, AnAnswerToARegistrationIsAnIdOnItsFirstLine)
{
    constexpr GUID id = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
    const std::string text = "{01234567-89AB-CDEF-0102-030405060708}";
    const auto read = [&](const std::string& bytes) {
        EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_from, bytes)));
        GUID clientId = {9, 9, 9, {}};
        EXPECT_EQ(Protocol::ReadRegistrationAnswer(m_from, clientId), platform::eOsError_None);
        return clientId;
    };
    for (const char* end : {"", "\r\n", "\n", "\r\nmore"})
        EXPECT_TRUE(IsEqualGUID(read(text + end), id));
    for (std::size_t length = 0; length < text.size(); ++length)
        EXPECT_TRUE(IsEqualGUID(read(text.substr(0, length)), GUID{})) << length;
    for (std::size_t bit = 0; bit < text.size() * 8; ++bit) {
        std::string flipped = text;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        // Another digit is another id, and a letter in the other case is the same; all else is none.
        const GUID clientId = read(flipped);
        const bool isDigit = std::isxdigit(static_cast<unsigned char>(flipped[bit / 8])) != 0 &&
                             std::isxdigit(static_cast<unsigned char>(text[bit / 8])) != 0;
        EXPECT_EQ(IsEqualGUID(clientId, GUID{}) != 0, !isDigit) << flipped;
    }
    GUID clientId = id;
    EXPECT_EQ(Protocol::ReadRegistrationAnswer(m_to, clientId), platform::eOsError_FileNotFound);
    EXPECT_TRUE(IsEqualGUID(clientId, GUID{}));
    EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_from, std::string(1 << 20, '{'))));
    EXPECT_NE(Protocol::ReadRegistrationAnswer(m_from, clientId), platform::eOsError_None) << "no answer is so long";
}
