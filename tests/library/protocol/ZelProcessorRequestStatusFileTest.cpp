#include "protocol/ZelProcessorRequestStatusFile.h"

#include "platform/Fault.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "tests/support/ExpectedLeaks.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/Links.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <utility>

using testsupport::CFaultyFiles;

namespace {

class RequestStatusFile : public testing::Test {
protected:
    [[nodiscard]] std::wstring Content() const
    {
        std::string bytes;
        EXPECT_TRUE(platform::Succeeded(
            platform::ReadWholeFile(m_path, platform::eOpenMode_ReadShared, bytes, std::size_t{1} << 20)));
        return platform::FromUtf16Le(bytes);
    }
    void Write(const std::string& bytes) const
    {
        ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_path, bytes)));
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_path = m_dir / L"x.drq.status";
    CZelProcessorRequestStatusFile m_file{L"ZelProcessor", m_path};
};

} // namespace

TEST_F(RequestStatusFile, ConstructingTouchesNoFile)
{
    EXPECT_FALSE(platform::PathExists(m_path));
}

TEST_F(RequestStatusFile, IsUtf16LittleEndianWithoutByteOrderMark)
{
    EXPECT_TRUE(m_file.WriteStatus(eRequestStatus_Done));
    std::string bytes;
    ASSERT_TRUE(platform::Succeeded(platform::ReadWholeFile(m_path, platform::eOpenMode_ReadShared, bytes, 100)));
    EXPECT_EQ(bytes, std::string("1\0003\0\r\0\n\0", 8));
}

TEST_F(RequestStatusFile, WritersReplaceTheWholeContent)
{
    EXPECT_TRUE(m_file.WriteStatusAndPercent(eRequestStatus_GettingData, 45));
    EXPECT_EQ(Content(), L"9\r\nProgressPerc=45\r\n");
    EXPECT_TRUE(m_file.WriteStatus(eRequestStatus_NotIntialized));
    EXPECT_EQ(Content(), L"-1\r\n");
}

TEST_F(RequestStatusFile, ReadersGiveWhatWasWritten)
{
    EXPECT_TRUE(m_file.WriteStatusAndPercent(eRequestStatus_Parsing, 45));
    eZelProcRequestStatus status = eRequestStatus_Last;
    std::int32_t percent = 0;
    CString comment = L"before";
    EXPECT_TRUE(m_file.ReadStatus(status));
    EXPECT_EQ(status, eRequestStatus_Parsing);
    EXPECT_TRUE(m_file.ReadProgressPercent(percent));
    EXPECT_EQ(percent, 45);
    EXPECT_FALSE(m_file.ReadProgressComment(comment));
    EXPECT_EQ(comment, L"");
}

TEST_F(RequestStatusFile, AMissingFileReadsAsClientErrorAfterAMessage)
{
    eZelProcRequestStatus status = eRequestStatus_Last;
    EXPECT_FALSE(m_file.ReadStatus(status));
    EXPECT_EQ(status, eRequestStatus_ClientError);
    std::int32_t percent = 0;
    EXPECT_FALSE(m_file.ReadProgressPercent(percent));
    EXPECT_EQ(percent, -1);
    CString comment = L"before";
    EXPECT_FALSE(m_file.ReadProgressComment(comment));
    EXPECT_EQ(comment, L"");
    const auto boxes = m_host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 3U);
    EXPECT_EQ(boxes[0].text, L"CZelProcessorClient::GetStatus : opening of the file '" + m_path + L"' failed");
    EXPECT_EQ(boxes[0].style, 16U);
}

TEST_F(RequestStatusFile, AFileThatCanNotBeCreatedIsShownAndFalse)
{
    CZelProcessorRequestStatusFile file(L"ZelProcessor", (m_dir / L"missing") + platform::kPathSeparator + L"x.status");
    EXPECT_FALSE(file.WriteStatus(eRequestStatus_Done));
    m_host.ExpectBox(L"Unable to create/open status file: " + (m_dir / L"missing"));
    m_host.ExpectLogLine(platform::OsErrorText(platform::eOsError_PathNotFound));
}

TEST_F(RequestStatusFile, ToldOnceAFailureIsALineWhenItBeginsAndOneWhenItIsOver)
{
    CFaultyFiles files;
    const platform::CScopedOs os(&files, nullptr);
    m_file.SetToldOnce(true);
    for (const auto call : {testsupport::eFileCall_Open, testsupport::eFileCall_Write}) {
        files.FailCall(call, 1, platform::eOsError_PathNotFound, 3);
        for (int write = 0; write < 3; ++write)
            EXPECT_FALSE(m_file.WriteStatus(eRequestStatus_GettingData));
        EXPECT_TRUE(m_file.WriteStatus(eRequestStatus_GettingData));
        EXPECT_TRUE(m_file.WriteStatus(eRequestStatus_Done));
        const auto lines = m_host.TakeLogLines();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[0].text, L"The status file '" + m_path + L"' cannot be written: " +
                                     platform::OsErrorText(platform::eOsError_PathNotFound));
        EXPECT_EQ(lines[0].level, Brel::Log::eLogLevel_Error);
        EXPECT_EQ(lines[1].text, L"The status file '" + m_path + L"' is written again");
        EXPECT_EQ(lines[1].level, Brel::Log::eLogLevel_Info);
    }
}

TEST_F(RequestStatusFile, OpeningIsTriedWithoutLimitWhileTheFileIsShared)
{
    CFaultyFiles files;
    testsupport::CManualClock clock;
    const platform::CScopedOs os(&files, &clock);
    files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_SharingViolation, 5000);
    EXPECT_TRUE(m_file.WriteStatus(eRequestStatus_Done));
    EXPECT_EQ(files.Count(testsupport::eFileCall_Open), 5001U);
    files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_SharingViolation, 5000);
    eZelProcRequestStatus status = eRequestStatus_Last;
    EXPECT_TRUE(m_file.ReadStatus(status));
}

TEST_F(RequestStatusFile, AfterTheEndOfGoingOnItWaitsHalfASecondInAll)
{
    std::atomic<bool> goOn = true;
    CZelProcessorRequestStatusFile file(L"ZelProcessor", m_path, &goOn);
    ASSERT_TRUE(file.WriteStatus(eRequestStatus_Waiting));
    std::unique_ptr<platform::IFile> holder;
    ASSERT_EQ(platform::Files().Open(m_path, platform::eOpenMode_ReadExclusive, holder), platform::eOsError_None);
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    const auto start = clock.Steady();
    clock.OnWait([&] { goOn = clock.Steady() - start < std::chrono::minutes(1); });
    EXPECT_FALSE(file.WriteStatus(eRequestStatus_Done));
    EXPECT_GE(clock.Steady() - start, std::chrono::milliseconds(60'499)) << "without limit while going on";
    EXPECT_LE(clock.Steady() - start, std::chrono::milliseconds(60'502));
    m_host.ExpectLogLine(L"'" + m_path + L"' is kept open by ");
    EXPECT_EQ(file.LastWriteError(), platform::eOsError_SharingViolation);
    const auto end = clock.Steady();
    EXPECT_FALSE(file.WriteStatus(eRequestStatus_Done));
    EXPECT_EQ(clock.Steady(), end) << "one try, for the half second is over";
    holder.reset();
    EXPECT_TRUE(file.WriteStatus(eRequestStatus_Done)) << "and what can be written is written";
    EXPECT_EQ(file.LastWriteError(), platform::eOsError_None);
    EXPECT_EQ(m_host.TakeBoxes().size(), 2U);
    for (int line = 0; line < 2; ++line)
        m_host.ExpectLogLine(platform::OsErrorText(platform::eOsError_SharingViolation));
}

TEST_F(RequestStatusFile, AReaderIsWaitedForAfterTheEndOfGoingOnToo)
{
    const std::atomic<bool> goOn = false;
    CZelProcessorRequestStatusFile file(L"ZelProcessor", m_path, &goOn);
    ASSERT_TRUE(file.WriteStatus(eRequestStatus_Waiting));
    std::unique_ptr<platform::IFile> reader;
    ASSERT_EQ(platform::Files().Open(m_path, platform::eOpenMode_ReadExclusive, reader), platform::eOsError_None);
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    const auto start = clock.Steady();
    clock.OnWait([&] {
        if (clock.Steady() - start > std::chrono::milliseconds(100))
            reader.reset();
    });
    EXPECT_TRUE(file.WriteStatus(eRequestStatus_Done));
    EXPECT_EQ(Content(), L"13\r\n");
}

TEST_F(RequestStatusFile, ALinkInTheWayIsRefusedAndNamed)
{
    const std::wstring target = m_dir / L"target";
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(target, "precious")));
    if (!testsupport::MakeLink(target, m_path))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    EXPECT_FALSE(m_file.WriteStatus(eRequestStatus_Done));
    EXPECT_EQ(m_file.LastWriteError(), platform::eOsError_LinkInTheWay);
    m_host.ExpectBox(L"Unable to create/open status file: " + m_path);
    m_host.ExpectLogLine(m_path + L": " + platform::OsErrorText(platform::eOsError_LinkInTheWay));
    std::string bytes;
    ASSERT_TRUE(platform::Succeeded(platform::ReadWholeFile(target, platform::eOpenMode_ReadShared, bytes, 100)));
    EXPECT_EQ(bytes, "precious");
}

TEST_F(RequestStatusFile, WhatAFaultLeftOpenIsClosedByTheNextCall)
{
    ASSERT_TRUE(m_file.WriteStatus(eRequestStatus_Waiting));
    for (const auto call : {testsupport::eFileCall_Write, testsupport::eFileCall_Read}) {
        CFaultyFiles files;
        const platform::CScopedOs os(&files, nullptr);
        bool isArmed = true;
        files.OnCall([&](const testsupport::SFileCall& made) {
            if (std::exchange(isArmed, isArmed && made.call != call) && made.call == call)
                std::abort();
        });
        platform::SFaultRecord fault;
        {
            const testsupport::CExpectedLeaks leaks;
            EXPECT_FALSE(platform::RunContained(
                [&] {
                    eZelProcRequestStatus status{};
                    static_cast<void>(m_file.WriteStatus(eRequestStatus_Parsing));
                    static_cast<void>(m_file.ReadStatus(status));
                },
                fault));
        }
        EXPECT_EQ(fault.kind, platform::eFaultKind_Abort);
        std::unique_ptr<platform::IFile> other;
        EXPECT_EQ(platform::Files().Open(m_path, platform::eOpenMode_ReadExclusive, other),
                  platform::eOsError_SharingViolation)
            << "as a crash leaves it";
        EXPECT_TRUE(m_file.WriteStatus(eRequestStatus_ServerError));
        EXPECT_EQ(Content(), L"1\r\n");
    }
}

TEST_F(RequestStatusFile, AFullDiskIsReportedAndFalse)
{
    CFaultyFiles files;
    const platform::CScopedOs os(&files, nullptr);
    files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull);
    EXPECT_FALSE(m_file.WriteStatus(eRequestStatus_Done));
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_NE(reports[0].message.find(m_path), std::wstring::npos);
}

TEST_F(RequestStatusFile, ReadingAllPartsTakesOneOpen)
{
    EXPECT_TRUE(m_file.WriteStatusAndPercent(eRequestStatus_Calculating, 7));
    CFaultyFiles files;
    const platform::CScopedOs os(&files, nullptr);
    CZelProcessorRequestStatusFile::SContent content;
    EXPECT_EQ(m_file.ReadContent(content), CZelProcessorRequestStatusFile::eRead_Ok);
    EXPECT_EQ(content.status, eRequestStatus_Calculating);
    EXPECT_TRUE(content.hasPercent);
    EXPECT_EQ(content.percent, 7);
    EXPECT_FALSE(content.hasComment);
    EXPECT_TRUE(content.hasTimes);
    EXPECT_EQ(files.Count(testsupport::eFileCall_Open), 1U);
}

TEST_F(RequestStatusFile, AnEmptyFileHasNoStatus)
{
    Write({});
    CZelProcessorRequestStatusFile::SContent content;
    EXPECT_EQ(m_file.ReadContent(content), CZelProcessorRequestStatusFile::eRead_NoStatus);
}

TEST_F(RequestStatusFile, TruncatedAndCorruptedFilesAreReadWithoutHarm)
{
    const std::string whole = platform::ToUtf16Le(L"9\r\nProgressPerc=45\r\nProgressComment=a&ampEqual&b\r\n");
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        Write(whole.substr(0, length));
        CZelProcessorRequestStatusFile::SContent content;
        const auto result = m_file.ReadContent(content);
        EXPECT_EQ(result == CZelProcessorRequestStatusFile::eRead_Ok, length >= 2) << length;
        EXPECT_LE(content.comment.size(), 21U);
    }
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
        Write(flipped);
        CZelProcessorRequestStatusFile::SContent content;
        EXPECT_EQ(m_file.ReadContent(content), CZelProcessorRequestStatusFile::eRead_Ok) << bit;
        EXPECT_LE(content.comment.size(), 21U);
    }
}

TEST_F(RequestStatusFile, AReaderNeverSeesAHalfWrittenFile)
{
    ASSERT_TRUE(m_file.WriteStatusAndPercent(eRequestStatus_GettingData, 0));
    std::atomic<bool> stop = false;
    std::atomic<int> written = 0;
    platform::CThread writer;
    ASSERT_TRUE(writer.Start([&] {
        CZelProcessorRequestStatusFile file(L"ZelProcessor", m_path);
        for (int round = 0; !stop; ++round) {
            // Long and short contents by turns, so that a torn one would show.
            const bool ok = round % 2 ? file.WriteStatus(eRequestStatus_Done)
                                      : file.WriteStatusAndPercent(eRequestStatus_GettingData, round);
            written += ok ? 1 : 0;
        }
        return 0U;
    }));
    int read = 0;
    const auto end = platform::SystemClock().Steady() + std::chrono::seconds(60);
    while ((read < 2000 || written < 2000) && platform::SystemClock().Steady() < end) {
        CZelProcessorRequestStatusFile::SContent content;
        EXPECT_EQ(m_file.ReadContent(content), CZelProcessorRequestStatusFile::eRead_Ok);
        EXPECT_EQ(content.status == eRequestStatus_GettingData, content.hasPercent);
        ++read;
    }
    stop = true;
    EXPECT_TRUE(writer.Join());
    EXPECT_GE(read, 2000);
    EXPECT_GE(written, 2000);
}
