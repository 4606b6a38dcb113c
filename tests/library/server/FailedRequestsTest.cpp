#include "server/FailedRequests.h"

#include "server/EndedRequests.h"
#include "server/Executive.h"
#include "server/RequestStatuses.h"
#include "tests/library/server/RunFixture.h"
#include "tests/support/Links.h"

#include <stdexcept>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::hours kKeepFailed = 24h * 3;

class FailedRequestsTest : public CRunFixture {
protected:
    FailedRequestsTest()
    {
        m_settings.m_options.keepFailed = kKeepFailed;
        m_settings.m_options.tellReasons = true;
        m_settings.m_options.tellStory = true;
        m_executive.SetRunner(&m_runner);
    }
    [[nodiscard]] std::wstring Kept(const std::wstring& name) const
    {
        return platform::JoinPath(FailedRecord::FolderIn(m_outputDir), name);
    }
    [[nodiscard]] bool IsKept(const std::wstring& name) const { return platform::PathExists(Kept(name)); }
    [[nodiscard]] SFailedRecord Record(const std::wstring& name) const
    {
        SFailedRecord record;
        EXPECT_TRUE(FailedRecord::Read(FailedRecord::PathOf(Kept(name)), record));
        return record;
    }
    [[nodiscard]] bool HasTraces(const std::wstring& name) const
    {
        return platform::PathExists(Kept(name + L".new")) || platform::PathExists(Kept(name + L".failed")) ||
               IsKept(name);
    }
    void Fail(const wchar_t* reason)
    {
        m_runner.m_run = [reason](CZelProcessorProgress& progress, bool&) {
            progress.SetStatusAndComment(eRequestStatus_ServerError, reason);
            return false;
        };
    }
    void Run(const std::wstring& name)
    {
        Queue(name);
        EXPECT_TRUE(m_executive.ExecuteRequest());
        EXPECT_FALSE(HasFile(name));
        m_host.AcceptWarnings();
    }
    /// As it is while a server is killed between the two steps.
    void Begin(const std::wstring& name, const SFailedRecord& record = {.when = 5, .reason = L"why"})
    {
        Write(Queued(name));
        EXPECT_TRUE(m_failed.Begin({Queued(name)}, record));
    }
    /// Kept, as if it had failed so long ago.
    void Keep(const std::wstring& name)
    {
        Begin(name);
        EXPECT_EQ(m_failed.Take(Queued(name)), platform::eOsError_None);
    }

    CRequestStatuses m_statuses{m_settings, m_requests};
    CExecutive m_executive{m_settings, m_requests, m_statuses, m_bRunning};
    CFailedRequests m_failed{m_settings};
};

TEST_F(FailedRequestsTest, OneThatFailsIsKeptWithItsReasonAndEndsForItsClientAsAny)
{
    for (const bool resume : {false, true}) {
        m_settings.m_options.resume = resume;
        Fail(L"no such table");
        Run(L"a.drq");
        EXPECT_TRUE(IsKept(L"a.drq"));
        const SFailedRecord record = Record(L"a.drq");
        EXPECT_EQ(record.reason, L"no such table");
        EXPECT_EQ(record.attempts, 1U);
        EXPECT_TRUE(record.crashReport.empty());
        EXPECT_LE(std::abs(record.when - platform::Clock().UtcSeconds()), 60);
        EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
        EXPECT_EQ(Status(L"a.drq").comment, L"no such table");
        EXPECT_FALSE(platform::PathExists(Kept(L"a.drq.new")));
    }
}

TEST_F(FailedRequestsTest, ANameThatFailsAgainIsKeptOnce)
{
    Fail(L"first");
    Run(L"a.drq");
    Fail(L"second");
    Run(L"a.drq");
    EXPECT_EQ(Record(L"a.drq").reason, L"second");
    EXPECT_EQ(FilesIn(FailedRecord::FolderIn(m_outputDir)).size(), 2U);
}

TEST_F(FailedRequestsTest, OneThatCrashesIsKeptAndTellsWhichAttemptItWas)
{
    Write(Queued(L"a.drq"));
    m_requests.Add({.m_strFile = Queued(L"a.drq"), .m_nMaxRuns = 3, .m_nFailedRuns = 2});
    m_runner.m_run = [](auto&, bool&) -> bool { throw std::runtime_error("broken"); };
    EXPECT_TRUE(m_executive.ExecuteRequest());
    m_host.AcceptWarnings();
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U);
    const SFailedRecord record = Record(L"a.drq");
    EXPECT_EQ(record.attempt, 3U);
    EXPECT_EQ(record.attempts, 3U);
    EXPECT_NE(record.reason.find(L"broken"), std::wstring::npos);
    EXPECT_TRUE(record.reason.ends_with(FormatText(RootApp_RSC_CStr(158, "IDS_ATTEMPT_FAILED"), {L"3", L"3"})))
        << "and so does the client read";
    EXPECT_EQ(Status(L"a.drq").comment, record.reason);
}

TEST_F(FailedRequestsTest, WhatIsDoneCancelledOrNotWantedIsNotKept)
{
    m_runner.m_run = [](auto&, bool&) { return true; };
    Queue(L"done.drq");
    EXPECT_TRUE(m_executive.ExecuteRequest());
    m_runner.m_run = [this](CZelProcessorProgress& progress, bool&) {
        EXPECT_TRUE(m_requests.CancelRunningRequest(Queued(L"c.drq"), true));
        progress.SetStatusAndComment(eRequestStatus_ServerError, L"it was cancelled");
        return false;
    };
    Run(L"c.drq");
    m_runner.m_run = [](CZelProcessorProgress& progress, bool&) {
        progress.SetStatusAndComment(eRequestStatus_Canceled, L"cancelled");
        return false;
    };
    Run(L"d.drq");
    m_settings.m_options.keepFailed = 0s;
    Fail(L"why");
    Run(L"e.drq");
    EXPECT_FALSE(platform::PathExists(FailedRecord::FolderIn(m_outputDir)));
}

TEST_F(FailedRequestsTest, WhatIsNoRequestByItsNameIsNotKeptForItCouldBeTakenForARecord)
{
    Fail(L"why");
    Run(L"a.drq.failed");
    EXPECT_FALSE(HasTraces(L"a.drq"));
}

TEST_F(FailedRequestsTest, AFolderThatSomebodyPutThereIsNotWrittenInto)
{
    const std::wstring elsewhere = m_dir / L"elsewhere";
    ASSERT_EQ(platform::Files().MakeDirectory(elsewhere), platform::eOsError_None);
    ASSERT_EQ(platform::Files().MakeDirectory(m_settings.m_paths.InOwnFolder({})), platform::eOsError_None);
    if (!testsupport::MakeLink(elsewhere, FailedRecord::FolderIn(m_outputDir)))
        GTEST_SKIP() << "there are no links";
    Fail(L"why");
    Run(L"a.drq");
    EXPECT_TRUE(FilesIn(elsewhere).empty());
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError) << "it ends as any";
}

TEST_F(FailedRequestsTest, OneThatCannotBeKeptEndsAsAny)
{
    Fail(L"why");
    Queue(L"a.drq");
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_DiskFull, Queued(L"a.drq"));
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_FALSE(HasFile(L"a.drq"));
    EXPECT_FALSE(HasTraces(L"a.drq"));
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
    m_host.ExpectLogLine(L"cannot be kept: " + platform::OsErrorText(platform::eOsError_DiskFull));
    m_host.AcceptWarnings();
}

TEST_F(FailedRequestsTest, WhereEndsAreSyncedItWaitsForThatOfItsStatus)
{
    m_settings.m_options.resume = true;
    m_settings.m_options.syncing = true;
    Fail(L"why");
    Queue(L"a.drq");
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Sync, platform::eOsError_TooManyOpenFiles, L"a.drq.status");
    EXPECT_TRUE(m_executive.ExecuteRequest());
    EXPECT_FALSE(IsKept(L"a.drq")) << "a power cut could undo its end";
    EXPECT_TRUE(m_failed.IsBegun(L"a.drq"));
    m_files.StopFailing();
    CEndedRequests next(m_settings); // of a server after a kill
    ASSERT_EQ(next.TakeOver(), platform::eOsError_None);
    m_failed.TakeOver();
    next.Flush();
    EXPECT_EQ(Record(L"a.drq").reason, L"why");
    EXPECT_TRUE(IsKept(L"a.drq"));
    m_host.AcceptWarnings();
    m_host.ExpectReport(318, L"Responses may not survive a power cut");
}

TEST_F(FailedRequestsTest, AStartFinishesWhatAKillHasLeft)
{
    Begin(L"runs.drq");
    Begin(L"gone.drq");
    Begin(L"moved.drq", {.when = 7, .reason = L"moved"});
    ASSERT_EQ(platform::Files().Remove(Queued(L"gone.drq")), platform::eOsError_None);
    ASSERT_EQ(platform::Files().Move(Queued(L"moved.drq"), Kept(L"moved.drq"), platform::eMoveFlag_None),
              platform::eOsError_None);
    Write(Kept(L"old.drq.old"));
    m_failed.TakeOver();
    EXPECT_FALSE(HasTraces(L"runs.drq")) << "it runs again";
    EXPECT_FALSE(HasTraces(L"gone.drq"));
    EXPECT_EQ(Record(L"moved.drq").reason, L"moved");
    EXPECT_FALSE(platform::PathExists(Kept(L"old.drq.old")));
}

TEST_F(FailedRequestsTest, TheyAreRemovedWhenTheirTimeIsOver)
{
    Keep(L"a.drq");
    const auto goOn = [] { return true; };
    const std::int64_t now = platform::Clock().UtcSeconds();
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    clock.SetUtcSeconds(now + std::chrono::seconds(kKeepFailed).count() - 60);
    m_failed.RemoveOld(goOn);
    EXPECT_TRUE(IsKept(L"a.drq"));
    clock.SetUtcSeconds(now + std::chrono::seconds(kKeepFailed).count() + 60);
    m_failed.RemoveOld([] { return false; });
    EXPECT_TRUE(IsKept(L"a.drq")) << "the server stops";
    Begin(L"a.drq"); // fails again just now
    m_failed.RemoveOld(goOn);
    EXPECT_TRUE(IsKept(L"a.drq"));
    m_failed.Forget(L"a.drq");
    m_failed.RemoveOld(goOn);
    EXPECT_FALSE(HasTraces(L"a.drq"));
    m_host.ExpectLogLine(L"Failed requests that were kept and are removed now: 1");
}

TEST_F(FailedRequestsTest, OfTooManyTheOldestGo)
{
    Keep(L"first.drq");
    const std::size_t most = CFailedRequests::kMost + CFailedRequests::kSlack;
    for (std::size_t number = 1; number <= most; ++number)
        Keep(std::to_wstring(number) + L".drq");
    EXPECT_FALSE(HasTraces(L"first.drq"));
    EXPECT_TRUE(IsKept(std::to_wstring(most) + L".drq"));
    EXPECT_LE(FilesIn(FailedRecord::FolderIn(m_outputDir)).size(), 2 * most);
}

} // namespace
