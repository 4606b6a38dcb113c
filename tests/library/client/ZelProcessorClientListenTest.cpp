#include "tests/library/client/ClientEventsFixture.h"

#include "ZEL_Processor/LockFile.h"
#include "platform/Text.h"
#include "protocol/RegistrationAnswer.h"

namespace {

using ClientListen = CClientEventsFixture;

} // namespace

TEST_F(ClientListen, BeforeTheRegistrationThereIsNothing)
{
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(m_client.GetDsEventsFileFullPath().empty());
    EXPECT_TRUE(m_client.GetInsertableItemsChangeFile().empty());
    EXPECT_TRUE(m_client.GetLockResultsChangeFile().empty());
    EXPECT_TRUE(m_client.IsOutputDirChange()) << "so that the first queries look";
    EXPECT_FALSE(m_client.IsNewDsEvent());
    EXPECT_FALSE(m_client.IsInsertableItemsUpdated());
    EXPECT_FALSE(m_client.IsLockResultsChanged());
    EXPECT_FALSE(m_client.StopListeningDsEvents());

    std::vector<CComPtr<IWQ_DsEventsData>> events(1);
    EXPECT_FALSE(m_client.GetDsEvents(events));
    EXPECT_TRUE(events.empty());
    m_host.ExpectReport(681, L"CZELEnvFileDsEventsFile::ReadDsEventsFile failed");
    CComPtr<IWQ_CLSIDArray> groups;
    EXPECT_FALSE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
    m_host.ExpectBox(L"Response file  does not exist");
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
    m_host.ExpectBox(L"Response file  does not exist");
    for (const auto call : {testsupport::eFileCall_OpenLockFile, testsupport::eFileCall_Open,
                            testsupport::eFileCall_Move, testsupport::eFileCall_Remove})
        EXPECT_EQ(m_files.Count(call), 0U) << "nothing was sent, locked or read";
}

TEST_F(ClientListen, TheGoldenAnswerIsRead)
{
    GUID id{};
    EXPECT_EQ(RegistrationAnswer::Read(In(platform::FromUtf8(ZEL_GOLDEN_DIRECTORY), L"client.answer"), id),
              platform::eOsError_None);
    EXPECT_EQ(GuidToText(id), L"{01234567-89AB-CDEF-0102-030405060708}");
}

TEST_F(ClientListen, AnAnswerThatCanNotBeTakenReadOrBelievedIsReported)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_AccessDenied, 1, L"RegisterClient__");
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectBox(L"CZelProcessorClient::ReceiveOutput : moving of the file ");
    m_host.ExpectReport(521, L"!ReceiveOutput\n  " + In(m_clientDir, L"RegisterClient__{"));

    m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied, 1,
                     In(m_clientDir, L"RegisterClient__"));
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(522, L"Unable to opend output file for reading !\n  " + In(m_clientDir, L"RegisterClient__{"));

    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Move && call.path.find(L"RegisterClient__") != std::wstring::npos)
            Write(call.path, "no id");
    });
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(523, L"m_clientID == GUID_NULL");

    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call != testsupport::eFileCall_Move || call.path.find(L"RegisterClient__") == std::wstring::npos)
            return;
        for (const std::wstring& name : FilesIn(m_outputDir)) {
            if (name.starts_with(L"DsEvents_")) {
                EXPECT_TRUE(platform::Succeeded(platform::SystemFiles().Remove(In(m_outputDir, name))));
            }
        }
    });
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(524, L"DS events file not exists !\n  " + In(m_outputDir, L"DsEvents_{"));
    m_files.OnCall({});
}

TEST_F(ClientListen, ASecondRegistrationThatFailsLeavesTheFirst)
{
    Listen();
    const std::wstring first = m_client.GetDsEventsFileFullPath();
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied, 1,
                     In(m_clientDir, L"RegisterClient__"));
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(522, L"Unable to opend output file for reading !");
    EXPECT_EQ(m_client.GetDsEventsFileFullPath(), first);
}

TEST_F(ClientListen, ADirectoryThatCanNotBeWatchedIsReportedAndWatchedTheNextTime)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Watch, 1, platform::eOsError_AccessDenied, 1, m_outputDir);
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(600, L"FindFirstChangeNotification failed.\n" +
                                 platform::OsErrorText(platform::eOsError_AccessDenied));
    EXPECT_TRUE(WaitUntil([&] { return !m_host.TakeReports().empty(); })) << "the thread's end is reported";
    Listen();
    m_client.ResetOutputDirChange();
    WriteEvents(1);
    EXPECT_TRUE(WaitUntil([&] { return m_client.IsNewDsEvent(); })) << "the client is not deaf";
}

TEST_F(ClientListen, AWatchThatFailsIsReportedAndGoesOn)
{
    const platform::CScopedOs os(&m_files, nullptr);
    Listen();
    m_files.FailCall(testsupport::eFileCall_Rearm, 1, platform::eOsError_AccessDenied, 1, m_outputDir);
    m_client.ResetOutputDirChange();
    Write(In(m_outputDir, L"any"));
    m_host.ExpectReport(601, L"FindNextChangeNotification failed.\n" +
                                 platform::OsErrorText(platform::eOsError_AccessDenied));
    EXPECT_TRUE(WaitUntil([&] { return m_client.IsOutputDirChange(); }));
}

TEST_F(ClientListen, TheDirectoryIsWatchedWhenTheRegistrationReturns)
{
    const platform::CScopedOs os(&m_files, nullptr);
    Listen();
    bool isWatched = false;
    for (const auto& call : m_files.Calls())
        isWatched = isWatched || (call.call == testsupport::eFileCall_Watch && call.path == m_outputDir);
    EXPECT_TRUE(isWatched);
}

TEST_F(ClientListen, WhatChangesBetweenTheLookAndTheResetIsTheNextChange)
{
    const platform::CScopedOs os(&m_files, nullptr);
    Listen();
    EXPECT_FALSE(m_client.IsNewDsEvent());
    WriteEvents(1); // nobody has looked at it
    m_client.ResetOutputDirChange();
    EXPECT_TRUE(WaitUntil([&] { return m_client.IsNewDsEvent(); }));
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    EXPECT_TRUE(m_client.GetDsEvents(events));
    m_client.ResetOutputDirChange();
    // The taking was a change. Looking once more finds nothing and changes nothing, so it ends there.
    EXPECT_TRUE(WaitUntil([&] { return m_client.IsOutputDirChange(); }));
    m_files.ForgetCalls();
    EXPECT_FALSE(m_client.IsNewDsEvent());
    m_client.ResetOutputDirChange();
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_OpenLockFile), 0U);
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Open), 0U);
}

TEST_F(ClientListen, AWatchThreadThatDoesNotEndIsShown)
{
    CGate gate;
    std::atomic<bool> isStopped = false;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Rearm && call.path == m_outputDir && !isStopped.exchange(true))
            gate.Pass();
    });
    const platform::CScopedOs os(&m_files, nullptr);
    Listen();
    m_client.ResetOutputDirChange();
    Write(In(m_outputDir, L"any"));
    ASSERT_TRUE(gate.WaitUntilEntered());
    platform::CThread opener;
    ASSERT_TRUE(opener.Start([&] {
        m_host.ExpectBox(L"Something went wrong with m_pThreadListenFileWatch thread!");
        gate.Open();
        return 0U;
    }));
    EXPECT_TRUE(m_client.StopListeningDsEvents());
    EXPECT_TRUE(opener.Join());
    EXPECT_FALSE(SClientTestAccess{m_client}.HasWatchThread());
    m_files.OnCall({});
}

TEST_F(ClientListen, StoppingWakesTheThreadWithALockFileAndClearsTheFlag)
{
    Listen();
    EXPECT_TRUE(SClientTestAccess{m_client}.HasWatchThread());
    testsupport::CFaultyFiles& files = m_files;
    {
        const platform::CScopedOs os(&files, nullptr);
        EXPECT_TRUE(m_client.StopListeningDsEvents());
    }
    bool woken = false;
    for (const auto& call : files.Calls())
        woken = woken || (call.call == testsupport::eFileCall_OpenLockFile &&
                          call.path == In(m_outputDir, L"ThreadListenFileWatchStop.lock"));
    EXPECT_TRUE(woken);
    EXPECT_FALSE(platform::PathExists(In(m_outputDir, L"ThreadListenFileWatchStop.lock")));
    EXPECT_FALSE(SClientTestAccess{m_client}.HasWatchThread());
    EXPECT_FALSE(m_client.IsOutputDirChange());
    EXPECT_FALSE(m_client.GetDsEventsFileFullPath().empty()) << "the id is kept";
}

TEST_F(ClientListen, AServerThatIsGoneDoesNotKeepTheClientAlive)
{
    auto client = std::make_unique<CZelProcessorClient>();
    client->Init(m_requestDir, m_outputDir, m_clientDir);
    ASSERT_TRUE(client->ListenDsEvents());
    m_pServer.reset();
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    client.reset();
    m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_UnregisterClient) TIMEOUT");
}

TEST_F(ClientListen, ARegistrationThatNobodyAnswersFails)
{
    m_pServer.reset();
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_RegisterClient) TIMEOUT");
    m_host.ExpectReport(520, L"SendCommand(eCommandType_RegisterClient) != eRequestStatus_Done, "
                             L"statusSendCommand=eRequestStatus_ServerTimeout\n  RegisterClient__{");
}

TEST_F(ClientListen, AServerThatCameAnewKnowsNothingOfTheRegistration)
{
    Listen();
    Make();
    Run();
    EXPECT_TRUE(Access().Clients().empty());
    EXPECT_TRUE(m_client.StopListeningDsEvents()) << "the answer is Done all the same";
}

TEST_F(ClientListen, AFileOfPresenceIsKeptOnlyWhenItIsAskedForAndUntilTheClientStops)
{
    Listen();
    const auto presence = [this] {
        const SClientTestAccess access{m_client};
        return access.client.m_paths.Presence(access.Id());
    };
    EXPECT_FALSE(platform::PathExists(presence()));
    m_client.SetPresence(true);
    Listen();
    const std::wstring first = presence();
    EXPECT_EQ(platform::Files().Remove(first), platform::eOsError_SharingViolation) << "it is held";
    Listen();
    EXPECT_FALSE(platform::PathExists(first)) << "another registration, another file";
    EXPECT_EQ(platform::Files().Remove(presence()), platform::eOsError_SharingViolation);
    EXPECT_TRUE(m_client.StopListeningDsEvents());
    EXPECT_FALSE(platform::PathExists(presence()));
}

TEST_F(ClientListen, AFileOfPresenceThatCanNotBeKeptIsToldAndTheClientListens)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_OpenLockFile, platform::eOsError_AccessDenied, L"Presence_");
    m_client.SetPresence(true);
    Listen();
    m_host.ExpectLogLine(L"should this process die, its registration stays");
    EXPECT_TRUE(m_client.StopListeningDsEvents());
}

TEST_F(ClientListen, WhoRegistersAgainLearnsFromANewServerThatEverythingMayHaveChanged)
{
    m_client.SetRegistersAgain(true);
    m_client.SetPresence(true);
    Listen();
    const std::wstring before = m_client.GetDsEventsFileFullPath();
    Make();
    Run();
    ASSERT_TRUE(WaitUntil([&] { return m_client.IsNewDsEvent(); }));
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    ASSERT_TRUE(m_client.GetDsEvents(events));
    ASSERT_EQ(events.size(), 1U);
    LONG kind = 0;
    EXPECT_EQ(events.front()->GetKind(&kind), S_OK);
    EXPECT_EQ(kind, eDsEventKind_Reload);
    EXPECT_NE(m_client.GetDsEventsFileFullPath(), before);
    const GUID id = SClientTestAccess{m_client}.Id();
    EXPECT_EQ(Access().Clients(), std::vector<GUID>{id});
    EXPECT_TRUE(platform::PathExists(SClientTestAccess{m_client}.client.m_paths.Presence(id)));
    WriteEvents(2);
    ASSERT_TRUE(WaitUntil([&] { return m_client.IsNewDsEvent(); }));
    ASSERT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 2U) << "as ever";
}

TEST_F(ClientListen, WhoseFileIsTakenAwayByOthersIsRegisteredOnce)
{
    m_client.SetRegistersAgain(true);
    Listen();
    const GUID lost = SClientTestAccess{m_client}.Id();
    EXPECT_EQ(platform::Files().Remove(m_client.GetDsEventsFileFullPath()), platform::eOsError_None);
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    ASSERT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 1U);
    EXPECT_NE(SClientTestAccess{m_client}.Id(), lost);
    EXPECT_EQ(Access().Clients(), std::vector<GUID>{SClientTestAccess{m_client}.Id()});
}

TEST_F(ClientListen, RegisteringAgainIsTriedUntilItWorks)
{
    m_client.SetRegistersAgain(true);
    Listen();
    m_pServer.reset();
    EXPECT_EQ(platform::Files().Remove(m_client.GetDsEventsFileFullPath()), platform::eOsError_None);
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    {
        testsupport::CManualClock clock;
        const platform::CScopedOs os(nullptr, &clock);
        EXPECT_FALSE(m_client.GetDsEvents(events));
        m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_RegisterClient) TIMEOUT");
        m_host.ExpectReport(520, L"SendCommand(eCommandType_RegisterClient) != eRequestStatus_Done");
    }
    EXPECT_TRUE(FilesIn(m_requestDir).empty()) << "a command for each try, for the next server to carry out";
    m_client.ResetOutputDirChange();
    EXPECT_TRUE(m_client.IsNewDsEvent()) << "also when nothing else changes";
    Make();
    Run();
    ASSERT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 1U);
}

TEST_F(ClientListen, WhoDoesNotRegisterAgainHearsNothingOfANewServer)
{
    Listen();
    Make();
    Run();
    EXPECT_FALSE(m_client.IsNewDsEvent());
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    EXPECT_FALSE(m_client.GetDsEvents(events));
    m_host.ExpectReport(681, L"CZELEnvFileDsEventsFile::ReadDsEventsFile failed");
    EXPECT_TRUE(Access().Clients().empty());
}
