#include "server/Executive.h"
#include "framework/Services.h"
#include "platform/Text.h"
#include "server/RequestStatuses.h"
#include "tests/library/server/RunFixture.h"

#include <stdexcept>

using namespace std::chrono_literals;

namespace {

class ExecutiveTest : public CRunFixture {
protected:
    ExecutiveTest() { m_executive.SetRunner(&m_runner); }

    /// What an operator reads.
    std::vector<testsupport::SLogLine> StoryLines()
    {
        std::vector<testsupport::SLogLine> lines = m_host.TakeLogLines();
        std::erase_if(lines, [](const auto& line) { return line.level < Brel::Log::eLogLevel_Info; });
        return lines;
    }

    CRequestStatuses m_statuses{m_settings, m_requests};
    CExecutive m_executive{m_settings, m_requests, m_statuses, m_bRunning};
};

TEST_F(ExecutiveTest, RunsWhatWaitsInItsOrder)
{
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Queue(name);
    EXPECT_TRUE(m_executive.ProcessQueueStep());
    EXPECT_TRUE(m_executive.ProcessQueueStep());
    EXPECT_EQ(m_runner.m_served, (std::vector<std::wstring>{L"a.drq", L"b.drq"}));
    EXPECT_FALSE(m_requests.IsKnown(Queued(L"b.drq")));
    EXPECT_EQ(m_executive.Turns(), 2U);
}

TEST_F(ExecutiveTest, TheFirstStatusIsThatProcessingStarted)
{
    Queue(L"a.drq");
    m_runner.m_run = [this](auto&, bool&) {
        EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ProcessingStarted);
        EXPECT_EQ(Status(L"a.drq").comment, RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
        EXPECT_TRUE(m_requests.IsKnown(Queued(L"a.drq")));
        EXPECT_TRUE(m_executive.MayTakeLong());
        return true;
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_FALSE(m_executive.MayTakeLong());
}

TEST_F(ExecutiveTest, TellsEachRequestsWayWhenTheHostWantsIt)
{
    m_settings.m_options.tellStory = true;
    Queue(L"a.drq");
    m_runner.m_run = [this](CZelProcessorProgress& progress, bool&) {
        Write(m_settings.m_paths.Output(L"a.drq"), "12345");
        progress.SetPos(40);
        progress.SetStatusAndComment(eRequestStatus_Done, L"");
        return true;
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    std::vector<testsupport::SLogLine> lines = StoryLines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].text, L"Started: type Scripted");
    EXPECT_EQ(lines[0].request, L"a.drq");
    EXPECT_TRUE(lines[1].text.starts_with(L"Ended: Done after 0.")) << platform::ToUtf8(lines[1].text);
    EXPECT_TRUE(lines[1].text.ends_with(L" s, type Scripted, at 40 %, a response of 5 bytes"))
        << platform::ToUtf8(lines[1].text);
    EXPECT_EQ(lines[1].level, Brel::Log::eLogLevel_Info);
}

TEST_F(ExecutiveTest, TellsAFailureOnceWithItsReasonOnOneLine)
{
    m_settings.m_options.tellStory = true;
    Queue(L"a.drq");
    m_runner.m_run = [](CZelProcessorProgress& progress, bool&) {
        progress.SetStatusAndComment(eRequestStatus_ServerError, (L"no\nroom" + std::wstring(600, L'x')).c_str());
        return false;
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    const std::vector<testsupport::SLogLine> lines = StoryLines(); // a report beside them would fail the test
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].level, Brel::Log::eLogLevel_Error);
    EXPECT_TRUE(lines[1].text.ends_with(L": no room" + std::wstring(493, L'x') + L"..."))
        << platform::ToUtf8(lines[1].text);
}

TEST_F(ExecutiveTest, TellsOfATaskThatDeclinesOnceAndOfItsEnd)
{
    m_settings.m_options.tellStory = true;
    Queue(L"a.drq");
    int declined = 0;
    m_runner.m_run = [&declined](CZelProcessorProgress& progress, bool& retry) {
        retry = ++declined <= 50;
        progress.SetStatusAndComment(retry ? eRequestStatus_GettingData : eRequestStatus_Done, L"");
        return !retry;
    };
    for (int run = 0; run <= 50; ++run)
        EXPECT_TRUE(m_executive.ExecuteRequest());
    std::vector<std::wstring> texts;
    for (const testsupport::SLogLine& line : StoryLines())
        texts.push_back(line.text.substr(0, line.text.find(L' ')));
    EXPECT_EQ(texts, (std::vector<std::wstring>{L"Started:", L"Put", L"Ended:"}));
}

TEST_F(ExecutiveTest, WithoutTheStoryTheLogHasThePathEachTime)
{
    Queue(L"a.drq");
    m_runner.m_run = [](auto&, bool& retry) {
        retry = true;
        return false;
    };
    for (int run = 0; run < 3; ++run)
        EXPECT_TRUE(m_executive.ExecuteRequest());
    const std::vector<testsupport::SLogLine> lines = StoryLines();
    ASSERT_EQ(lines.size(), 3U);
    for (const testsupport::SLogLine& line : lines)
        EXPECT_EQ(line.text, Queued(L"a.drq"));
}

TEST_F(ExecutiveTest, NothingIsTakenOnceTheServerStops)
{
    Queue(L"a.drq");
    m_bRunning = false;
    EXPECT_FALSE(m_executive.ProcessQueueStep());
    EXPECT_TRUE(m_executive.ProcessQueue());
    EXPECT_TRUE(m_runner.m_served.empty());
    EXPECT_TRUE(m_requests.IsRequestInQueue(Queued(L"a.drq")));
}

TEST_F(ExecutiveTest, AStopEndsTheLoopAfterTheRequestThatRuns)
{
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Queue(name);
    m_runner.m_run = [this](auto&, bool&) {
        m_bRunning = false;
        return true;
    };
    EXPECT_TRUE(m_executive.ProcessQueue());
    EXPECT_EQ(m_runner.m_served, std::vector<std::wstring>{L"a.drq"});
    EXPECT_EQ(m_runner.m_finished, 1) << "whatever it runs requests in ends with the loop";
}

TEST_F(ExecutiveTest, TheTimeOfARunBeginsWhenTheRunnerIsReady)
{
    Queue(L"a.drq");
    bool wasReady = false;
    m_runner.m_getReady = [&] {
        EXPECT_TRUE(m_requests.Running().has_value());
        EXPECT_EQ(m_requests.Running()->start, 0ns);
        EXPECT_TRUE(m_executive.MayTakeLong());
        wasReady = true;
    };
    m_runner.m_run = [&](auto&, bool&) {
        EXPECT_TRUE(wasReady);
        EXPECT_GT(m_requests.Running()->start, 0ns);
        return true;
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_EQ(m_runner.m_served.size(), 1U);
}

TEST_F(ExecutiveTest, WithoutPermissionNothingIsTaken)
{
    const platform::CScopedOs os(nullptr, &m_clock);
    Queue(L"a.drq");
    m_runner.m_mayProceed = false;
    const std::chrono::nanoseconds start = m_clock.Steady();
    EXPECT_TRUE(m_executive.ProcessQueueStep());
    EXPECT_EQ(m_clock.Steady() - start, 200ms);
    EXPECT_TRUE(m_runner.m_served.empty());
    m_runner.m_mayProceed = true;
    EXPECT_TRUE(m_executive.ProcessQueueStep());
    EXPECT_EQ(m_runner.m_served.size(), 1U);
}

TEST_F(ExecutiveTest, TheStepThatWasGrantedEndsWhenNothingWaits)
{
    Queue(L"a.drq");
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_TRUE(m_runner.m_mayProceed);
    EXPECT_FALSE(m_executive.ExecuteRequest());
    EXPECT_FALSE(m_runner.m_mayProceed);
}

TEST_F(ExecutiveTest, WhatLeavesTheRunEndsItsRequestAlone)
{
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Queue(name);
    m_runner.m_run = [this](auto&, bool&) -> bool {
        if (m_runner.m_served.size() == 1)
            throw std::runtime_error("broken");
        return true;
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    m_host.ExpectBox(L"CZelProcessorServer::ExecuteRequest");
    EXPECT_FALSE(HasFile(L"a.drq"));
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"a.drq").comment, RootApp_RSC_CStr(101, "IDS_EXCEPTIONTHROW_DURING_PROCESSINGREQUEST"));
    EXPECT_FALSE(m_requests.IsKnown(Queued(L"a.drq")));
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_EQ(m_runner.m_served.back(), L"b.drq");
}

TEST_F(ExecutiveTest, WhatLeavesTheRunAfterTheRequestWasDoneTouchesNothingOfIt)
{
    Queue(L"a.drq");
    m_runner.m_run = [this](CZelProcessorProgress& progress, bool&) -> bool {
        progress.SetStatusAndComment(eRequestStatus_Done, L"done");
        m_runner.m_hasToldDone = true;
        throw std::runtime_error("broken");
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    m_host.ExpectBox(L"CZelProcessorServer::ExecuteRequest");
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Done);
    EXPECT_TRUE(HasFile(L"a.drq")) << "another request may have the name by now";
}

TEST_F(ExecutiveTest, ALastStatusThatCouldNotBeWrittenIsWrittenAtALaterStep)
{
    m_settings.m_options.patience = std::chrono::milliseconds(100);
    const platform::CScopedOs os(&m_files, &m_clock);
    Queue(L"a.drq");
    m_runner.m_run = [this](CZelProcessorProgress& progress, bool&) {
        m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"a.drq.status");
        progress.SetStatusAndComment(eRequestStatus_Done, L"done");
        return true;
    };
    EXPECT_TRUE(m_executive.ProcessQueueStep());
    m_files.StopFailing();
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ProcessingStarted);
    m_clock.Advance(1s);
    m_runner.m_mayProceed = false;
    EXPECT_TRUE(m_executive.ProcessQueueStep());
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Done);
    m_host.AcceptWarnings();
    static_cast<void>(m_host.TakeBoxes());
}

TEST_F(ExecutiveTest, ARunThatIsBegunAgainIsRecordedUntilItEndsAndSaysSo)
{
    m_settings.m_options = {.syncing = false, .resume = true};
    const std::wstring record = m_settings.m_paths.InOwnFolder(L"attempts") + platform::kPathSeparator + L"a.drq";
    Write(Queued(L"a.drq"));
    m_requests.Add({Queued(L"a.drq"), 0, {}, 1});
    const std::wstring said = FormatText(RootApp_RSC_CStr(151, "IDS_PROCESSING_AGAIN"), {L"1"});
    m_runner.m_run = [&](auto&, bool&) {
        EXPECT_EQ(Read(record), "2");
        EXPECT_EQ(Status(L"a.drq").comment, said);
        return true;
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_EQ(m_runner.m_served.size(), 1U);
    EXPECT_FALSE(platform::PathExists(record));
    m_host.ExpectLogLine(Queued(L"a.drq") + L": " + said);
    m_host.AcceptWarnings();
}

TEST_F(ExecutiveTest, ARunOfWhatHadEndedSaysSoAndIsNotRecorded)
{
    m_settings.m_options = {.syncing = false, .resume = true};
    Write(Queued(L"a.drq"));
    m_requests.Add({.m_strFile = Queued(L"a.drq"), .m_bTakenBack = true});
    const std::wstring said = RootApp_RSC_CStr(154, "IDS_ENDED_AGAIN");
    m_runner.m_run = [&](auto&, bool&) {
        EXPECT_EQ(Status(L"a.drq").comment, said);
        EXPECT_FALSE(platform::PathExists(m_settings.m_paths.InOwnFolder(L"attempts")));
        return true;
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_EQ(m_runner.m_served.size(), 1U);
    m_host.ExpectLogLine(Queued(L"a.drq") + L": " + said);
    m_host.AcceptWarnings();
}

TEST_F(ExecutiveTest, ARunThatCannotBeRecordedIsNotBegun)
{
    m_settings.m_options = {.syncing = false, .resume = true};
    Write(Queued(L"a.drq"));
    m_requests.Add({Queued(L"a.drq"), 0, {}, 1});
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_DiskFull, L"attempts");
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_TRUE(m_runner.m_served.empty());
    EXPECT_FALSE(HasFile(L"a.drq"));
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
    m_host.ExpectReport(312, L"Request " + Queued(L"a.drq") + L" failed\n" +
                                 platform::OsErrorText(platform::eOsError_DiskFull) + L".");
}

TEST_F(ExecutiveTest, AFailedRequestLeavesNoPartOfAResponseToAServerThatResumes)
{
    for (const bool resumes : {false, true}) {
        m_settings.m_options = {.syncing = false, .resume = resumes};
        Queue(L"a.drq");
        m_runner.m_run = [&](auto&, bool&) {
            Write(In(m_outputDir, L"a.drq"), "a part of the resp");
            return false;
        };
        EXPECT_TRUE(m_executive.ExecuteRequest());
        EXPECT_EQ(platform::PathExists(In(m_outputDir, L"a.drq")), !resumes);
        m_host.ExpectReport(312, L"Request " + Queued(L"a.drq") + L" failed");
    }
}

TEST_F(ExecutiveTest, TheRecordOfARunThatReachedItsLimitGoesWithItsEnd)
{
    m_settings.m_options = {.syncing = false, .resume = true};
    const CAttemptRecords records(m_settings);
    Queue(L"a.drq");
    m_runner.m_run = [&](CZelProcessorProgress& progress, bool&) {
        EXPECT_TRUE(m_requests.EndAtLimit(m_requests.Running()->number));
        m_requests.TellLimit(m_requests.Running()->number);
        EXPECT_EQ(records.ReachLimit(L"a.drq", {1, 2s}), platform::eOsError_None);
        progress.SetStatusAndComment(eRequestStatus_Canceled, L"");
        return false;
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    std::map<CString, SAttempts> left;
    EXPECT_EQ(records.ReadAll(left), platform::eOsError_None);
    EXPECT_TRUE(left.empty());
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
}

TEST_F(ExecutiveTest, ATaskThatDeclinesAloneIsAskedAFewTimesInASecond)
{
    m_requests.Clear(false, false, true);
    Queue(L"a.drq");
    const std::chrono::nanoseconds start = platform::Clock().Steady();
    m_runner.m_run = [&](auto&, bool& retry) {
        retry = platform::Clock().Steady() - start < 300ms;
        return !retry;
    };
    for (int step = 0; step < 1000 && m_requests.IsKnown(Queued(L"a.drq")); ++step)
        EXPECT_TRUE(m_executive.ProcessQueueStep());
    EXPECT_FALSE(m_requests.IsKnown(Queued(L"a.drq")));
    EXPECT_LE(m_runner.m_served.size(), 7U) << "after 0, 10, 30, 70, 150 and 310 ms";
    EXPECT_LE(m_executive.Turns(), 3 * m_runner.m_served.size()) << "nor is its pause spent in turns";
}

} // namespace
