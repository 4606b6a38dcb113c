#include "tests/library/server/CommandsFixture.h"

#include "framework/Services.h"

namespace {

using CancelCommand = CCommandsFixture;

} // namespace

TEST_F(CancelCommand, CancelTakesAWaitingRequestOut)
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

TEST_F(CancelCommand, CancelStopsTheRunningRequest)
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

TEST_F(CancelCommand, CancelOfAnUnknownNameIsDoneAndItsFlagEndsWithTheNextStart)
{
    Run();
    EXPECT_EQ(m_client.CancelRequest(L"unknown.drq"), eRequestStatus_Done);
    EXPECT_TRUE(m_context.m_canceled);
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
}

TEST_F(CancelCommand, CancelOfARequestThatWasPutBackLeavesNothingOfIt)
{
    RunWithARequestThatWasPutBack();
    EXPECT_EQ(m_client.CancelRequest(L"declined.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.GetStatus(L"declined.drq", nullptr), eRequestStatus_NotRequested);
    EXPECT_FALSE(platform::PathExists(Queued(L"declined.drq")));
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"running.drq"), eRequestStatus_Done) << "nobody canceled this one";
}

TEST_F(CancelCommand, CancelWhileTheTaskDeclinesEndsTheRequest)
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

TEST_F(CancelCommand, CancelOfAPausedRequestMeansWhateverRuns)
{
    RunWithBusyExecutive();
    SendAndWaitUntilQueued(L"b.drq");
    EXPECT_EQ(m_client.PauseRequest(L"b.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.CancelRequest(L"b.drq"), eRequestStatus_Done);
    EXPECT_TRUE(Access().IsRequestPaused(L"b.drq"));
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"first.drq"), eRequestStatus_Canceled);
}

TEST_F(CancelCommand, ByNameWhatWaitsOrIsPausedEndsAsCanceled)
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

TEST_F(CancelCommand, ByNameOnlyTheRunningRequestOfThatNameIsCanceled)
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
    EXPECT_TRUE(WaitUntil([&] { return !Access().Requests().IsKnown(Queued(L"last.drq")); }));
    EXPECT_EQ(m_client.CancelRequest(L"last.drq"), eRequestStatus_Done);
    EXPECT_FALSE(m_context.m_canceled) << "it has ended";
    EXPECT_EQ(m_client.GetStatus(L"last.drq", nullptr), eRequestStatus_Done);
}

TEST_F(CancelCommand, ByNameARequestThatWasPutBackEndsAsCanceled)
{
    Make({.syncing = false, .cancelByName = true});
    RunWithARequestThatWasPutBack();
    EXPECT_EQ(m_client.CancelRequest(L"declined.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.GetStatus(L"declined.drq", nullptr), eRequestStatus_Canceled);
    m_gate.Open();
    EXPECT_EQ(WaitForEnd(L"running.drq"), eRequestStatus_Done);
}
