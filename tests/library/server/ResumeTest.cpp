#include "server/Resume.h"
#include "tests/library/server/ResumeFixture.h"

#include <tuple>

using namespace std::chrono_literals;

TEST_F(ResumeTest, AnEmptyDirectoryGivesAnEmptyQueue)
{
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_TRUE(TakeAll().empty());
}

TEST_F(ResumeTest, WhatWaitedWaitsInTheOrderInWhichItCameBehindWhatRan)
{
    for (const wchar_t* name : {L"c.drq", L"a.xml", L"d.drq", L"b.drq"})
        Arrive(name);
    WriteStatus(L"b.drq", eRequestStatus_GettingData);
    Resume(L"3 waiting, 1 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    std::vector<unsigned> attempts;
    EXPECT_EQ(TakeAll(&attempts), (std::vector<std::wstring>{L"b.drq", L"c.drq", L"a.xml", L"d.drq"}));
    EXPECT_EQ(attempts, (std::vector<unsigned>{1, 0, 0, 0}));
}

TEST_F(ResumeTest, TwentyThousandRequestsWaitAgain)
{
    constexpr std::size_t kRequests = 20'000;
    const auto name = [](std::size_t number) { return std::to_wstring(100'000 + number) + L".drq"; };
    for (std::size_t number = 0; number < kRequests; ++number)
        ASSERT_EQ(platform::WriteWholeFile(Queued(name(number)), {}), platform::eOsError_None);
    Resume(L"20000 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    const std::vector<std::wstring> names = TakeAll();
    ASSERT_EQ(names.size(), kRequests);
    for (std::size_t number = 0; number < kRequests; ++number)
        ASSERT_EQ(names[number], name(number)) << "in the order in which they came, and by name within one tick";
}

TEST_F(ResumeTest, APausedRequestIsPausedAgain)
{
    Arrive(L"a.drq");
    WriteStatus(L"a.drq", eRequestStatus_Paused);
    Resume(L"0 waiting, 0 interrupted, 1 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_TRUE(IsPaused(L"a.drq"));
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Paused);
}

TEST_F(ResumeTest, AnEndWaitsForItsClientAndTheFileBesideItIsKeptForPeople)
{
    for (const auto status : {eRequestStatus_Done, eRequestStatus_ServerError, eRequestStatus_Canceled}) {
        Arrive(L"a.drq");
        Write(Output(L"a.drq"), "response");
        WriteStatus(L"a.drq", status);
        Resume(L"0 waiting, 0 interrupted, 0 paused, 1 answered, 0 clients, 1 moved aside");
        EXPECT_FALSE(HasFile(L"a.drq"));
        m_host.ExpectLogLine(L"for its end is told: " + Queued(L"a.drq"));
        EXPECT_EQ(Read(Output(L"a.drq")), "response");
        EXPECT_EQ(Status(L"a.drq").status, status);
        EXPECT_TRUE(TakeAll().empty());
    }
    EXPECT_EQ(FilesIn(Lost({})).size(), 3U);
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, AnEndThatIsOlderThanTheFileIsThatOfAnotherRequest)
{
    WriteStatus(L"a.drq", eRequestStatus_ServerError);
    platform::SFileAttributes status;
    ASSERT_TRUE(platform::Succeeded(platform::Files().GetAttributes(m_settings.m_paths.Status(L"a.drq"), status)));
    m_lastArrival = status.times.modified;
    Arrive(L"a.drq");
    Resume(L"1 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_EQ(TakeAll(), std::vector<std::wstring>{L"a.drq"});
}

TEST_F(ResumeTest, AnEndThatWasNotToldFollowsFromTheResponse)
{
    WriteStatus(L"done.drq", eRequestStatus_PreparingResponse);
    Write(Output(L"done.drq"), "response");
    Write(Output(L"untold.drq"), "response");
    Write(m_settings.m_paths.Status(L"torn.drq"), "");
    Write(Output(L"torn.drq"), "response");
    WriteStatus(L"failed.drq", eRequestStatus_GettingData);
    Resume(L"0 waiting, 0 interrupted, 0 paused, 4 answered, 0 clients, 0 moved aside");
    for (const wchar_t* name : {L"done.drq", L"untold.drq", L"torn.drq"})
        EXPECT_EQ(Status(name).status, eRequestStatus_Done);
    EXPECT_EQ(Status(L"failed.drq").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"failed.drq").comment, RootApp_RSC_CStr(152, "IDS_END_LOST"));
}

TEST_F(ResumeTest, AnEndThatItsClientTakesDuringTheStartIsNotToldAgain)
{
    WriteStatus(L"status.drq", eRequestStatus_Done);
    Write(Output(L"response.drq"), "response");
    int taken = 0;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && call.path == m_settings.m_paths.Status(L"status.drq"))
            taken += platform::Succeeded(platform::SystemFiles().Remove(call.path));
        else if (call.call == testsupport::eFileCall_List && call.path == m_settings.m_paths.m_strQueueDir)
            taken += platform::Succeeded(platform::SystemFiles().Remove(Output(L"response.drq")));
    });
    const platform::CScopedOs os(&m_files, nullptr);
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    for (const wchar_t* name : {L"status.drq", L"response.drq"})
        EXPECT_FALSE(HasStatus(name));
    EXPECT_EQ(taken, 2);
    m_files.OnCall({});
}

TEST_F(ResumeTest, ARequestWhoseWayIntoTheQueueWasUndoneLooksAsIfItWaited)
{
    Send(L"a.drq");
    WriteStatus(L"a.drq", eRequestStatus_ProcessingStarted);
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_FALSE(HasStatus(L"a.drq"));
    EXPECT_TRUE(platform::PathExists(Sent(L"a.drq")));
}

TEST_F(ResumeTest, AnUnreadableStatusBesideAQueuedFileMeansThatItRan)
{
    Arrive(L"a.drq");
    Write(m_settings.m_paths.Status(L"a.drq"), "");
    Resume(L"0 waiting, 1 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_EQ(TakeAll(), std::vector<std::wstring>{L"a.drq"});
}

TEST_F(ResumeTest, WhatAnInterruptedRunHadWrittenGoes)
{
    Arrive(L"a.drq");
    WriteStatus(L"a.drq", eRequestStatus_PreparingResponse);
    Write(Output(L"a.drq"), "a part of the resp");
    Resume(L"0 waiting, 1 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_FALSE(platform::PathExists(Output(L"a.drq")));
    EXPECT_EQ(TakeAll(), std::vector<std::wstring>{L"a.drq"});
}

TEST_F(ResumeTest, InterruptedRequestsFailWhenTheHostWantsThat)
{
    m_settings.m_options.interrupted = eInterrupted_Fail;
    Arrive(L"ran.drq");
    WriteStatus(L"ran.drq", eRequestStatus_PreparingResponse);
    Write(Output(L"ran.drq"), "a part of the resp");
    Arrive(L"marked.drq");
    WriteRecord(L"marked.drq", "1");
    Arrive(L"waits.drq");
    Resume(L"1 waiting, 2 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    for (const wchar_t* name : {L"ran.drq", L"marked.drq"}) {
        EXPECT_EQ(Status(name).status, eRequestStatus_ServerError);
        EXPECT_EQ(Status(name).comment, FormatText(RootApp_RSC_CStr(150, "IDS_REQUEST_INTERRUPTED"), {L"1"}));
        EXPECT_FALSE(HasFile(name));
    }
    EXPECT_FALSE(platform::PathExists(Output(L"ran.drq")));
    EXPECT_FALSE(platform::PathExists(Record(L"marked.drq")));
    EXPECT_EQ(TakeAll(), std::vector<std::wstring>{L"waits.drq"});
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, OneThatFailsHasAStatusBeforeItsFileGoes)
{
    m_settings.m_options.interrupted = eInterrupted_Fail;
    Arrive(L"marked.drq");
    WriteRecord(L"marked.drq", "1");
    bool isGoing = false;
    bool isKnown = false;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call != testsupport::eFileCall_Remove || call.path != Queued(L"marked.drq"))
            return;
        platform::SFileAttributes attributes;
        isGoing = true;
        isKnown = platform::Succeeded(
            platform::SystemFiles().GetAttributes(m_settings.m_paths.Status(L"marked.drq"), attributes));
    });
    const platform::CScopedOs os(&m_files, nullptr);
    Resume(L"0 waiting, 1 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_TRUE(isGoing);
    EXPECT_TRUE(isKnown) << "without status and file its name looks unknown";
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, ARequestThatEndedAsManyServersAsMayEndFails)
{
    m_settings.m_options.attempts = 3;
    for (const char* begun : {"2", "3"}) {
        Arrive(L"a.drq");
        WriteStatus(L"a.drq", eRequestStatus_GettingData);
        WriteRecord(L"a.drq", begun);
        Resume(L"0 waiting, 1 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
        std::vector<unsigned> attempts;
        const bool isLast = *begun == '3';
        EXPECT_EQ(TakeAll(&attempts).size(), isLast ? 0U : 1U);
        EXPECT_EQ(HasFile(L"a.drq"), !isLast);
        if (isLast) {
            EXPECT_EQ(Status(L"a.drq").comment, FormatText(RootApp_RSC_CStr(150, "IDS_REQUEST_INTERRUPTED"), {L"3"}));
        } else {
            EXPECT_EQ(attempts, std::vector<unsigned>{2});
        }
    }
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, OneThatWaitsForItsNextAttemptHasNoMoreOfThemThanBefore)
{
    m_settings.m_options.requestAttributes = true;
    for (const auto& [record, told, failed] : {std::tuple("0 failed 1", L"1 waiting, 0 interrupted", 1),
                                               std::tuple("0 failed 9", L"1 waiting, 0 interrupted", 2),
                                               std::tuple("1 failed 2", L"0 waiting, 1 interrupted", 2)}) {
        Write(Queued(L"a.drq"), "<Request Attempts='3'/>");
        WriteRecord(L"a.drq", record);
        Resume(told + std::wstring(L", 0 paused, 0 answered, 0 clients, 0 moved aside"));
        TSRequestItem item;
        bool isLast = false;
        ASSERT_TRUE(m_requests.TakeRequest(item, isLast, [] {}));
        EXPECT_EQ(item.m_nFailedRuns, failed);
        EXPECT_EQ(item.m_nMaxRuns, 3);
    }
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, TheRecordOfARequestThatIsGoneGoes)
{
    WriteRecord(L"gone.drq", "2");
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_FALSE(platform::PathExists(Record(L"gone.drq")));
}

TEST_F(ResumeTest, AnInterruptedRequestWhosePartOfAResponseStaysIsNotTakenForDone)
{
    m_settings.m_options.interrupted = eInterrupted_Fail;
    Arrive(L"a.drq");
    WriteStatus(L"a.drq", eRequestStatus_PreparingResponse);
    Write(Output(L"a.drq"), "a part of the resp");
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_IoError, Output(L"a.drq"));
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Remove && call.path == Queued(L"a.drq")) {
            EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
        }
    });
    {
        const platform::CScopedOs os(&m_files, nullptr);
        Resume(L"0 waiting, 1 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    }
    EXPECT_FALSE(HasFile(L"a.drq"));
    Resume(L"0 waiting, 0 interrupted, 0 paused, 1 answered, 0 clients, 0 moved aside");
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, WhatCannotBeExplainedIsMovedAsideAndNamed)
{
    Write(Output(L"notes.txt"), "somebody's");
    Write(Output(L"x.tmp.status"), "no status");
    Write(Queued(L"other.txt"), "third");
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 3 moved aside");
    EXPECT_EQ(Read(Lost(L"notes.txt")), "somebody's");
    EXPECT_EQ(Read(Lost(L"x.tmp.status")), "no status");
    EXPECT_EQ(Read(Lost(L"other.txt")), "third");
    for (const std::wstring& path : {Output(L"notes.txt"), Output(L"x.tmp.status"), Queued(L"other.txt")})
        m_host.ExpectLogLine(path);
    Write(Output(L"notes.txt"), "another");
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 1 moved aside");
    EXPECT_EQ(Read(Lost(L"notes.txt")), "somebody's");
    EXPECT_EQ(Read(Lost(L"notes.txt.1")), "another");
    m_host.AcceptWarnings();
}

TEST_F(ResumeTest, ACommandThatWasNotCarriedOutToItsEndSaysSo)
{
    for (const wchar_t* name : {L"untold.command", L"begun.command", L"ended.command"})
        Write(Queued(name));
    WriteStatus(L"begun.command", eRequestStatus_Paused);
    WriteStatus(L"ended.command", eRequestStatus_Done);
    WriteStatus(L"gone.command", eRequestStatus_ProcessingStarted);
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    for (const wchar_t* name : {L"untold.command", L"begun.command"}) {
        EXPECT_EQ(Status(name).status, eRequestStatus_ServerError);
        EXPECT_EQ(Status(name).comment, RootApp_RSC_CStr(153, "IDS_COMMAND_LOST"));
    }
    EXPECT_EQ(Status(L"ended.command").status, eRequestStatus_Done);
    EXPECT_EQ(Status(L"gone.command").status, eRequestStatus_Done) << "its file goes when it was carried out";
    EXPECT_TRUE(FilesIn(m_settings.m_paths.m_strQueueDir).empty());
}

TEST_F(ResumeTest, AStatusThatSomebodyHoldsIsNotWaitedForWithoutEnd)
{
    Arrive(L"a.drq");
    WriteStatus(L"a.drq", eRequestStatus_GettingData);
    WriteStatus(L"b.drq", eRequestStatus_GettingData);
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L".status");
    const platform::CScopedOs os(&m_files, &m_clock);
    const std::chrono::nanoseconds start = m_clock.Steady();
    Resume(L"0 waiting, 1 interrupted, 0 paused, 1 answered, 0 clients, 0 moved aside");
    EXPECT_LE(m_clock.Steady() - start, 2s);
}

TEST_F(ResumeTest, ADirectoryThatCannotBeReadIsAFailureAndChangesNothing)
{
    Arrive(L"a.drq");
    m_files.FailAlways(testsupport::eFileCall_List, platform::eOsError_IoError, L"Queue");
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_EQ(CResume(m_settings, m_requests, m_statuses, m_registry).Run(), platform::eOsError_IoError);
    EXPECT_TRUE(HasFile(L"a.drq"));
}

TEST_F(ResumeTest, WhatWasInterruptedBeyondItsLimitIsNotRunAgain)
{
    m_settings.m_options.attempts = 0;
    Arrive(L"a.drq");
    WriteStatus(L"a.drq", eRequestStatus_GettingData);
    Write(Output(L"a.drq"), "a part of the resp");
    WriteRecord(L"a.drq", ""); // makes the folders
    EXPECT_EQ(CAttemptRecords(m_settings).ReachLimit(L"a.drq", {1, 2500ms}), platform::eOsError_None);
    Resume(L"0 waiting, 1 interrupted, 0 paused, 0 answered, 0 clients, 0 moved aside");
    EXPECT_TRUE(TakeAll().empty());
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"a.drq").comment, FormatText(RootApp_RSC_CStr(156, "IDS_TIME_LIMIT"), {L"2.5"}));
    EXPECT_FALSE(HasFile(L"a.drq") || platform::PathExists(Output(L"a.drq")) || platform::PathExists(Record(L"a.drq")));
    m_host.AcceptWarnings();
}
