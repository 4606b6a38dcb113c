#include "protocol/ZelProcessorProgressStatusFile.h"

#include "framework/CrashReport.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

class ProgressStatusFile : public testing::Test {
protected:
    [[nodiscard]] std::wstring Content() const
    {
        std::string bytes;
        EXPECT_TRUE(platform::Succeeded(
            platform::ReadWholeFile(m_path, platform::eOpenMode_ReadShared, bytes, std::size_t{1} << 20)));
        return platform::FromUtf16Le(bytes);
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_path = m_dir / L"x.drq.status";
    CZelProcessorProgressStatusFile m_file{L"ZelProcessor", m_path};
};

} // namespace

TEST_F(ProgressStatusFile, StartsWithoutStatusAndPercent)
{
    EXPECT_EQ(m_file.GetStatusValue(), eRequestStatus_NotIntialized);
    EXPECT_EQ(m_file.GetPercentValue(), -1);
    EXPECT_FALSE(platform::PathExists(m_path));
}

TEST_F(ProgressStatusFile, APositionBeforeAnyStatusReportsGettingData)
{
    m_file.SetPos(50);
    EXPECT_EQ(Content(), L"9\r\nProgressPerc=50\r\n");
    EXPECT_EQ(m_file.GetStatusValue(), eRequestStatus_GettingData);
}

TEST_F(ProgressStatusFile, WhatItToldIsKnownToACrashReport)
{
    using MOXCrashRpt::CScopedSubject;
    const CScopedSubject subject(L"x.drq");
    m_file.SetStatusAndComment(eRequestStatus_Parsing, L"reading");
    EXPECT_EQ(CScopedSubject::CurrentStatus(), L"eRequestStatus_Parsing (7)");
    EXPECT_EQ(CScopedSubject::CurrentComment(), L"reading");
    m_file.SetPos(50);
    EXPECT_EQ(CScopedSubject::CurrentStatus(), L"eRequestStatus_Parsing (7), 50%");
    EXPECT_EQ(CScopedSubject::CurrentComment(), L"reading");
}

TEST_F(ProgressStatusFile, ThePercentCountsThePositionItself)
{
    m_file.SetRange(0, 200);
    EXPECT_EQ(m_file.GetPercentValue(), 0);
    m_file.SetPos(50);
    EXPECT_EQ(m_file.GetPercentValue(), 25);
    m_file.SetRange(100, 200);
    m_file.SetPos(150);
    EXPECT_EQ(m_file.GetPercentValue(), 150);
    m_file.SetPos(100);
    EXPECT_EQ(m_file.GetPercentValue(), 0);
    m_file.SetPos(200);
    EXPECT_EQ(m_file.GetPercentValue(), 100);
}

TEST_F(ProgressStatusFile, AnEmptyOrReversedRangeIsNoProgress)
{
    m_file.SetRange(5, 5);
    m_file.SetPos(7);
    EXPECT_EQ(m_file.GetPercentValue(), 0);
    m_file.SetRange(9, 5);
    m_file.SetPos(20);
    EXPECT_EQ(m_file.GetPercentValue(), 0);
}

TEST_F(ProgressStatusFile, HugeRangesDoNotOverflow)
{
    m_file.SetRange(0, ~std::uint64_t{0});
    m_file.SetPos(~std::uint64_t{0} / 2);
    EXPECT_EQ(m_file.GetPercentValue(), 50);
    m_file.SetRange(~std::uint64_t{0} - 3, ~std::uint64_t{0});
    m_file.SetPos(~std::uint64_t{0} - 1);
    EXPECT_EQ(m_file.GetPercentValue(), 2147483647);
}

TEST_F(ProgressStatusFile, SteppingAddsTheStep)
{
    m_file.SetStep(10);
    EXPECT_FALSE(platform::PathExists(m_path)) << "setting the step publishes nothing";
    m_file.StepIt();
    m_file.StepIt();
    EXPECT_EQ(m_file.GetPercentValue(), 20);
    m_file.SetStep(-5);
    m_file.StepIt();
    EXPECT_EQ(m_file.GetPercentValue(), 15);
}

TEST_F(ProgressStatusFile, ANewRangeStartsAtPositionZero)
{
    m_file.SetPos(60);
    m_file.SetRange(0, 10);
    EXPECT_EQ(m_file.GetPercentValue(), 0);
    m_file.StepIt();
    EXPECT_EQ(m_file.GetPercentValue(), 10);
}

TEST_F(ProgressStatusFile, EveryRewriteCarriesStatusPercentAndComment)
{
    m_file.SetStatusAndComment(eRequestStatus_Parsing, L"a=b\r\nc");
    EXPECT_EQ(Content(), L"7\r\nProgressPerc=-1\r\nProgressComment=a&ampEqual&b&ampNewLineCR&c\r\n");
    m_file.SetPos(30);
    EXPECT_EQ(Content(), L"7\r\nProgressPerc=30\r\nProgressComment=a&ampEqual&b&ampNewLineCR&c\r\n");
    EXPECT_TRUE(m_file.WriteStatus(eRequestStatus_Done));
    EXPECT_EQ(Content(), L"13\r\nProgressPerc=30\r\nProgressComment=a&ampEqual&b&ampNewLineCR&c\r\n");
    CString comment;
    EXPECT_TRUE(m_file.ReadProgressComment(comment));
    EXPECT_EQ(comment, L"a=b\r\nc");
}

TEST_F(ProgressStatusFile, AnEmptyCommentLeavesItsLineOut)
{
    m_file.SetStatusAndComment(eRequestStatus_Done, L"x");
    m_file.SetComment(L"");
    EXPECT_EQ(Content(), L"13\r\nProgressPerc=-1\r\n");
    CString comment = L"before";
    EXPECT_FALSE(m_file.ReadProgressComment(comment));
    EXPECT_EQ(comment, L"");
    m_file.SetComment(nullptr);
    EXPECT_EQ(Content(), L"13\r\nProgressPerc=-1\r\n");
}

TEST_F(ProgressStatusFile, ARewriteThatFailedIsMadeUpForByTheNext)
{
    testsupport::CFaultyFiles files;
    const platform::CScopedOs os(&files, nullptr);
    files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied);
    m_file.SetStatusAndComment(eRequestStatus_Parsing, L"kept");
    m_host.ExpectBox(L"Unable to create/open status file: ");
    m_host.ExpectLogLine(L"Unable to create/open status file: ");
    m_file.SetPos(10);
    EXPECT_EQ(Content(), L"7\r\nProgressPerc=10\r\nProgressComment=kept\r\n");
}
