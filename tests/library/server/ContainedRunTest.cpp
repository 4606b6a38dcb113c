#include "server/ContainedRun.h"
#include "framework/Services.h"
#include "server/EndedRequests.h"
#include "tests/library/server/RunFixture.h"

#include <stdexcept>

using namespace std::chrono_literals;

namespace {

class ContainedRunTest : public CRunFixture {
protected:
    void SetUp() override
    {
        CRunFixture::SetUp();
        m_run.SetRunner(&m_runner);
        Queue(L"a.drq");
        bool bLast = false;
        ASSERT_TRUE(m_requests.TakeRequest(m_item, bLast, [] {}));
    }
    /// False when something left the run.
    bool Run(bool bForce = false)
    {
        bool bException = false;
        const bool ran = m_run.Try_ExecuteRequest(m_item, m_statusFile, bForce, bException);
        EXPECT_NE(ran, bException);
        EXPECT_FALSE(m_bInTask);
        return ran;
    }
    void Decline(bool cancels = false)
    {
        m_runner.m_run = [this, cancels](auto&, bool& bRetry) {
            if (cancels) {
                EXPECT_TRUE(m_requests.CancelRunningRequest(m_item.m_strFile, true));
            }
            bRetry = true;
            return false;
        };
    }

    std::atomic<bool> m_bInTask = false;
    CEndedRequests m_ended{m_settings};
    CContainedRun m_run{m_settings, m_requests, m_ended, m_bInTask};
    CZelProcessorProgressStatusFile m_statusFile{L"ZelProcessor", m_settings.m_paths.Status(L"a.drq")};
    TSRequestItem m_item;
};

TEST_F(ContainedRunTest, ARequestThatIsDoneIsLeftAsItsRunLeftIt)
{
    m_runner.m_run = [this](CZelProcessorProgress& progress, bool&) {
        EXPECT_TRUE(m_bInTask);
        progress.SetStatusAndComment(eRequestStatus_Done, L"done");
        return true;
    };
    EXPECT_TRUE(Run());
    EXPECT_EQ(m_statusFile.GetStatusValue(), eRequestStatus_Done);
    EXPECT_TRUE(HasFile(L"a.drq")) << "who runs it removes its file";
}

TEST_F(ContainedRunTest, AFailureIsReportedAndToldWhenTheFileIsGone)
{
    m_runner.m_run = [this](CZelProcessorProgress& progress, bool&) {
        progress.SetStatusAndComment(eRequestStatus_ServerError, L"no data");
        EXPECT_NE(m_statusFile.GetStatusValue(), eRequestStatus_ServerError) << "the name is not free yet";
        return false;
    };
    EXPECT_TRUE(Run());
    m_host.ExpectReport(312, L"Request " + Queued(L"a.drq") + L" failed");
    EXPECT_FALSE(HasFile(L"a.drq"));
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"a.drq").comment, L"no data");
}

TEST_F(ContainedRunTest, AFailureOfARunThatGoesOnIsToldAtOnce)
{
    m_runner.m_run = [this](CZelProcessorProgress& progress, bool&) {
        progress.SetStatusAndComment(eRequestStatus_ServerError, L"half of it is missing");
        progress.SetPos(50);
        EXPECT_EQ(Status(L"a.drq").comment, L"half of it is missing");
        return true;
    };
    EXPECT_TRUE(Run());
}

TEST_F(ContainedRunTest, ACanceledRequestIsNotReported)
{
    m_runner.m_run = [this](CZelProcessorProgress& progress, bool&) {
        m_context.SetCanceled(true);
        progress.SetStatusAndComment(eRequestStatus_Canceled, L"canceled");
        return false;
    };
    EXPECT_TRUE(Run());
    EXPECT_FALSE(HasFile(L"a.drq"));
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Canceled);
}

TEST_F(ContainedRunTest, ADeclinedRequestWaitsAgain)
{
    const platform::CScopedOs os(nullptr, &m_clock);
    Decline();
    EXPECT_TRUE(Run());
    EXPECT_TRUE(m_requests.IsRequestInQueue(Queued(L"a.drq")));
    EXPECT_TRUE(HasFile(L"a.drq"));
    EXPECT_EQ(m_item.m_nRetries, 1);
    EXPECT_TRUE(Run());
    EXPECT_EQ(m_item.m_nRetries, 1) << "no second has passed";
    m_clock.Advance(1001ms);
    EXPECT_TRUE(Run());
    EXPECT_EQ(m_item.m_nRetries, 2);
}

TEST_F(ContainedRunTest, ADeclinedRequestHasNoStatusOfItsRunWhereAStartWouldTakeItForInterrupted)
{
    for (const bool resumes : {false, true}) {
        m_settings.m_options.resume = resumes;
        m_statusFile.SetStatusAndComment(eRequestStatus_GettingData, L"getting data");
        Decline();
        EXPECT_TRUE(Run());
        EXPECT_EQ(platform::PathExists(m_settings.m_paths.Status(L"a.drq")), !resumes);
    }
}

TEST_F(ContainedRunTest, OneThatIsCanceledThenIsNeverWithoutStatusAndFile)
{
    m_settings.m_options.resume = true;
    m_statusFile.SetStatusAndComment(eRequestStatus_GettingData, L"getting data");
    Decline(true);
    bool isGoing = false;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call != testsupport::eFileCall_Remove || call.path != Queued(L"a.drq"))
            return;
        platform::SFileAttributes attributes;
        isGoing = true;
        EXPECT_TRUE(platform::Succeeded(
            platform::SystemFiles().GetAttributes(m_settings.m_paths.Status(L"a.drq"), attributes)));
    });
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_settings.m_options.syncing = false;
        EXPECT_TRUE(Run());
    }
    EXPECT_TRUE(isGoing);
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Canceled);
}

TEST_F(ContainedRunTest, ForceIsForAnIdleServerAndForWhatWasDeclinedOften)
{
    const platform::CScopedOs os(nullptr, &m_clock);
    EXPECT_TRUE(Run(true));
    EXPECT_TRUE(Run(true));
    m_clock.Advance(5s);
    EXPECT_TRUE(Run(false));
    m_item.m_nRetries = 3;
    EXPECT_TRUE(Run(false));
    EXPECT_EQ(m_runner.m_forced, (std::vector<bool>{true, false, false, true}));
}

TEST_F(ContainedRunTest, ARequestThatIsCanceledWhileItsTaskDeclinesEnds)
{
    Decline(true);
    EXPECT_TRUE(Run());
    EXPECT_FALSE(m_requests.IsRequestInQueue(Queued(L"a.drq")));
    EXPECT_FALSE(HasFile(L"a.drq"));
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Canceled);
    EXPECT_EQ(Status(L"a.drq").comment, RootApp_RSC_CStr(102, "IDS_REQUEST_CANCELED"));
}

TEST_F(ContainedRunTest, AnExceptionIsContainedAndTheOperatorAskedForACrashReport)
{
    m_runner.m_run = [](auto&, bool&) -> bool { throw std::runtime_error("broken"); };
    EXPECT_FALSE(Run());
    const auto boxes = m_host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_TRUE(boxes.front().isQuestion);
    EXPECT_NE(boxes.front().text.find(L"CZelProcessorServer::ExecuteRequest"), std::wstring::npos);
    EXPECT_EQ(m_host.TakeCrashReports().size(), 1U);
    EXPECT_TRUE(HasFile(L"a.drq")) << "its end is the caller's";
    EXPECT_TRUE(m_host.TakeReports().empty());
}

TEST_F(ContainedRunTest, AnythingThatIsThrownIsContained)
{
    m_runner.m_run = [](auto&, bool&) -> bool { throw 42; };
    EXPECT_FALSE(Run());
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U);
    m_runner.m_run = [](auto&, bool&) { return true; };
    EXPECT_TRUE(Run()) << "the next one runs as ever";
}

TEST_F(ContainedRunTest, TheEndOfAnotherProcessIsNoCrashOfThisOne)
{
    m_runner.m_run = [](auto&, bool&) -> bool { throw std::runtime_error("gone"); };
    m_runner.m_lostBy = L"the reason";
    EXPECT_FALSE(Run());
    EXPECT_EQ(m_run.LastFault(), L"the reason");
    EXPECT_TRUE(m_host.TakeBoxes().empty()) << "nobody is asked";
    EXPECT_TRUE(m_host.TakeCrashReports().empty());
}

TEST_F(ContainedRunTest, TheOperatorsNoWritesNoCrashReport)
{
    m_host.AnswerQuestions(eMessageAnswer_No);
    m_runner.m_run = [](auto&, bool&) -> bool { throw 42; };
    EXPECT_FALSE(Run());
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U);
    EXPECT_TRUE(m_host.TakeCrashReports().empty());
}

TEST_F(ContainedRunTest, AFailedRequestThatSomebodyHoldsIsNamedAfterASecond)
{
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation, Queued(L"a.drq"));
    const platform::CScopedOs os(&m_files, &m_clock);
    const std::chrono::nanoseconds start = m_clock.Steady();
    m_run.RefuseRequest(m_item, L"why", [] {});
    EXPECT_EQ(m_clock.Steady() - start, 1s);
    m_host.ExpectReport(312, L"Request " + Queued(L"a.drq") + L" failed\nwhy");
    m_host.ExpectLogLine(L"Unable to delete the failed request " + Queued(L"a.drq"));
}

TEST_F(ContainedRunTest, OneThatItsLimitHasEndedSaysSoWhateverItsTaskMakesOfThat)
{
    m_item.m_timeLimit = 1500ms;
    const CString said = FormatText(RootApp_RSC_CStr(156, "IDS_TIME_LIMIT"), {L"1.5"});
    const auto endsWith = [&](eZelProcRequestStatus status, const CString& comment, bool retry) {
        Queue(L"a.drq");
        bool bLast = false;
        TSRequestItem item;
        EXPECT_TRUE(m_requests.TakeRequest(item, bLast, [] {}));
        m_runner.m_run = [&, retry](CZelProcessorProgress& progress, bool& bRetry) {
            EXPECT_TRUE(m_requests.EndAtLimit(m_requests.Running()->number));
            progress.SetStatusAndComment(status, comment.c_str());
            bRetry = retry;
            return false;
        };
        EXPECT_TRUE(Run());
        EXPECT_FALSE(HasFile(L"a.drq") || m_requests.IsRequestInQueue(Queued(L"a.drq")));
        EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
        return Status(L"a.drq").comment;
    };
    EXPECT_EQ(endsWith(eRequestStatus_Canceled, L"canceled", false), said);
    EXPECT_EQ(endsWith(eRequestStatus_GettingData, L"declined", true), said);
    EXPECT_EQ(
        endsWith(eRequestStatus_ServerError, RootApp_RSC_CStr(111, "IDS_SERVER_ERROR_CAN_NOT_OBTAIN_DATA"), false),
        said);
    EXPECT_EQ(endsWith(eRequestStatus_ServerError, L"no more rows", false), said + L"\nno more rows");
}

TEST_F(ContainedRunTest, OneThatIsDoneAllTheSameOrWasCancelledByAClientEndsAsEver)
{
    for (const bool done : {true, false}) {
        const eZelProcRequestStatus end = done ? eRequestStatus_Done : eRequestStatus_Canceled;
        m_runner.m_run = [&](CZelProcessorProgress& progress, bool&) {
            EXPECT_TRUE(m_requests.EndAtLimit(m_requests.Running()->number));
            if (!done) {
                EXPECT_TRUE(m_requests.CancelRunningRequest(m_item.m_strFile, true));
            }
            progress.SetStatusAndComment(end, L"ended");
            return done;
        };
        EXPECT_TRUE(Run());
        EXPECT_EQ(Status(L"a.drq").status, end);
        EXPECT_EQ(Status(L"a.drq").comment, L"ended");
    }
}

} // namespace
