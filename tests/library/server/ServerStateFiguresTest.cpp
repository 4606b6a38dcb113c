#include "tests/support/ServerKit.h"

namespace {

class Figures : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        Make({.syncing = false, .cancelByName = true, .figures = true});
    }
    SZelServerFigures Seen()
    {
        SZelServerFigures figures;
        m_pServer->GetFigures(figures);
        return figures;
    }
};

TEST_F(Figures, AServerCountsOnlyWhenItsHostWantsThat)
{
    Make();
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
    SZelServerFigures figures;
    EXPECT_FALSE(m_pServer->GetFigures(figures));
    EXPECT_EQ(figures.changes, 0U);
}

TEST_F(Figures, ARequestThatIsServedIsCountedWithItsBytes)
{
    Run();
    Send(L"a.drq", "<Request a=''/>");
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    ASSERT_TRUE(WaitUntil([&] { return !Seen().ended.empty(); }));
    const SZelServerFigures seen = Seen();
    EXPECT_EQ(seen.received, 1U);
    EXPECT_EQ(seen.ended.front().name, L"a.drq");
    EXPECT_EQ(seen.ended.front().outcome, eRequestStatus_Done);
    EXPECT_EQ(seen.bytesRead, 15U);
    platform::SFileAttributes response;
    ASSERT_TRUE(platform::Succeeded(platform::Files().GetAttributes(In(m_outputDir, L"a.drq"), response)));
    EXPECT_EQ(seen.bytesWritten, response.length);
    EXPECT_GT(seen.scans, 0U);
    SZelServerFigures again = Seen();
    EXPECT_FALSE(m_pServer->GetFigures(again)) << "nothing changed";
}

TEST_F(Figures, WhatRunsAndWhatWaitsAndWhatIsPausedIsSeen)
{
    platform::CManualResetEvent open;
    m_script.obtainData = [&](CZelProcessorContext*, CZelProcessorProgress* progress) {
        progress->SetRange(0, 10);
        progress->SetPos(4);
        progress->SetComment(L"on the way");
        return open.WaitFor(kPatience);
    };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(WaitUntil([&] { return Seen().runs.size() == 1 && Seen().runs.front().comment == L"on the way"; }));
    for (const wchar_t* name : {L"b.drq", L"c.drq", L"d.drq"})
        Send(name);
    ASSERT_TRUE(WaitUntil([&] { return Seen().waitingCount == 3; }));
    EXPECT_EQ(m_client.PauseRequest(L"c.drq"), eRequestStatus_Done);
    ASSERT_TRUE(WaitUntil([&] { return Seen().pausedCount == 1; }));
    SZelServerFigures seen = Seen();
    EXPECT_EQ(seen.runs.front().name, L"a.drq");
    EXPECT_EQ(seen.runs.front().percent, 40);
    ASSERT_EQ(seen.firstWaiting.size(), 2U);
    EXPECT_EQ(seen.paused.front().name, L"c.drq");
    EXPECT_GT(seen.paused.front().since.count(), 0);
    EXPECT_EQ(m_client.CancelRequest(L"d.drq"), eRequestStatus_Done);
    EXPECT_TRUE(WaitUntil([&] { return !Seen().ended.empty(); }));
    EXPECT_EQ(Seen().ended.front().outcome, eRequestStatus_Canceled);
    open.Set();
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Done);
    EXPECT_TRUE(WaitUntil([&] { return Seen().runs.empty() && Seen().waitingCount == 0; }));
}

TEST_F(Figures, AFailureHasTheReasonThatItsSenderReads)
{
    Make({.syncing = false, .tellStory = true, .figures = true});
    m_script.obtainData = [](CZelProcessorContext*, CZelProcessorProgress*) { return false; };
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_ServerError);
    ASSERT_TRUE(WaitUntil([&] { return !Seen().failed.empty(); }));
    EXPECT_FALSE(m_additional.GetProgressComment().empty());
    EXPECT_EQ(Seen().failed.front().reason, m_additional.GetProgressComment());
    m_pServer->Stop(true);
    static_cast<void>(m_host.TakeLogLines());
}

TEST_F(Figures, WhoRegistersIsSeenUntilHeLeaves)
{
    Run();
    ASSERT_TRUE(Access().RegisterNewClient(L"answer"));
    const SZelServerFigures seen = Seen();
    ASSERT_EQ(seen.clientCount, 1U);
    const GUID client = Access().Clients().front();
    EXPECT_EQ(seen.clients.front().id, GuidToText(client));
    ASSERT_TRUE(Access().UnregisterClient(client));
    EXPECT_EQ(Seen().clientCount, 0U);
    m_pServer->Stop(true);
}

} // namespace
