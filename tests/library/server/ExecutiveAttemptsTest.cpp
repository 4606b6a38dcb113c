#include "framework/Services.h"
#include "server/Executive.h"
#include "server/RequestStatuses.h"
#include "tests/library/server/RunFixture.h"

#include <stdexcept>

using namespace std::chrono_literals;

namespace {

/// A request that may be run several times, and a clock that only the test moves.
class ExecutiveAttemptsTest : public CRunFixture {
protected:
    ExecutiveAttemptsTest() { m_executive.SetRunner(&m_runner); }

    void QueueOf(int attempts, std::chrono::milliseconds limit = 0ms)
    {
        m_settings.m_options.tellStory = true;
        Write(Queued(L"a.drq"));
        m_requests.Add(
            {.m_strFile = Queued(L"a.drq"), .m_timeLimit = limit, .m_nMaxRuns = static_cast<std::uint8_t>(attempts)});
    }
    /// What a client sees while it waits: nothing of the run that failed.
    void ExpectWaiting()
    {
        EXPECT_TRUE(HasFile(L"a.drq") && m_requests.IsRequestInQueue(Queued(L"a.drq")));
        EXPECT_FALSE(platform::PathExists(m_settings.m_paths.Status(L"a.drq")));
        EXPECT_FALSE(platform::PathExists(m_settings.m_paths.Output(L"a.drq")));
    }
    [[nodiscard]] CString Attempt(int number, int of) const
    {
        return FormatText(RootApp_RSC_CStr(157, "IDS_PROCESSING_ATTEMPT"),
                          {std::to_wstring(number), std::to_wstring(of)});
    }

    /// What an operator reads.
    std::vector<testsupport::SLogLine> StoryLines()
    {
        std::vector<testsupport::SLogLine> lines = m_host.TakeLogLines();
        std::erase_if(lines, [](const auto& line) { return line.level < Brel::Log::eLogLevel_Info; });
        return lines;
    }

    CRequestStatuses m_statuses{m_settings, m_requests};
    CExecutive m_executive{m_settings, m_requests, m_statuses, m_bRunning};
    testsupport::CManualClock m_still{0ms};
    const platform::CScopedOs m_os{nullptr, &m_still};
};

TEST_F(ExecutiveAttemptsTest, ATaskThatCrashesIsRunUntilItsLastAttemptAfterPausesThatGrow)
{
    constexpr int kAttempts = 9;
    QueueOf(kAttempts);
    int run = 0;
    m_runner.m_run = [&](auto&, bool&) -> bool {
        EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ProcessingStarted);
        EXPECT_EQ(Status(L"a.drq").comment, Attempt(++run, kAttempts));
        Write(m_settings.m_paths.Output(L"a.drq"), "a part of the resp");
        throw std::runtime_error("broken");
    };
    for (const auto pause : {1s, 2s, 4s, 8s, 16s, 32s, 60s, 60s}) {
        EXPECT_TRUE(m_executive.ExecuteRequest());
        ExpectWaiting();
        m_host.ExpectLogLine(L"; the next one begins in " + std::to_wstring(pause.count()) + L" s");
        m_still.Advance(pause - 1ns);
        EXPECT_FALSE(m_executive.ExecuteRequest());
        m_still.Advance(1ns);
    }
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_EQ(run, kAttempts);
    EXPECT_FALSE(HasFile(L"a.drq"));
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"a.drq").comment, RootApp_RSC_CStr(101, "IDS_EXCEPTIONTHROW_DURING_PROCESSINGREQUEST"));
    EXPECT_EQ(m_host.TakeBoxes().size(), static_cast<std::size_t>(kAttempts)) << "a crash report of each";
    m_host.AcceptWarnings();
}

TEST_F(ExecutiveAttemptsTest, OneThatReachesItsLimitIsRunAgainAndDoneWhenThatSucceeds)
{
    QueueOf(3, 2s);
    m_runner.m_run = [&](CZelProcessorProgress& progress, bool&) {
        const bool isSlow = m_runner.m_served.size() == 1;
        if (isSlow) {
            EXPECT_TRUE(m_requests.EndAtLimit(m_requests.Running()->number));
            m_requests.TellLimit(m_requests.Running()->number);
        }
        progress.SetStatusAndComment(isSlow ? eRequestStatus_Canceled : eRequestStatus_Done, L"");
        return !isSlow;
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    ExpectWaiting();
    m_host.ExpectLogLine(L"attempt 1 of 3 has failed, for it ran longer than its limit; the next one begins in 1 s");
    m_still.Advance(1s);
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Done);
    std::vector<std::wstring> texts;
    for (const testsupport::SLogLine& line : StoryLines()) {
        if (line.level == Brel::Log::eLogLevel_Info)
            texts.push_back(line.text.substr(0, line.text.find(L' ')));
    }
    EXPECT_EQ(texts, (std::vector<std::wstring>{L"Started:", L"Started:", L"Ended:"}));
}

TEST_F(ExecutiveAttemptsTest, AServerThatResumesWritesDownHowManyHaveFailed)
{
    m_settings.m_options.resume = true;
    m_settings.m_options.syncing = false;
    m_settings.m_options.tellReasons = true;
    QueueOf(2);
    const CAttemptRecords records(m_settings);
    const auto all = [&] {
        std::map<CString, SAttempts> attempts;
        EXPECT_EQ(records.ReadAll(attempts), platform::eOsError_None);
        return attempts;
    };
    m_runner.m_run = [](auto&, bool&) -> bool { throw std::runtime_error("broken"); };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_EQ(all(), (std::map<CString, SAttempts>{{L"a.drq", {.runs = 0, .failed = 1}}}));
    m_still.Advance(1s);
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_TRUE(all().empty());
    EXPECT_TRUE(
        Status(L"a.drq").comment.ends_with(FormatText(RootApp_RSC_CStr(158, "IDS_ATTEMPT_FAILED"), {L"2", L"2"})));
    EXPECT_EQ(m_host.TakeBoxes().size(), 2U);
    m_host.AcceptWarnings();
}

TEST_F(ExecutiveAttemptsTest, WhatEndsInAnotherWayIsNotRunAgain)
{
    for (const bool done : {true, false}) {
        QueueOf(3);
        m_runner.m_run = [&](CZelProcessorProgress& progress, bool&) {
            progress.SetStatusAndComment(done ? eRequestStatus_Done : eRequestStatus_ServerError, L"");
            return done;
        };
        EXPECT_TRUE(m_executive.ExecuteRequest());
        EXPECT_FALSE(m_requests.IsKnown(Queued(L"a.drq")));
        EXPECT_EQ(Status(L"a.drq").status, done ? eRequestStatus_Done : eRequestStatus_ServerError);
        EXPECT_TRUE(StoryLines().back().text.starts_with(L"Ended: "));
    }
    QueueOf(3);
    m_runner.m_run = [&](auto&, bool&) -> bool {
        m_runner.m_hasToldDone = true;
        throw std::runtime_error("broken");
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_FALSE(m_requests.IsKnown(Queued(L"a.drq"))) << "its client has the response";
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U);
}

TEST_F(ExecutiveAttemptsTest, WhoCancelsOneThatCrashesHasCancelledItsFurtherAttempts)
{
    QueueOf(3);
    m_runner.m_run = [&](auto&, bool&) -> bool {
        EXPECT_TRUE(m_requests.CancelRunningRequest(Queued(L"a.drq"), true));
        throw std::runtime_error("broken");
    };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_FALSE(m_requests.IsKnown(Queued(L"a.drq")) || HasFile(L"a.drq"));
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
    EXPECT_TRUE(StoryLines().back().text.starts_with(L"Ended: ServerError"));
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U);
}

} // namespace
