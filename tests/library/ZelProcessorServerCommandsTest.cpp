#include "tests/library/ServerFixture.h"

#include "framework/Services.h"
#include "tests/support/ManualClock.h"

namespace {

class Commands : public CServerFixture {
protected:
    void TearDown() override { m_pServer.reset(); } // it uses what is declared here

    static std::string Xml(const std::string& type, const std::string& name)
    {
        return "<?xml version='1.0' encoding='UTF-8'?><Command Type=\"" + type + "\"><RequestName>" + name +
               "</RequestName></Command>";
    }
    /// Hands over a command file that somebody made by hand.
    void SendCommandFile(const std::string& xml, const std::wstring& name = L"x.command")
    {
        Write(In(m_clientDir, name), xml);
        ASSERT_EQ(m_client.SendRequest(In(m_clientDir, name)), eRequestStatus_Sent);
    }
    /// The command's last status, once the server has shown its box about it.
    void ExpectFailure(const std::string& xml, eZelProcRequestStatus status, const std::wstring& comment)
    {
        SendCommandFile(xml);
        m_host.ExpectBox(L"Processing of command " + In(m_requestDir, L"x.command") + L" failed");
        EXPECT_EQ(m_client.GetStatus(L"x.command", &m_additional), status);
        EXPECT_EQ(m_additional.GetProgressComment(), comment);
        EXPECT_TRUE(platform::PathExists(Queued(L"x.command"))) << "it stays where it was taken to";
    }
    /// Runs a server whose executive holds the request "first.drq" at the gate.
    void RunWithBusyExecutive()
    {
        m_script.createRequest = [this](const std::wstring& path) {
            m_served.push_back(platform::FileNameOf(path));
            return m_served.size() > 1 || m_gate.Pass();
        };
        Run();
        Send(L"first.drq");
        ASSERT_TRUE(m_gate.WaitUntilEntered());
    }
    void SendAndWaitUntilQueued(const std::wstring& name)
    {
        Send(name);
        ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(name); }));
    }
    /// Runs a server whose queue has "declined.drq", put back by its task, while the executive holds "running.drq" at
    /// the gate. The declined one is served when it is asked again.
    void RunWithARequestThatWasPutBack()
    {
        m_script.createRequest = [this](const std::wstring& path) {
            m_served.push_back(platform::FileNameOf(path));
            return true;
        };
        m_script.canProcess = [this](bool) {
            if (m_served.size() == 1)
                m_declining.Pass();
            return m_served.size() > 1;
        };
        m_script.obtainData = [this](auto*, auto*) { return m_served.back() != L"running.drq" || m_gate.Pass(); };
        Run();
        Send(L"declined.drq");
        ASSERT_TRUE(m_declining.WaitUntilEntered());
        SendAndWaitUntilQueued(L"running.drq");
        m_declining.Open();
        ASSERT_TRUE(m_gate.WaitUntilEntered());
        ASSERT_EQ(Access().QueuedNames(), std::vector<std::wstring>{L"declined.drq"});
        ASSERT_EQ(m_client.GetStatus(L"declined.drq", nullptr), eRequestStatus_GettingData);
    }
    [[nodiscard]] bool HasCommandFiles() const
    {
        for (const std::wstring& dir : {m_requestDir, m_outputDir, In(m_outputDir, L"Queue"), m_clientDir}) {
            for (const std::wstring& name : FilesIn(dir)) {
                if (name.find(L".command") != std::wstring::npos)
                    return true;
            }
        }
        return false;
    }

    CGate m_gate;
    CGate m_declining;
    std::vector<std::wstring> m_served;
};

} // namespace

TEST_F(Commands, CancelTakesAWaitingRequestOut)
{
    RunWithBusyExecutive();
    SendAndWaitUntilQueued(L"b.drq");
    EXPECT_EQ(m_client.CancelRequest(L"b.drq"), eRequestStatus_Done);
    EXPECT_FALSE(Access().IsRequestInQueue(L"b.drq"));
    EXPECT_FALSE(platform::PathExists(Queued(L"b.drq")));
    EXPECT_EQ(m_client.GetStatus(L"b.drq", nullptr), eRequestStatus_NotRequested);
    EXPECT_FALSE(HasCommandFiles());
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"first.drq"), eRequestStatus_Done) << "nobody canceled this one";
}

TEST_F(Commands, CancelStopsTheRunningRequest)
{
    CGate entered;
    m_script.obtainData = [&](CZelProcessorContext* context, CZelProcessorProgress*) {
        entered.Open();
        EXPECT_TRUE(entered.Pass());
        return WaitUntil([&] { return context->IsCanceled(); });
    };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(entered.WaitUntilEntered());
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Canceled);
    EXPECT_FALSE(HasCommandFiles());
}

TEST_F(Commands, CancelOfAnUnknownNameIsDoneAndItsFlagEndsWithTheNextStart)
{
    Run();
    EXPECT_EQ(m_client.CancelRequest(L"unknown.drq"), eRequestStatus_Done);
    EXPECT_TRUE(m_context.m_canceled);
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
}

TEST_F(Commands, CancelOfARequestThatWasPutBackLeavesNothingOfIt)
{
    RunWithARequestThatWasPutBack();
    EXPECT_EQ(m_client.CancelRequest(L"declined.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.GetStatus(L"declined.drq", nullptr), eRequestStatus_NotRequested);
    EXPECT_FALSE(platform::PathExists(Queued(L"declined.drq")));
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"running.drq"), eRequestStatus_Done) << "nobody canceled this one";
}

TEST_F(Commands, PauseOfARequestThatWasPutBackKeepsItUntilItIsResumed)
{
    RunWithARequestThatWasPutBack();
    EXPECT_EQ(m_client.PauseRequest(L"declined.drq"), eRequestStatus_Done);
    EXPECT_TRUE(Access().IsRequestPaused(L"declined.drq"));
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"running.drq"), eRequestStatus_Done);
    EXPECT_EQ(SendAndWait(L"later.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.PauseRequest(L"declined.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"declined.drq"), eRequestStatus_Done);
    m_pServer.reset();
    EXPECT_EQ(m_served, (std::vector<std::wstring>{L"declined.drq", L"running.drq", L"later.drq", L"declined.drq"}));
}

TEST_F(Commands, CancelWhileTheTaskDeclinesEndsTheRequest)
{
    m_script.canProcess = [this](bool) {
        m_declining.Pass();
        return false;
    };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(m_declining.WaitUntilEntered());
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_Done);
    m_declining.Open();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Canceled);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(102, "IDS_REQUEST_CANCELED"));
    m_pServer.reset();
    EXPECT_TRUE(FilesIn(In(m_outputDir, L"Queue")).empty());
}

TEST_F(Commands, CancelOfAPausedRequestMeansWhateverRuns)
{
    RunWithBusyExecutive();
    SendAndWaitUntilQueued(L"b.drq");
    EXPECT_EQ(m_client.PauseRequest(L"b.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.CancelRequest(L"b.drq"), eRequestStatus_Done);
    EXPECT_TRUE(Access().IsRequestPaused(L"b.drq"));
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"first.drq"), eRequestStatus_Canceled);
}

TEST_F(Commands, ByNameWhatWaitsOrIsPausedEndsAsCanceled)
{
    Make({.syncing = false, .cancelByName = true});
    RunWithBusyExecutive();
    for (const wchar_t* name : {L"waiting.drq", L"paused.drq"})
        SendAndWaitUntilQueued(name);
    EXPECT_EQ(m_client.PauseRequest(L"paused.drq"), eRequestStatus_Done);
    for (const wchar_t* name : {L"waiting.drq", L"paused.drq"}) {
        EXPECT_EQ(m_client.CancelRequest(name), eRequestStatus_Done);
        EXPECT_EQ(m_client.GetStatus(name, &m_additional), eRequestStatus_Canceled);
        EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(131, "IDS_CANCELED"));
        EXPECT_FALSE(platform::PathExists(Queued(name)));
    }
    EXPECT_TRUE(Access().QueuedNames().empty());
    EXPECT_FALSE(Access().IsRequestPaused(L"paused.drq"));
    EXPECT_FALSE(m_context.m_canceled) << "nobody meant what runs";
    SendAndWaitUntilQueued(L"waiting.drq"); // the name is free
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"first.drq"), eRequestStatus_Done);
    EXPECT_TRUE(WaitUntil([&] { return m_client.GetStatus(L"waiting.drq", nullptr) == eRequestStatus_Done; }));
}

TEST_F(Commands, ByNameOnlyTheRunningRequestOfThatNameIsCanceled)
{
    Make({.syncing = false, .cancelByName = true});
    RunWithBusyExecutive();
    EXPECT_EQ(m_client.CancelRequest(L"unknown.drq"), eRequestStatus_Done);
    EXPECT_FALSE(m_context.m_canceled);
    EXPECT_EQ(m_client.CancelRequest(L"first.drq"), eRequestStatus_Done);
    EXPECT_TRUE(m_context.m_canceled);
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"first.drq"), eRequestStatus_Canceled);
    EXPECT_EQ(SendAndWait(L"last.drq"), eRequestStatus_Done);
    EXPECT_TRUE(WaitUntil([&] { return Access().RunningName().empty(); }));
    EXPECT_EQ(m_client.CancelRequest(L"last.drq"), eRequestStatus_Done);
    EXPECT_FALSE(m_context.m_canceled) << "it has ended";
    EXPECT_EQ(m_client.GetStatus(L"last.drq", nullptr), eRequestStatus_Done);
}

TEST_F(Commands, ByNameARequestThatWasPutBackEndsAsCanceled)
{
    Make({.syncing = false, .cancelByName = true});
    RunWithARequestThatWasPutBack();
    EXPECT_EQ(m_client.CancelRequest(L"declined.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.GetStatus(L"declined.drq", nullptr), eRequestStatus_Canceled);
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"running.drq"), eRequestStatus_Done);
}

TEST_F(Commands, OnlyRequestsArePausedWhereTheHostWantsThat)
{
    Make({.syncing = false, .requestsOnly = true});
    RunWithBusyExecutive();
    Write(In(m_requestDir, L"notes.txt"), "notes");
    ExpectFailure(Xml("PauseRequest", "notes.txt"), eRequestStatus_ProcessingStarted,
                  RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
    EXPECT_EQ(Read(In(m_requestDir, L"notes.txt")), "notes");
    EXPECT_FALSE(platform::PathExists(Queued(L"notes.txt")));
    SendAndWaitUntilQueued(L"b.drq");
    EXPECT_EQ(m_client.PauseRequest(L"b.drq"), eRequestStatus_Done);
    EXPECT_TRUE(Access().IsRequestPaused(L"b.drq"));
    m_gate.Open();
}

TEST_F(Commands, PausingTwicePausesAndThenLetsTheRequestRunNext)
{
    RunWithBusyExecutive();
    SendAndWaitUntilQueued(L"b.drq");
    SendAndWaitUntilQueued(L"c.drq");
    EXPECT_EQ(m_client.PauseRequest(L"c.drq"), eRequestStatus_Done);
    EXPECT_TRUE(Access().IsRequestPaused(L"c.drq"));
    EXPECT_EQ(Access().QueuedNames(), std::vector<std::wstring>{L"b.drq"});
    EXPECT_TRUE(platform::PathExists(Queued(L"c.drq"))) << "its file stays in the queue";
    EXPECT_FALSE(platform::PathExists(In(m_outputDir, L"c.drq.status")));
    EXPECT_EQ(m_client.GetStatus(L"c.drq", nullptr), eRequestStatus_Waiting);

    EXPECT_EQ(m_client.PauseRequest(L"c.drq"), eRequestStatus_Done);
    EXPECT_FALSE(Access().IsRequestPaused(L"c.drq"));
    EXPECT_EQ(Access().QueuedNames(), (std::vector<std::wstring>{L"c.drq", L"b.drq"}));
    EXPECT_EQ(m_client.GetStatus(L"c.drq", nullptr), eRequestStatus_Waiting);
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"c.drq"), eRequestStatus_Done);
    m_pServer.reset();
    EXPECT_EQ(m_served, (std::vector<std::wstring>{L"first.drq", L"c.drq", L"b.drq"}));
    EXPECT_FALSE(HasCommandFiles());
}

TEST_F(Commands, APausedRequestHasAStatusWhereTheHostWantsOne)
{
    Make({.syncing = false, .pausedStatus = true});
    RunWithBusyExecutive();
    SendAndWaitUntilQueued(L"b.drq");
    Write(In(m_requestDir, L"early.txt"));
    for (const wchar_t* name : {L"b.drq", L"early.txt"}) {
        EXPECT_EQ(m_client.PauseRequest(name), eRequestStatus_Done);
        EXPECT_EQ(m_client.GetStatus(name, &m_additional), eRequestStatus_Paused);
        EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(132, "IDS_PAUSED"));
        EXPECT_EQ(m_client.PauseRequest(name), eRequestStatus_Done);
        EXPECT_EQ(m_client.GetStatus(name, nullptr), eRequestStatus_Waiting);
    }
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Done);
}

TEST_F(Commands, AStatusThatIsHeldIsWaitedForHalfASecondWhileItsRequestIsPaused)
{
    Make({.syncing = false, .pausedStatus = true});
    const platform::CScopedOs os(&m_files, nullptr);
    RunWithBusyExecutive();
    SendAndWaitUntilQueued(L"b.drq");
    SendAndWaitUntilQueued(L"c.drq");
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"b.drq.status");
    const auto start = platform::Clock().Steady();
    EXPECT_EQ(m_client.PauseRequest(L"b.drq"), eRequestStatus_Done) << "the listener, which serves all, goes on";
    EXPECT_GE(platform::Clock().Steady() - start, std::chrono::milliseconds(500));
    m_host.ExpectBox(L"Unable to create/open status file: " + In(m_outputDir, L"b.drq.status"));
    m_host.ExpectLogLine(L"Unable to create/open status file: " + In(m_outputDir, L"b.drq.status"));
    EXPECT_TRUE(Access().IsRequestPaused(L"b.drq"));
    // One that is let go in that time is written.
    m_files.StopFailing();
    m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_SharingViolation, 10, L"c.drq.status");
    EXPECT_EQ(m_client.PauseRequest(L"c.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.GetStatus(L"c.drq", nullptr), eRequestStatus_Paused);
    m_gate.Open();
    m_pServer.reset();
}

TEST_F(Commands, APausedRequestWhoseStatusIsHeldGoesOn)
{
    Make({.syncing = false, .pausedStatus = true});
    const platform::CScopedOs os(&m_files, nullptr);
    RunWithBusyExecutive();
    SendAndWaitUntilQueued(L"b.drq");
    EXPECT_EQ(m_client.PauseRequest(L"b.drq"), eRequestStatus_Done);
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation, L"b.drq.status");
    EXPECT_EQ(m_client.PauseRequest(L"b.drq"), eRequestStatus_Done) << "after a second";
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Done);
    m_pServer.reset();
}

TEST_F(Commands, ARequestThatIsNotQueuedYetIsTakenIntoThePausedOnes)
{
    Run();
    // A file that the listener leaves alone stands for one that it has not come to.
    Write(In(m_requestDir, L"early.txt"));
    EXPECT_EQ(m_client.PauseRequest(L"early.txt"), eRequestStatus_Done);
    EXPECT_TRUE(Access().IsRequestPaused(L"early.txt"));
    EXPECT_TRUE(platform::PathExists(Queued(L"early.txt")));
    EXPECT_EQ(m_client.PauseRequest(L"early.txt"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"early.txt"), eRequestStatus_Done);
}

TEST_F(Commands, ARequestThatCanNotBeTakenIsShownAndNotPaused)
{
    Run();
    Write(In(m_requestDir, L"early.txt"));
    Write(Queued(L"early.txt"));
    ExpectFailure(Xml("PauseRequest", "early.txt"), eRequestStatus_ProcessingStarted,
                  RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
    m_host.ExpectBox(L"CZelProcessorServer::PauseOrUnpauseRequest : moving of the file '" +
                     In(m_requestDir, L"early.txt") + L"' to '" + Queued(L"early.txt") + L"' failed");
    EXPECT_FALSE(Access().IsRequestPaused(L"early.txt"));
}

TEST_F(Commands, AHeldRequestThatIsToBePausedIsWaitedForByAllOfOneLookTogether)
{
    Make({.syncing = false, .patienceMs = 50});
    m_pServer->SetNoExecutiveThread(true);
    const platform::CScopedOs os(&m_files, &m_clock);
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation, In(m_requestDir, L"held.drq"));
    Write(In(m_requestDir, L"held.drq"));
    for (const wchar_t* name : {L"1.command", L"2.command", L"3.command"})
        Write(In(m_requestDir, name), Xml("PauseRequest", "held.drq"));
    Run();
    const std::chrono::nanoseconds start = m_clock.Steady();
    Write(In(m_requestDir, L"change.txt"));
    for (const wchar_t* name : {L"1.command", L"2.command", L"3.command"})
        m_host.ExpectBox(L"Processing of command " + In(m_requestDir, name) + L" failed");
    m_pServer->Stop(true);
    const unsigned looks = m_files.Count(testsupport::eFileCall_List);
    EXPECT_LT(m_clock.Steady() - start, looks * std::chrono::milliseconds(60) + std::chrono::milliseconds(200));
    EXPECT_TRUE(platform::PathExists(In(m_requestDir, L"held.drq")));
    for (const auto& box : m_host.TakeBoxes())
        EXPECT_NE(box.text.find(L"PauseOrUnpauseRequest : moving of the file"), std::wstring::npos);
}

TEST_F(Commands, ARunningRequestCanNotBePaused)
{
    RunWithBusyExecutive();
    ExpectFailure(Xml("PauseRequest", "first.drq"), eRequestStatus_ProcessingStarted,
                  RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"first.drq"), eRequestStatus_Done);
}

TEST_F(Commands, TheTypeCountsInAnyLetterCase)
{
    RunWithBusyExecutive();
    SendAndWaitUntilQueued(L"b.drq");
    SendCommandFile(Xml("cancelREQUEST", "b.drq"));
    EXPECT_TRUE(WaitUntil([&] { return m_client.GetStatus(L"x.command", nullptr) == eRequestStatus_Done; }));
    EXPECT_FALSE(Access().IsRequestInQueue(L"b.drq"));
    m_gate.Open();
}

TEST_F(Commands, AnUnknownTypeStaysInTheQueueDirectory)
{
    Run();
    ExpectFailure(Xml("Restart", "a.drq"), eRequestStatus_ProcessingStarted,
                  RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
}

TEST_F(Commands, WhatIsMissingMakesTheFormatInvalid)
{
    Run();
    for (const char* xml :
         {"<Order Type='CancelRequest'><RequestName>a</RequestName></Order>",
          "<Command><RequestName>a</RequestName></Command>", "<Command Type='CancelRequest'/>",
          "<Command Type='PauseRequest'/>", "<Command Type='RegisterClient'/>", "<Command Type='UnregisterClient'/>",
          "<Command Type='UnregisterClient'><RequestName/></Command>", "<Command Type='?'/>"}) {
        ExpectFailure(xml, eRequestStatus_ServerError, RootApp_RSC_CStr(130, "IDS_INVALID_FORMAT_OF_COMMAND_FILE"));
        ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(Queued(L"x.command"))));
    }
}

TEST_F(Commands, BrokenXmlIsAnswered)
{
    Run();
    const std::string whole = Xml("CancelRequest", "a.drq");
    for (const std::string& xml : {std::string(), std::string("no xml"), whole.substr(0, whole.size() / 2)}) {
        SendCommandFile(xml);
        m_host.ExpectBox(L"Processing of command " + In(m_requestDir, L"x.command") + L" failed");
        EXPECT_EQ(m_client.GetStatus(L"x.command", &m_additional), eRequestStatus_ServerError);
        const std::wstring comment = m_additional.GetProgressComment();
        EXPECT_TRUE(comment.starts_with(L"The command file is not well-formed XML: \n"));
        EXPECT_TRUE(comment.ends_with(L"\n" + Queued(L"x.command")));
        ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(Queued(L"x.command"))));
    }
}

TEST_F(Commands, ACommandWhoseNameIsTakenInTheQueueIsAnswered)
{
    Run();
    Write(Queued(L"x.command"));
    SendCommandFile(Xml("CancelRequest", "a.drq"));
    m_host.ExpectBox(L"Processing of command " + In(m_requestDir, L"x.command") + L" failed");
    EXPECT_EQ(m_client.GetStatus(L"x.command", &m_additional), eRequestStatus_ServerError);
    EXPECT_EQ(m_additional.GetProgressComment(), FormatText(RootApp_RSC_CStr(128, "IDS_UNABLE_MOVE_FILE_INTO_QUEUE"),
                                                            {In(m_requestDir, L"x.command"), Queued(L"x.command")}));
    EXPECT_TRUE(platform::PathExists(In(m_requestDir, L"x.command"))) << "it is met again";
}

TEST_F(Commands, AFileThatStaysOpenForMoreThanFiveSecondsIsGivenUp)
{
    testsupport::CFaultyFiles& files = m_files;
    testsupport::CManualClock& clock = m_clock;
    const platform::CScopedOs os(&files, &clock);
    Run();
    files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, Queued(L"x.command"));
    const unsigned before = clock.Sleeps();
    ExpectFailure(
        Xml("CancelRequest", "a.drq"), eRequestStatus_ServerError,
        FormatText(RootApp_RSC_CStr(133, "IDS_UNABLE_OPEN_FILE_IN_QUEUE_FORREADING"), {Queued(L"x.command")}) +
            L"\nCause 1:\n" + platform::OsErrorText(platform::eOsError_SharingViolation));
    EXPECT_GE(clock.Sleeps() - before, 50U) << "a look every 100 ms";
}

TEST_F(Commands, AFileThatStaysOpenCostsNoMoreThanTheHostsPatience)
{
    Make({.syncing = false, .patienceMs = 50});
    const platform::CScopedOs os(&m_files, &m_clock);
    Run();
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, Queued(L"x.command"));
    const std::chrono::nanoseconds before = m_clock.Steady();
    const unsigned sleeps = m_clock.Sleeps();
    ExpectFailure(
        Xml("CancelRequest", "a.drq"), eRequestStatus_ServerError,
        FormatText(RootApp_RSC_CStr(133, "IDS_UNABLE_OPEN_FILE_IN_QUEUE_FORREADING"), {Queued(L"x.command")}) +
            L"\nCause 1:\n" + platform::OsErrorText(platform::eOsError_SharingViolation));
    EXPECT_LT(m_clock.Steady() - before, std::chrono::milliseconds(500));
    EXPECT_GE(m_clock.Sleeps() - sleeps, 10U) << "it is tried more than once";
}

TEST_F(Commands, AStopWhileACommandIsHeldIsNoFailure)
{
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    platform::CManualResetEvent tried;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && call.path == Queued(L"x.command"))
            tried.Set();
    });
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, Queued(L"x.command"));
    SendCommandFile(Xml("CancelRequest", "a.drq"));
    ASSERT_TRUE(tried.WaitFor(kPatience));
    m_pServer.reset();
    m_files.StopFailing();
    EXPECT_EQ(m_client.GetStatus(L"x.command", nullptr), eRequestStatus_ProcessingStarted);
}

TEST_F(Commands, NamesThatLeaveTheDirectoriesTouchNothing)
{
    Run();
    Write(m_dir / L"outside.drq");
    for (const char* type : {"CancelRequest", "RegisterClient", "UnregisterClient"}) {
        SendCommandFile(Xml(type, "../outside.drq"));
        EXPECT_TRUE(WaitUntil([&] { return m_client.GetStatus(L"x.command", nullptr) == eRequestStatus_Done; }))
            << type;
        ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(In(m_outputDir, L"x.command.status"))));
    }
    ExpectFailure(Xml("PauseRequest", "../outside.drq"), eRequestStatus_ProcessingStarted,
                  RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
    EXPECT_EQ(Read(m_dir / L"outside.drq"), "<Request/>");
    EXPECT_TRUE(Access().Clients().empty());
}
