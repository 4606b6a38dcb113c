#include "tests/library/server/NotifyFixture.h"

#include "ZEL_Processor/LockFile.h"
#include "platform/Text.h"
#include "protocol/CommandFile.h"

#include <algorithm>
#include <set>

namespace {

class Clients : public CNotifyFixture {};

} // namespace

TEST_F(Clients, ARegistrationHasAnIdAndTwoEmptyFiles)
{
    ASSERT_TRUE(m_client.ListenDsEvents());
    const GUID id = SClientTestAccess{m_client}.Id();
    ASSERT_EQ(Access().Clients().size(), 1U);
    EXPECT_TRUE(IsEqualGUID(Access().Clients().front(), id));
    EXPECT_EQ(m_client.GetDsEventsFileFullPath(), m_pServer->GetDsEventsFileFullPath(id));
    EXPECT_EQ(Read(m_client.GetDsEventsFileFullPath()), "");
    EXPECT_EQ(Read(m_client.GetInsertableItemsChangeFile()), "");
    EXPECT_FALSE(platform::PathExists(m_client.GetLockResultsChangeFile()));
    EXPECT_TRUE(FilesIn(m_clientDir).empty()) << "the answer is taken away";
}

TEST_F(Clients, RegisteringTwiceGivesTwoIdsAndTwoSetsOfFiles)
{
    std::set<std::wstring> files;
    for (const bool first : {true, false}) {
        ASSERT_TRUE(m_client.ListenDsEvents()) << first;
        const GUID id = SClientTestAccess{m_client}.Id();
        EXPECT_TRUE(IsEqualGUID(Access().Clients().back(), id));
        files.insert({L"DsEvents_" + GuidToText(id), L"InsertableItemsGroup_" + GuidToText(id)});
    }
    ASSERT_EQ(Access().Clients().size(), 2U);
    EXPECT_FALSE(IsEqualGUID(Access().Clients()[0], Access().Clients()[1]));
    const auto found = FilesIn(m_outputDir);
    EXPECT_EQ(std::set<std::wstring>(found.begin(), found.end()), files) << "four, and nothing else";
}

TEST_F(Clients, UnregisteringTakesTheEventsFileAwayAndLeavesTheOthers)
{
    ASSERT_TRUE(m_client.ListenDsEvents());
    EXPECT_TRUE(m_client.StopListeningDsEvents());
    EXPECT_TRUE(Access().Clients().empty());
    EXPECT_FALSE(platform::PathExists(m_client.GetDsEventsFileFullPath()));
    EXPECT_TRUE(platform::PathExists(m_client.GetInsertableItemsChangeFile()));
}

TEST_F(Clients, AnUnknownIdIsFalseAndTouchesNoFile)
{
    const GUID known = Register();
    std::set<std::wstring> touched; // by this thread; the listener may look at the command's end
    const auto self = platform::CurrentThreadId();
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (platform::CurrentThreadId() == self)
            touched.insert(call.path);
    });
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_FALSE(Access().UnregisterClient(kFirstGroup));
    EXPECT_EQ(touched, std::set<std::wstring>());
    EXPECT_EQ(Access().Clients(), std::vector<GUID>{known});
    EXPECT_TRUE(Access().UnregisterClient(known));
    EXPECT_EQ(touched, std::set<std::wstring>{m_pServer->GetDsEventsFileFullPath(known)});
    EXPECT_FALSE(Access().UnregisterClient(known)) << "only once";
    m_pServer->Stop(true); // nobody else uses the files any more
}

TEST_F(Clients, AFileThatCanNotBeMadeEndsTheRegistration)
{
    testsupport::CFaultyFiles& files = m_files;
    testsupport::CManualClock& clock = m_clock; // the client waits for an answer that does not name it
    const platform::CScopedOs os(&files, &clock);
    files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_AccessDenied, L"InsertableItemsGroup_");
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(843, platform::OsErrorText(platform::eOsError_AccessDenied) + L"\n   " +
                                 In(m_outputDir, L"InsertableItemsGroup_{"));
    m_host.ExpectBox(L"does not exist");
    m_host.ExpectReport(521, L"!ReceiveOutput\n  " + In(m_clientDir, L"RegisterClient__{"));
    EXPECT_TRUE(Access().Clients().empty());
}

TEST_F(Clients, ARegistrationDoesNotWaitForANotification)
{
    CLockFile suspended(m_pServer->GetInsertableItemsChangeFile(Register()));
    ASSERT_TRUE(suspended.Lock(false));
    m_pPalette->m_groups = {kFirstGroup};
    const platform::CScopedOs os(nullptr, &m_stillClock);
    {
        CBeside telling([&] { m_pServer->OnChangedDs(Event(1).Get()); });
        EXPECT_TRUE(WaitUntil([&] { return m_stillClock.Yields() > 0; })) << "it waits for the lock";
        CBeside registering([&] {
            const GUID client = Register();
            EXPECT_TRUE(Access().UnregisterClient(client));
        });
        EXPECT_TRUE(registering.EndsInTime());
        m_stillClock.Advance(std::chrono::seconds(3));
    }
    m_host.ExpectReport(58, L"Timeout expired");
    m_host.ExpectReport(1018, L"Unable to lock communication file on the server side !");
    m_pServer->Stop(true); // nobody else uses the clock any more
}

TEST_F(Clients, WhoGoesWhileItIsToldLeavesNoEventsFileBehind)
{
    const GUID going = Register();
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(going);
    const GUID staying = Register();
    bool gone = false;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (gone || call.call != testsupport::eFileCall_Open || call.path != path ||
            call.mode != platform::eOpenMode_WriteExclusive)
            return;
        gone = true; // behind the writer's look whether the file is there
        EXPECT_TRUE(Access().UnregisterClient(going));
        EXPECT_FALSE(platform::PathExists(path));
    });
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_pServer->OnChangedDs(Event(1).Get());
    }
    EXPECT_TRUE(gone);
    EXPECT_FALSE(platform::PathExists(path));
    EXPECT_EQ(EventsIn(m_pServer->GetDsEventsFileFullPath(staying)), std::vector<LONG>{1});
    EXPECT_EQ(Access().PendingEvents(), 0U);
}

TEST_F(Clients, AnEventsFileThatAStrangerHoldsKeepsNobodyFromNotificationsOrAStop)
{
    const GUID going = Register();
    const std::wstring held = m_pServer->GetDsEventsFileFullPath(going);
    const std::wstring other = m_pServer->GetDsEventsFileFullPath(Register());
    std::atomic<bool> removing = false;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        removing = removing || (call.call == testsupport::eFileCall_Remove && call.path == held);
    });
    const platform::CScopedOs os(&m_files, nullptr);
    std::unique_ptr<platform::IFile> stranger;
    ASSERT_EQ(platform::Files().Open(held, platform::eOpenMode_ReadExclusive, stranger), platform::eOsError_None);
    const std::wstring command = In(m_clientDir, L"unregister");
    HRESULT made = S_OK;
    ASSERT_TRUE(CommandFile::Write(command, eCommandType_UnregisterClient, GuidToText(going), made));
    ASSERT_EQ(platform::Files().Move(command, In(m_requestDir, L"unregister.command"), 0), platform::eOsError_None);
    EXPECT_TRUE(WaitUntil([&] { return removing.load(); }));
    CBeside working([&] {
        m_pServer->OnChangedDs(Event(1).Get());
        EXPECT_EQ(EventsIn(other), std::vector<LONG>{1});
        m_pServer->Stop(true);
    });
    EXPECT_TRUE(working.EndsInTime());
    EXPECT_TRUE(platform::PathExists(held));
    stranger.reset();
}

TEST_F(Clients, AnEventsFileThatAStrangerHoldsGoesWhenHeLetsGo)
{
    const GUID going = Register();
    const std::wstring held = m_pServer->GetDsEventsFileFullPath(going);
    std::unique_ptr<platform::IFile> stranger;
    ASSERT_EQ(platform::Files().Open(held, platform::eOpenMode_ReadExclusive, stranger), platform::eOsError_None);
    EXPECT_TRUE(Access().UnregisterClient(going)) << "on its way";
    EXPECT_TRUE(platform::PathExists(held));
    stranger.reset();
    EXPECT_TRUE(WaitUntil([&] { return !platform::PathExists(held); }));
}

TEST_F(Clients, AnAnswerThatCanNotBeWrittenEndsTheRegistration)
{
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_AccessDenied, L"RegisterClient__");
        EXPECT_FALSE(Access().RegisterNewClient(L"RegisterClient__x"));
    }
    m_host.ExpectReport(863, platform::OsErrorText(platform::eOsError_AccessDenied) + L"\n   " +
                                 In(m_outputDir, L"RegisterClient__x"));
    EXPECT_TRUE(Access().Clients().empty());
    const auto files = FilesIn(m_outputDir);
    EXPECT_TRUE(std::none_of(files.begin(), files.end(),
                             [](const std::wstring& name) { return name.find(L"DsEvents_") == 0; }));
}

TEST_F(Clients, AnAnswerTakesNoNameThatTheServerGives)
{
    const std::wstring id = GuidToText(kFirstGroup);
    for (const std::wstring& name :
         {std::wstring(L"victim.drq"), std::wstring(L"victim.XML"), std::wstring(L"x.command"),
          std::wstring(L"victim.drq.Status"), L"DsEvents_" + id, L"dsevents_" + id, L"InsertableItemsGroup_" + id,
          L"LockResultsChange_" + id, std::wstring(L"RegisterClient__x.lock")}) {
        EXPECT_FALSE(Access().RegisterNewClient(name)) << platform::ToUtf8(name);
        EXPECT_FALSE(platform::PathExists(In(m_outputDir, name))) << "before its time, too";
    }
    EXPECT_TRUE(FilesIn(m_outputDir).empty()) << "nothing of it is begun";
    EXPECT_TRUE(Access().Clients().empty());
    m_host.ExpectLogLine(In(m_outputDir, L"victim.drq") + L": the answer to a registration cannot have this name");
}

TEST_F(Clients, AnAnswerTakesNoNameOfARequestThatWaitsWhateverItsExtension)
{
    Make();
    m_pServer->SetNoExecutiveThread(true);
    Run();
    Write(In(m_requestDir, L"notes"));
    ASSERT_EQ(m_client.PauseRequest(L"notes"), eRequestStatus_Done);
    ASSERT_TRUE(Access().IsRequestPaused(L"notes"));
    EXPECT_FALSE(Access().RegisterNewClient(L"notes"));
    EXPECT_FALSE(platform::PathExists(In(m_outputDir, L"notes")));
    m_host.ExpectLogLine(L"the answer to a registration cannot have this name");
}

TEST_F(Clients, AnAnswerIsWrittenOverNothing)
{
    const std::wstring path = In(m_outputDir, L"another's");
    Write(path, "content");
    EXPECT_FALSE(Access().RegisterNewClient(L"another's"));
    m_host.ExpectReport(863, platform::OsErrorText(platform::eOsError_AlreadyExists) + L"\n   " + path);
    EXPECT_EQ(Read(path), "content");
    EXPECT_TRUE(Access().Clients().empty());
    EXPECT_FALSE(Access().RegisterNewClient(L"Queue"));
    m_host.ExpectReport(863, platform::OsErrorText(platform::eOsError_AlreadyExists));
}

TEST_F(Clients, RegistrationsEndWithTheServer)
{
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    m_pServer->Stop(true);
    m_pServer->OnChangedDs(Event(1).Get());
    EXPECT_EQ(Read(path), "");
}

TEST_F(Clients, ARegistrationBeyondTheLimitFailsWithTheReason)
{
    Make({.syncing = false, .maxClients = 1});
    Run();
    ASSERT_TRUE(m_client.ListenDsEvents());
    CZelProcessorClient second;
    second.Init(m_requestDir, m_outputDir, m_clientDir);
    EXPECT_FALSE(second.ListenDsEvents());
    const auto reports = m_host.TakeReports();
    ASSERT_FALSE(reports.empty());
    EXPECT_NE(reports[0].message.find(FormatText(RootApp_RSC_CStr(136, "IDS_TOO_MANY_CLIENTS"), {L"1"})),
              std::wstring::npos)
        << platform::ToUtf8(reports[0].message);
    EXPECT_EQ(Access().Clients().size(), 1U);
    EXPECT_TRUE(WaitUntil([this] { return FilesIn(In(m_outputDir, L"Queue")).empty(); }))
        << "a refusal is an answer: the command is done with";
    EXPECT_TRUE(m_client.StopListeningDsEvents());
    EXPECT_TRUE(second.ListenDsEvents()) << "there is room again";
    m_host.ExpectLogLine(L"Refused (");
}

TEST_F(Clients, WithPresenceWhoEndsWithoutAWordIsUnregistered)
{
    RunAgain({.syncing = false, .presence = true});
    const GUID foreign = Register();
    CZelProcessorClient client;
    client.Init(m_requestDir, m_outputDir, m_clientDir);
    client.SetSyncing(false);
    client.SetPresence(true);
    ASSERT_TRUE(client.ListenDsEvents());
    const SClientTestAccess access{client};
    const std::wstring presence = access.client.m_paths.Presence(access.Id());
    ASSERT_TRUE(WaitUntil([&] { return Access().server.m_registry.IsSeen(access.Id()); }));
    EXPECT_TRUE(platform::PathExists(presence));
    access.client.m_pPresence.reset(); // as the end of its process would
    EXPECT_TRUE(WaitUntil([&] { return !platform::PathExists(client.GetDsEventsFileFullPath()); }));
    EXPECT_TRUE(WaitUntil([&] { return !platform::PathExists(client.GetInsertableItemsChangeFile()); }));
    m_host.ExpectLogLine(L"has died: its registration has ended");
    EXPECT_EQ(Access().Clients(), std::vector<GUID>{foreign}) << "who never showed a file is kept";
}

TEST_F(Clients, WithoutPresenceAFileOfPresenceMeansNothing)
{
    const GUID id = Register();
    const std::wstring presence = Access().server.m_settings.m_paths.Presence(id);
    Write(presence, "");
    const std::uint32_t turn = Access().server.m_listener.Turns();
    ASSERT_TRUE(WaitUntil([&] { return Access().server.m_listener.Turns() >= turn + 3; }));
    EXPECT_EQ(Access().Clients(), std::vector<GUID>{id});
    EXPECT_TRUE(platform::PathExists(presence));
}
