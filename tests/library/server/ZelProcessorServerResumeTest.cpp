#include "tests/support/ServerKit.h"

namespace {

/// A server after the other on the same directories.
class ServerResume : public CServerFixture {
protected:
    static inline const SZelServerOptions kOptions{.syncing = false, .pausedStatus = true, .resume = true};

    void StartAgain(bool executes)
    {
        m_pServer->Stop(true);
        Make(kOptions);
        m_pServer->SetNoExecutiveThread(!executes);
        Run();
    }
};

} // namespace

TEST_F(ServerResume, WhatWaitedOrWasPausedIsServedByTheNextServer)
{
    StartAgain(false);
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"paused.drq"})
        Send(name);
    ASSERT_TRUE(WaitUntil([&] { return Access().QueuedNames().size() == 3; }));
    EXPECT_EQ(m_client.PauseRequest(L"paused.drq"), eRequestStatus_Done);
    StartAgain(true);
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.GetStatus(L"paused.drq", nullptr), eRequestStatus_Paused);
    EXPECT_EQ(m_client.PauseRequest(L"paused.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"paused.drq"), eRequestStatus_Done);
}

TEST_F(ServerResume, AResponseAndARegistrationOutliveTheServer)
{
    StartAgain(true);
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
    ASSERT_TRUE(m_client.ListenDsEvents());
    StartAgain(true);
    EXPECT_EQ(Access().Clients(), std::vector<GUID>{SClientTestAccess{m_client}.Id()});
    EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_Done);
    EXPECT_TRUE(m_client.ReceiveOutput(L"a.drq", In(m_clientDir, L"response")));
    EXPECT_TRUE(m_client.StopListeningDsEvents());
}

TEST_F(ServerResume, AClientIsToldOnceToReadEverythingAgain)
{
    StartAgain(true);
    ASSERT_TRUE(m_client.ListenDsEvents());
    EXPECT_FALSE(m_client.IsNewDsEvent()) << "nothing was lost";
    StartAgain(true);
    ASSERT_TRUE(WaitUntil([&] { return m_client.IsNewDsEvent(); }));
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    ASSERT_TRUE(m_client.GetDsEvents(events));
    ASSERT_EQ(events.size(), 1U);
    LONG kind = 0;
    EXPECT_EQ(events.front()->GetKind(&kind), S_OK);
    EXPECT_EQ(kind, eDsEventKind_Reload);
    EXPECT_TRUE(m_client.StopListeningDsEvents());
}

TEST_F(ServerResume, WhatCannotBeReadStartsNoServer)
{
    m_pServer = std::make_unique<CZelProcessorServer>();
    m_pServer->SetOptions(kOptions);
    Write(In(m_outputDir, L"a.drq"), "response");
    m_files.FailAlways(testsupport::eFileCall_List, platform::eOsError_IoError, L"output");
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_FALSE(m_pServer->SetDirs(m_requestDir, m_outputDir));
    m_host.ExpectBox(L"CZelProcessorServer::SetDirs - what an earlier server left cannot be taken over");
    EXPECT_EQ(Read(In(m_outputDir, L"a.drq")), "response");
}
