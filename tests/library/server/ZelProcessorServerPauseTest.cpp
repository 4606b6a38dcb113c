#include "tests/library/server/CommandsFixture.h"

#include "framework/Services.h"

namespace {

using PauseCommand = CCommandsFixture;

} // namespace

TEST_F(PauseCommand, PauseOfARequestThatWasPutBackKeepsItUntilItIsResumed)
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

TEST_F(PauseCommand, OnlyRequestsArePausedWhereTheHostWantsThat)
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

TEST_F(PauseCommand, PausingTwicePausesAndThenLetsTheRequestRunNext)
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
    EXPECT_EQ(Access().QueuedNames(), (std::vector<std::wstring>{L"b.drq", L"c.drq"}));
    EXPECT_EQ(m_client.GetStatus(L"c.drq", nullptr), eRequestStatus_Waiting);
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"c.drq"), eRequestStatus_Done);
    m_pServer.reset();
    EXPECT_EQ(m_served, (std::vector<std::wstring>{L"first.drq", L"c.drq", L"b.drq"}));
    EXPECT_FALSE(HasCommandFiles());
}

TEST_F(PauseCommand, APausedRequestHasAStatusWhereTheHostWantsOne)
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

TEST_F(PauseCommand, AStatusThatIsHeldIsWaitedForHalfASecondWhileItsRequestIsPaused)
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

TEST_F(PauseCommand, APausedRequestWhoseStatusIsHeldGoesOn)
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

TEST_F(PauseCommand, ARequestThatIsNotQueuedYetIsTakenIntoThePausedOnes)
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

TEST_F(PauseCommand, ARequestThatCanNotBeTakenIsShownAndNotPaused)
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

TEST_F(PauseCommand, AHeldRequestThatIsToBePausedIsWaitedForByAllOfOneLookTogether)
{
    Make({.syncing = false, .patience = std::chrono::milliseconds(50)});
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

TEST_F(PauseCommand, ARunningRequestCanNotBePaused)
{
    RunWithBusyExecutive();
    ExpectFailure(Xml("PauseRequest", "first.drq"), eRequestStatus_ProcessingStarted,
                  RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"first.drq"), eRequestStatus_Done);
}
