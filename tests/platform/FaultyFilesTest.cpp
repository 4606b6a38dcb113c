#include "tests/support/FaultyFiles.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace testsupport {
namespace {

using namespace platform;

class FaultyFilesTest : public testing::Test {
protected:
    const CTemporaryDirectory m_directory;
    const std::wstring m_path = m_directory / L"file";
    CFaultyFiles m_files;
    const CScopedOs m_os{&m_files, nullptr};
};

TEST_F(FaultyFilesTest, PassesOnAndCounts)
{
    ASSERT_EQ(WriteWholeFile(m_path, "content"), eOsError_None);
    std::string bytes;
    ASSERT_EQ(ReadWholeFile(m_path, eOpenMode_ReadShared, bytes, 100), eOsError_None);
    EXPECT_EQ(bytes, "content");
    EXPECT_EQ(m_files.Count(eFileCall_Open), 2U);
    EXPECT_EQ(m_files.Count(eFileCall_Write), 1U);
    EXPECT_EQ(m_files.Count(eFileCall_Move), 0U);
    EXPECT_EQ(m_files.Calls().front().path, m_path);
    EXPECT_EQ(m_files.Calls().front().mode, eOpenMode_WriteExclusive);
    m_files.ForgetCalls();
    EXPECT_EQ(m_files.Count(eFileCall_Open), 0U);
}

TEST_F(FaultyFilesTest, FailsTheCallThatWasPlanned)
{
    m_files.FailCall(eFileCall_Open, 2, eOsError_SharingViolation, 2);
    EXPECT_EQ(WriteWholeFile(m_path, "1"), eOsError_None);
    EXPECT_EQ(WriteWholeFile(m_path, "2"), eOsError_SharingViolation);
    EXPECT_EQ(WriteWholeFile(m_path, "3"), eOsError_SharingViolation);
    EXPECT_EQ(WriteWholeFile(m_path, "4"), eOsError_None);
    EXPECT_EQ(m_files.Count(eFileCall_Open), 4U);
}

TEST_F(FaultyFilesTest, FailsCallsOnOpenFiles)
{
    m_files.FailCall(eFileCall_Write, 1, eOsError_DiskFull);
    EXPECT_EQ(WriteWholeFile(m_path, "content"), eOsError_DiskFull);
    m_files.FailCall(eFileCall_Close, 1, eOsError_IoError);
    EXPECT_EQ(WriteWholeFile(m_path, "content"), eOsError_IoError);
    m_files.FailCall(eFileCall_Read, 1, eOsError_IoError);
    std::string bytes;
    EXPECT_EQ(ReadWholeFile(m_path, eOpenMode_ReadExclusive, bytes, 100), eOsError_IoError);
    EXPECT_EQ(bytes, "");
    EXPECT_EQ(ReadWholeFile(m_path, eOpenMode_ReadExclusive, bytes, 100), eOsError_None)
        << "a failed close closed all the same";
}

TEST_F(FaultyFilesTest, FailsOnlyThePathsThatWereNamed)
{
    m_files.FailAlways(eFileCall_Open, eOsError_AccessDenied, L"special");
    EXPECT_EQ(WriteWholeFile(m_path, ""), eOsError_None);
    EXPECT_EQ(WriteWholeFile(m_directory / L"special", ""), eOsError_AccessDenied);
    EXPECT_EQ(WriteWholeFile(m_directory / L"special", ""), eOsError_AccessDenied);
    m_files.StopFailing();
    EXPECT_EQ(WriteWholeFile(m_directory / L"special", ""), eOsError_None);
}

TEST_F(FaultyFilesTest, TheHookRunsBeforeTheCall)
{
    bool existed = true;
    m_files.OnCall([&](const SFileCall& call) {
        existed = call.call == eFileCall_Open && std::filesystem::exists(StandardPath(m_path));
    });
    std::unique_ptr<IFile> file;
    ASSERT_EQ(Files().Open(m_path, eOpenMode_WriteExclusive, file), eOsError_None);
    EXPECT_FALSE(existed);
}

TEST_F(FaultyFilesTest, WatchesAreWrappedAsWell)
{
    std::unique_ptr<IDirectoryWatch> watch;
    ASSERT_EQ(Files().Watch(m_directory.Path(), eWatchFilter_FileName, watch), eOsError_None);
    m_files.FailCall(eFileCall_Rearm, 1, eOsError_PathNotFound);
    EXPECT_EQ(watch->Rearm(), eOsError_PathNotFound);
    EXPECT_EQ(watch->Rearm(), eOsError_None);
    watch->Wake();
    EXPECT_EQ(watch->Wait(std::chrono::milliseconds(1000)), eWaitResult_Woken);
}

} // namespace
} // namespace testsupport
