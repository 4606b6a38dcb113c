#include "tests/library/ServerFixture.h"

#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/LockFile.h"
#include "com/CreateInstance.h"
#include "com/Guid.h"
#include "platform/Text.h"
#include "protocol/ProtocolFiles.h"
#include "tests/support/ManualClock.h"

namespace {

/// A client that is registered with a running server. The tests write its files themselves.
class ClientEvents : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        Run();
    }
    void TearDown() override { static_cast<void>(m_client.StopListeningDsEvents()); }

    void Listen() { ASSERT_TRUE(m_client.ListenDsEvents()); }
    void WriteEvents(std::size_t count) const
    {
        CDsEventsDataVector events;
        while (events.size() < count)
            events.push_back(CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData));
        ASSERT_TRUE(WriteDsEventsFile(m_client.GetDsEventsFileFullPath(), events));
    }
    /// The ids of the group file as text; "null" for a null array.
    std::string TakeGroups()
    {
        CComPtr<IWQ_CLSIDArray> groups;
        EXPECT_TRUE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
        if (!groups)
            return "null";
        std::string text;
        ULONGLONG count = 0;
        EXPECT_EQ(groups->GetCount(&count), S_OK);
        for (ULONGLONG index = 0; index < count; ++index) {
            GUID id{};
            EXPECT_EQ(groups->GetAt(index, &id), S_OK);
            text += std::to_string(id.Data1) + " ";
        }
        return text;
    }
    void WriteGroups(const std::string& content) const
    {
        Write(m_client.GetInsertableItemsChangeFile(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Archive version=\"1\">" + content + "</Archive>");
    }
    static std::string Id(int number) { return "{0000000" + std::to_string(number) + "-0000-0000-0000-000000000000}"; }
};

} // namespace

TEST_F(ClientEvents, BeforeTheRegistrationThereIsNothing)
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

TEST_F(ClientEvents, TheGoldenAnswerIsRead)
{
    GUID id{};
    EXPECT_EQ(Protocol::ReadRegistrationAnswer(In(platform::FromUtf8(ZEL_GOLDEN_DIRECTORY), L"client.answer"), id),
              platform::eOsError_None);
    EXPECT_EQ(GuidToText(id), L"{01234567-89AB-CDEF-0102-030405060708}");
}

TEST_F(ClientEvents, AnAnswerThatCanNotBeTakenReadOrBelievedIsReported)
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

TEST_F(ClientEvents, ASecondRegistrationThatFailsLeavesTheFirst)
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

TEST_F(ClientEvents, ADirectoryThatCanNotBeWatchedIsReportedAndWatchedTheNextTime)
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

TEST_F(ClientEvents, AWatchThatFailsIsReportedAndGoesOn)
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

TEST_F(ClientEvents, TheDirectoryIsWatchedWhenTheRegistrationReturns)
{
    const platform::CScopedOs os(&m_files, nullptr);
    Listen();
    bool isWatched = false;
    for (const auto& call : m_files.Calls())
        isWatched = isWatched || (call.call == testsupport::eFileCall_Watch && call.path == m_outputDir);
    EXPECT_TRUE(isWatched);
}

TEST_F(ClientEvents, WhatChangesBetweenTheLookAndTheResetIsTheNextChange)
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

TEST_F(ClientEvents, AWatchThreadThatDoesNotEndIsShown)
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

TEST_F(ClientEvents, AnEventIsNewOnceItIsWrittenAndUntilItIsTaken)
{
    Listen();
    EXPECT_TRUE(m_client.IsOutputDirChange());
    EXPECT_FALSE(m_client.IsNewDsEvent()) << "the file is empty";
    WriteEvents(2);
    EXPECT_TRUE(m_client.IsNewDsEvent());
    std::vector<CComPtr<IWQ_DsEventsData>> events(5);
    EXPECT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 2U);
    EXPECT_EQ(Read(m_client.GetDsEventsFileFullPath()), "");
    EXPECT_FALSE(m_client.IsNewDsEvent());
    EXPECT_FALSE(platform::PathExists(m_client.GetDsEventsFileFullPath() + L".lock"));
}

TEST_F(ClientEvents, AfterAResetTheQueriesTouchNoDiskUntilTheNextChange)
{
    Listen();
    // The thread has made its watch once it raises the flag for a change of ours.
    ASSERT_TRUE(WaitUntil([&] {
        m_client.ResetOutputDirChange();
        Write(In(m_outputDir, L"any"));
        return WaitUntil([&] { return m_client.IsOutputDirChange(); });
    }));
    WriteEvents(1);
    m_pServer->OnChangedLockResults();
    {
        const platform::CScopedOs os(&m_files, nullptr);
        EXPECT_TRUE(WaitUntil([&] {
            m_client.ResetOutputDirChange();
            m_files.ForgetCalls();
            const bool isNews =
                m_client.IsNewDsEvent() || m_client.IsInsertableItemsUpdated() || m_client.IsLockResultsChanged();
            if (m_client.IsOutputDirChange())
                return false; // one that was on its way has raised it again
            EXPECT_FALSE(isNews);
            return true;
        }));
    }
    EXPECT_TRUE(m_files.Calls().empty());
    Write(In(m_outputDir, L"other"));
    EXPECT_TRUE(WaitUntil([&] { return m_client.IsNewDsEvent(); }));
    EXPECT_TRUE(m_client.IsLockResultsChanged());
}

TEST_F(ClientEvents, AFileThatTheServerHoldsForLongIsReportedAndReadTheNextTime)
{
    Listen();
    WriteEvents(1);
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    {
        CLockFile writing(m_client.GetDsEventsFileFullPath());
        ASSERT_TRUE(writing.Lock(false));
        testsupport::CManualClock clock(std::chrono::milliseconds(10));
        const platform::CScopedOs os(nullptr, &clock);
        EXPECT_FALSE(m_client.GetDsEvents(events));
    }
    m_host.ExpectReport(58, L"Timeout expired");
    m_host.ExpectReport(680, L"Unable to read ds events file because is locked still on server side !");
    EXPECT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 1U);
}

TEST_F(ClientEvents, ABrokenEventsFileIsReportedAndKept)
{
    Listen();
    WriteEvents(1);
    const std::string whole = Read(m_client.GetDsEventsFileFullPath());
    Write(m_client.GetDsEventsFileFullPath(), whole.substr(0, whole.size() - 1));
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    EXPECT_FALSE(m_client.GetDsEvents(events));
    m_host.ExpectReport(681, L"CZELEnvFileDsEventsFile::ReadDsEventsFile failed");
    EXPECT_EQ(Read(m_client.GetDsEventsFileFullPath()).size(), whole.size() - 1);
    EXPECT_FALSE(platform::PathExists(m_client.GetDsEventsFileFullPath() + L".lock"));
}

TEST_F(ClientEvents, FilesThatCanNotBeClearedAreReportedAndReadAgain)
{
    Listen();
    WriteEvents(1);
    WriteGroups("<Group RevisionID=\"" + Id(3) + "\"/>");
    m_pServer->OnChangedLockResults();
    std::wstring clearing;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && call.mode == platform::eOpenMode_WriteExclusive &&
            call.path == clearing)
            m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied, 1, clearing);
    });
    const platform::CScopedOs os(&m_files, nullptr);
    clearing = m_client.GetDsEventsFileFullPath();
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    EXPECT_FALSE(m_client.GetDsEvents(events));
    m_host.ExpectReport(682, L"DeleteDsEventsFileContent failed");
    EXPECT_TRUE(events.empty()) << "they come again";
    clearing = m_client.GetInsertableItemsChangeFile();
    CComPtr<IWQ_CLSIDArray> groups;
    EXPECT_FALSE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
    m_host.ExpectReport(740, L"Unable to clear bsInsertableItemsGroupFile");
    EXPECT_FALSE(groups);
    clearing = m_client.GetLockResultsChangeFile();
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
    m_host.ExpectReport(800, L"Unable to clear LockResultsChangeFile");

    m_files.OnCall({});
    EXPECT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 1U);
    EXPECT_EQ(TakeGroups(), "3 ");
    EXPECT_TRUE(m_client.ResetLockResultsChanged());
}

TEST_F(ClientEvents, AFileThatAStrangerKeepsOpenIsClearedForASecondOnly)
{
    Listen();
    m_pServer->OnChangedLockResults();
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"LockResultsChange_");
    const platform::CScopedOs os(&m_files, &m_clock);
    const auto start = m_clock.Steady();
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
    EXPECT_LT(m_clock.Steady() - start, std::chrono::seconds(2));
    m_host.ExpectReport(800, L"Unable to clear LockResultsChangeFile");
}

TEST_F(ClientEvents, AnEmptyGroupFileHasNoGroups)
{
    Listen();
    EXPECT_EQ(TakeGroups(), "");
    WriteGroups("<Group RevisionID=\"" + Id(3) + "\"/>");
    EXPECT_FALSE(m_client.GetChangedInsertableItemsGroups(nullptr));
    EXPECT_EQ(TakeGroups(), "3 ") << "nothing was taken for nobody";
}

TEST_F(ClientEvents, GroupsAreReadInBothShapes)
{
    Listen();
    WriteGroups("<Group><RevisionID>" + Id(1) + "</RevisionID><RevisionID>" + Id(2) + "</RevisionID></Group>");
    EXPECT_TRUE(m_client.IsInsertableItemsUpdated());
    EXPECT_EQ(TakeGroups(), "1 2 ");
    WriteGroups("<Group RevisionID=\"" + Id(3) + "\"/><Group RevisionID=\"" + Id(4) + "\"/>");
    EXPECT_EQ(TakeGroups(), "3 4 ");
    EXPECT_FALSE(m_client.IsInsertableItemsUpdated());
}

TEST_F(ClientEvents, ANullIdAmongTheGroupsGivesANullArray)
{
    Listen();
    for (const std::string& groups :
         {"<Group RevisionID=\"" + Id(3) + "\"/><Group RevisionID=\"" + Id(0) + "\"/>", std::string("<Group/>"),
          "<Group><RevisionID>" + Id(1) + "</RevisionID><RevisionID>" + Id(0) + "</RevisionID></Group>"}) {
        WriteGroups(groups);
        EXPECT_EQ(TakeGroups(), "null") << groups;
        EXPECT_EQ(Read(m_client.GetInsertableItemsChangeFile()), "");
    }
}

TEST_F(ClientEvents, TruncatedAndCorruptedGroupsAreReportedAndMayMeanEverything)
{
    Listen();
    WriteGroups("<Group><RevisionID>" + Id(1) + "</RevisionID></Group>");
    const std::string whole = Read(m_client.GetInsertableItemsChangeFile());
    for (std::size_t length = 1; length < whole.size(); length += 3) {
        Write(m_client.GetInsertableItemsChangeFile(), whole.substr(0, length));
        EXPECT_EQ(TakeGroups(), "null") << length;
        m_host.ExpectReport(742, L"Unable to read " + m_client.GetInsertableItemsChangeFile());
    }
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string flipped = whole;
        flipped[at] = static_cast<char>(flipped[at] ^ (1 << (at % 8)));
        Write(m_client.GetInsertableItemsChangeFile(), flipped);
        static_cast<void>(TakeGroups());
        static_cast<void>(m_host.TakeReports());
        EXPECT_EQ(Read(m_client.GetInsertableItemsChangeFile()), "") << at;
    }
}

TEST_F(ClientEvents, TheOtherReadersDoNotWaitForTheServer)
{
    Listen();
    WriteGroups("<Group RevisionID=\"" + Id(3) + "\"/>");
    m_pServer->OnChangedLockResults();
    CComPtr<IWQ_CLSIDArray> groups;
    CLockFile first(m_client.GetInsertableItemsChangeFile());
    CLockFile second(m_client.GetLockResultsChangeFile());
    ASSERT_TRUE(first.Lock(false));
    ASSERT_TRUE(second.Lock(false));
    EXPECT_FALSE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
}

TEST_F(ClientEvents, FilesThatAreMissingAreShown)
{
    Listen();
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(m_client.GetInsertableItemsChangeFile())));
    CComPtr<IWQ_CLSIDArray> groups;
    EXPECT_FALSE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
    m_host.ExpectBox(L"Response file " + m_client.GetInsertableItemsChangeFile() + L" does not exist");
    EXPECT_FALSE(m_client.ResetLockResultsChanged());
    m_host.ExpectBox(L"Response file " + m_client.GetLockResultsChangeFile() + L" does not exist");
}

TEST_F(ClientEvents, StoppingWakesTheThreadWithALockFileAndClearsTheFlag)
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

TEST_F(ClientEvents, AServerThatIsGoneDoesNotKeepTheClientAlive)
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

TEST_F(ClientEvents, ARegistrationThatNobodyAnswersFails)
{
    m_pServer.reset();
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_RegisterClient) TIMEOUT");
    m_host.ExpectReport(520, L"SendCommand(eCommandType_RegisterClient) != eRequestStatus_Done, "
                             L"statusSendCommand=eRequestStatus_ServerTimeout\n  RegisterClient__{");
}

TEST_F(ClientEvents, AServerThatCameAnewKnowsNothingOfTheRegistration)
{
    Listen();
    Make();
    Run();
    EXPECT_TRUE(Access().Clients().empty());
    EXPECT_TRUE(m_client.StopListeningDsEvents()) << "the answer is Done all the same";
}
