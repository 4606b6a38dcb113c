#include "tests/support/RecordingHost.h"

#include "framework/Log.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(RecordingHostTest, AReportThatNobodyTookFailsTheTest)
{
    EXPECT_NONFATAL_FAILURE(
        {
            const CRecordingHost host;
            WQ_ReportErrorNow(L"File", 7, L"Function", L"unforeseen");
        },
        "report File:7 Function: unforeseen");
}

TEST(RecordingHostTest, ABoxThatNobodyTookFailsTheTest)
{
    EXPECT_NONFATAL_FAILURE(
        {
            const CRecordingHost host;
            WQ_MessageBox(L"unforeseen", eMessageStyle_Error);
        },
        "box of style 16: unforeseen");
}

TEST(RecordingHostTest, AWarningLineThatNobodyTookFailsTheTest)
{
    EXPECT_NONFATAL_FAILURE(
        {
            const CRecordingHost host;
            Brel::Log::Write(*Brel::Log::Get("X"), Brel::Log::eLogLevel_Warning, {}, L"unforeseen");
        },
        "of X: unforeseen");
}

TEST(RecordingHostTest, AnExpectedReportThatDoesNotComeFailsTheTest)
{
    EXPECT_NONFATAL_FAILURE(
        {
            CRecordingHost host;
            host.ExpectReport(7, L"awaited", std::chrono::milliseconds(1));
        },
        "No report of line 7 with: awaited");
}

TEST(RecordingHostTest, OrdinaryAndAcceptedLinesDoNotFailIt)
{
    CRecordingHost host;
    Brel::Log::Write(*Brel::Log::Get("X"), Brel::Log::eLogLevel_Info, {}, L"ordinary");
    host.AcceptWarnings();
    Brel::Log::Write(*Brel::Log::Get("X"), Brel::Log::eLogLevel_Error, {}, L"accepted");
    EXPECT_TRUE(host.WaitForLogLine(L"ordinary"));
}

TEST(RecordingHostTest, WaitsForWhatAnotherThreadDoes)
{
    CRecordingHost host;
    const std::jthread thread([] {
        WQ_ReportErrorNow(L"File", 1, L"Function", L"first");
        WQ_MessageBox(L"a box", 0);
        Brel::Log::Write(*Brel::Log::Get("X"), Brel::Log::eLogLevel_Error, {}, L"a line");
        WQ_ReportErrorNow(L"File", 2, L"Function", L"second");
    });
    EXPECT_TRUE(host.WaitForReports(2));
    host.ExpectReport(2, L"second");
    host.ExpectReport(1, L"first");
    EXPECT_TRUE(host.WaitForBoxes(1));
    host.ExpectBox(L"a box");
    host.ExpectLogLine(L"a line");
    EXPECT_FALSE(host.WaitForReports(1, std::chrono::milliseconds(1)));
}

TEST(RecordingHostTest, ALoggerThatOutlivesTheHostWritesToNobody)
{
    std::shared_ptr<Brel::Log::Logger> logger;
    {
        const CRecordingHost host;
        logger = Brel::Log::Get("X");
    }
    EXPECT_NO_THROW(Brel::Log::Write(*logger, Brel::Log::eLogLevel_Error, {}, L"late"));
}

} // namespace
