#include "tests/library/NotifyFixture.h"

#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "ZEL_Processor/LockFile.h"
#include "server/ChangedGroups.h"
#include "tests/support/Links.h"

#include <algorithm>
#include <new>
#include <set>

namespace {

class Notify : public CNotifyFixture {
protected:
    /// The server anew, with these options.
    void RunAgain(const SZelServerOptions& options)
    {
        m_pServer.reset();
        Make(options);
        m_pServer->SetPalette(m_pPalette.Get());
        Run();
    }
    static CComPtr<IWQ_DsEventsData> LargeEvent(std::size_t items = 0)
    {
        auto event = Event(1);
        const auto all = MakeDsItems();
        for (std::size_t count = 0; count < items + 100; ++count)
            static_cast<void>(all->Add(1));
        EXPECT_EQ(event->PutAddedItems(ListOf(all.Get()).Get()), S_OK);
        return event;
    }
};

} // namespace

TEST_F(Notify, EveryClientGetsEveryEventInOrder)
{
    CZelProcessorClient& first = AddListener();
    CZelProcessorClient& second = AddListener();
    m_pServer->OnChangedDs(Event(1).Get());
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_EQ(Take(first), (std::vector<LONG>{1, 2}));
    m_pServer->OnChangedDs(Event(3).Get());
    EXPECT_EQ(Take(first), std::vector<LONG>{3});
    EXPECT_EQ(Take(second), (std::vector<LONG>{1, 2, 3}));
    EXPECT_EQ(Read(second.GetDsEventsFileFullPath()), "");
}

TEST_F(Notify, AClientThatReadsGetsItsEventsWithTheNext)
{
    CZelProcessorClient& client = AddListener();
    {
        CLockFile reading(client.GetDsEventsFileFullPath());
        ASSERT_TRUE(reading.Lock(false));
        m_pServer->OnChangedDs(Event(1).Get());
        EXPECT_EQ(Access().PendingEvents(), 1U);
    }
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_EQ(Take(client), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(Access().PendingEvents(), 0U);
}

TEST_F(Notify, PendingEventsGoIntoTheNextFileWhoseverItIs)
{
    CZelProcessorClient& reader = AddListener();
    CZelProcessorClient& other = AddListener();
    CLockFile reading(reader.GetDsEventsFileFullPath());
    ASSERT_TRUE(reading.Lock(false));
    m_pServer->OnChangedDs(Event(1).Get());
    EXPECT_EQ(Take(other), (std::vector<LONG>{1, 1}));
    EXPECT_EQ(Access().PendingEvents(), 0U);
}

TEST_F(Notify, AnUnreadableEventsFileIsReportedAndKept)
{
    CZelProcessorClient& client = AddListener();
    Write(client.GetDsEventsFileFullPath(), "broken");
    m_pServer->OnChangedDs(Event(1).Get());
    m_host.ExpectReport(963, L"Unable to read ds events file !");
    EXPECT_EQ(Read(client.GetDsEventsFileFullPath()), "broken");
    EXPECT_EQ(Access().PendingEvents(), 0U);
    EXPECT_FALSE(platform::PathExists(client.GetDsEventsFileFullPath() + L".lock"));
}

TEST_F(Notify, WithPatienceEventsWaitWhileSomebodyHoldsTheirFile)
{
    RunAgain({.syncing = false, .patienceMs = 50});
    CZelProcessorClient& client = AddListener();
    m_pServer->OnChangedDs(Event(1).Get());
    {
        std::unique_ptr<platform::IFile> stranger;
        ASSERT_EQ(platform::Files().Open(client.GetDsEventsFileFullPath(), platform::eOpenMode_ReadExclusive, stranger),
                  platform::eOsError_None);
        testsupport::CManualClock clock(std::chrono::milliseconds(10));
        const platform::CScopedOs os(nullptr, &clock);
        m_pServer->OnChangedDs(Event(2).Get());
        m_host.ExpectReport(963, L"Unable to read ds events file !");
        EXPECT_EQ(Access().PendingEvents(), 1U);
        const auto before = clock.Steady();
        m_pServer->OnChangedDs(Event(3).Get());
        EXPECT_LT(clock.Steady() - before, std::chrono::seconds(2)) << "he is not waited for again, nor told of";
        EXPECT_EQ(Access().PendingEvents(), 2U);
    }
    m_pServer->OnChangedDs(Event(4).Get());
    EXPECT_EQ(Take(client), (std::vector<LONG>{1, 2, 3, 4}));
}

TEST_F(Notify, EventsOfAHeldFileAreToldToItsClientAndToNobodyElseAgain)
{
    RunAgain({.syncing = false, .patienceMs = 50});
    const std::wstring held = m_pServer->GetDsEventsFileFullPath(Register());
    const std::wstring next = m_pServer->GetDsEventsFileFullPath(Register());
    m_pServer->OnChangedDs(Event(1).Get());
    {
        std::unique_ptr<platform::IFile> stranger;
        ASSERT_EQ(platform::Files().Open(held, platform::eOpenMode_ReadExclusive, stranger), platform::eOsError_None);
        testsupport::CManualClock clock(std::chrono::milliseconds(10));
        const platform::CScopedOs os(nullptr, &clock);
        m_pServer->OnChangedDs(Event(2).Get());
        m_pServer->OnChangedDs(Event(3).Get());
        m_host.ExpectReport(963, L"Unable to read ds events file !");
    }
    m_pServer->OnChangedDs(Event(4).Get());
    EXPECT_EQ(EventsIn(held), (std::vector<LONG>{1, 2, 3, 4}));
    EXPECT_EQ(EventsIn(next), (std::vector<LONG>{1, 2, 3, 4}));
}

TEST_F(Notify, WithPatienceADamagedFileIsReportedEachTime)
{
    RunAgain({.syncing = false, .patienceMs = 50});
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, "damaged")));
    for (const LONG number : {1, 2}) {
        m_pServer->OnChangedDs(Event(number).Get());
        m_host.ExpectReport(963, L"Unable to read ds events file !");
    }
    EXPECT_EQ(Access().PendingEvents(), 0U);
}

TEST_F(Notify, EventsThatWaitForAHeldFileAreBounded)
{
    RunAgain({.syncing = false, .eventsLimit = 1000, .patienceMs = 50});
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    m_pServer->OnChangedDs(Event(1).Get());
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, path);
    testsupport::CManualClock clock(std::chrono::milliseconds(10));
    {
        const platform::CScopedOs os(&m_files, &clock);
        for (int count = 0; count < 10; ++count)
            m_pServer->OnChangedDs(LargeEvent().Get());
    }
    m_host.ExpectReport(963, L"Unable to read ds events file !");
    m_files.StopFailing();
    EXPECT_GT(Access().PendingEvents(), 0U);
    EXPECT_LT(Access().PendingEvents(), 10U);
    m_pServer->OnChangedDs(Event(7).Get());
    const std::vector<LONG> kinds = EventsIn(path);
    EXPECT_EQ(kinds.front(), 1) << "what was in the file";
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), LONG{eDsEventKind_Reload}), 1);
    EXPECT_EQ(kinds.back(), 7);
}

TEST_F(Notify, EventsOfAFailedWriteAreKeptForTheNext)
{
    CZelProcessorClient& client = AddListener();
    m_pServer->OnChangedDs(Event(1).Get());
    {
        testsupport::CFaultyFiles& files = m_files;
        const platform::CScopedOs os(&files, nullptr);
        files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull);
        m_pServer->OnChangedDs(Event(2).Get());
    }
    m_host.ExpectReport(984, L"Unable to write ds events file !");
    EXPECT_EQ(Access().PendingEvents(), 2U) << "what was in the file, too";
    m_pServer->OnChangedDs(Event(3).Get());
    EXPECT_EQ(Take(client), (std::vector<LONG>{1, 2, 3}));
}

TEST_F(Notify, ANullEventIsRefused)
{
    CZelProcessorClient& client = AddListener();
    EXPECT_FALSE(Access().SendEventsDataToClient(SClientTestAccess{client}.Id(), nullptr));
    EXPECT_EQ(Read(client.GetDsEventsFileFullPath()), "");
}

TEST_F(Notify, WithoutAPaletteAChangeIsAnError)
{
    m_pServer->SetPalette(nullptr);
    try {
        m_pServer->OnChangedDs(Event(1).Get());
        ADD_FAILURE() << "nothing was thrown";
    } catch (const CComError& error) {
        EXPECT_EQ(error.Code(), E_POINTER);
    }
}

TEST_F(Notify, GroupsAreTakenBackInOrderOverManyAppends)
{
    CZelProcessorClient& client = AddListener();
    m_pPalette->m_groups = {kFirstGroup, kSecondGroup};
    m_pServer->OnChangedDs(Event(1).Get());
    m_pPalette->m_groups = {kFirstGroup};
    m_pServer->OnChangedDs(Event(2).Get());
    const auto ids = TakeGroups(client);
    ASSERT_EQ(ids.size(), 3U);
    EXPECT_TRUE(IsEqualGUID(ids[0], kFirstGroup));
    EXPECT_TRUE(IsEqualGUID(ids[1], kSecondGroup));
    EXPECT_TRUE(IsEqualGUID(ids[2], kFirstGroup)) << "repeats are kept";
    EXPECT_EQ(Read(client.GetInsertableItemsChangeFile()), "");
}

TEST_F(Notify, GroupsInAFileThatCanNotBeReadAreWrittenAnew)
{
    CZelProcessorClient& client = AddListener();
    Write(client.GetInsertableItemsChangeFile(), "broken");
    m_pPalette->m_groups = {kFirstGroup};
    m_pServer->OnChangedDs(Event(1).Get());
    m_host.ExpectLogLine(L"Unable to read the changed groups in " + client.GetInsertableItemsChangeFile());
    EXPECT_EQ(TakeGroups(client).size(), 1U);
}

TEST_F(Notify, ChangedLockResultsAreAFileWithOneElementEachTime)
{
    const std::string whole =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Archive version=\"1\"><LockResults/></Archive>\n";
    CZelProcessorClient& client = AddListener();
    const std::wstring path = client.GetLockResultsChangeFile();
    m_pServer->OnChangedLockResults();
    EXPECT_EQ(Read(path), whole);
    Write(path, whole + whole);
    m_pServer->OnChangedLockResults();
    EXPECT_EQ(Read(path), whole) << "written anew, whatever was there";
    EXPECT_TRUE(client.ResetLockResultsChanged());
    EXPECT_EQ(Read(path), "");
    m_pServer->OnChangedLockResults();
    EXPECT_EQ(Read(path), whole) << "after a reset, too";
}

TEST_F(Notify, ALinkInPlaceOfAClientsLockIsNamedOnceAndNotFollowed)
{
    CZelProcessorClient& client = AddListener();
    const std::wstring lock = m_pServer->GetDsEventsFileFullPath(SClientTestAccess{client}.Id()) + L".lock";
    if (!testsupport::MakeLink(m_dir / L"nowhere", lock))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    m_pServer->OnChangedDs(Event(1).Get());
    m_host.ExpectLogLine(lock + L": " + platform::OsErrorText(platform::eOsError_LinkInTheWay));
    m_pServer->OnChangedDs(Event(2).Get());
    for (const auto& line : m_host.TakeLogLines())
        EXPECT_EQ(line.text.find(lock), std::wstring::npos) << "told twice";
    EXPECT_FALSE(platform::PathExists(m_dir / L"nowhere"));
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(lock)));
    m_pServer->OnChangedDs(Event(3).Get());
    EXPECT_EQ(Take(client), (std::vector<LONG>{1, 2, 3}));
}

TEST_F(Notify, AHostWithoutPatienceWaitsForALockOnce)
{
    const SZelServerOptions options{.syncing = false, .patienceMs = 50};
    Make(options);
    m_pServer->SetPalette(m_pPalette.Get());
    Run();
    CZelProcessorClient& holder = AddListener();
    CZelProcessorClient& other = AddListener();
    CLockFile groups(holder.GetInsertableItemsChangeFile());
    ASSERT_TRUE(groups.Lock(false));
    m_pPalette->m_groups = {kFirstGroup};
    testsupport::CManualClock clock(std::chrono::milliseconds(10));
    const platform::CScopedOs os(nullptr, &clock);
    m_pServer->OnChangedDs(Event(1).Get());
    m_host.ExpectReport(58, L"Timeout expired");
    m_host.ExpectReport(1018, L"Unable to lock communication file on the server side !");
    m_host.ExpectLogLine(holder.GetInsertableItemsChangeFile() + L".lock' is kept open by ");
    const auto before = clock.Steady();
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_LT(clock.Steady() - before, std::chrono::seconds(2));
    EXPECT_EQ(TakeGroups(other).size(), 2U);
    groups.Unlock();
    m_pPalette->m_groups = {kSecondGroup};
    m_pServer->OnChangedDs(Event(3).Get());
    EXPECT_EQ(TakeGroups(holder), (std::vector<GUID>{kFirstGroup, kSecondGroup}));
}

TEST_F(Notify, AClientThatHoldsItsLocksForMoreThanTwoSecondsIsReportedAndPassedOver)
{
    CZelProcessorClient& holder = AddListener();
    CZelProcessorClient& other = AddListener();
    CLockFile groups(holder.GetInsertableItemsChangeFile());
    CLockFile results(holder.GetLockResultsChangeFile());
    ASSERT_TRUE(groups.Lock(false));
    ASSERT_TRUE(results.Lock(false));
    m_pPalette->m_groups = {kFirstGroup};
    testsupport::CManualClock clock(std::chrono::milliseconds(10));
    const platform::CScopedOs os(nullptr, &clock);
    m_pServer->OnChangedDs(Event(1).Get());
    m_host.ExpectReport(58, L"Timeout expired");
    m_host.ExpectReport(1018, L"Unable to lock communication file on the server side !");
    m_pServer->OnChangedLockResults();
    m_host.ExpectReport(58, L"Timeout expired");
    m_host.ExpectReport(1097, L"Unable to lock communication file on the server side !");
    EXPECT_EQ(Take(holder), std::vector<LONG>{1}) << "its events file was free";
    EXPECT_EQ(TakeGroups(other).size(), 1U);
    EXPECT_TRUE(other.ResetLockResultsChanged());
    groups.Unlock();
    m_pPalette->m_groups = {kSecondGroup};
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_EQ(TakeGroups(holder), (std::vector<GUID>{kFirstGroup, kSecondGroup})) << "what it missed comes first";
    EXPECT_EQ(TakeGroups(other), std::vector<GUID>{kSecondGroup});
    EXPECT_EQ(Access().PendingGroups(), 0U);
}

TEST_F(Notify, AClientThatHoldsItsLockForLessThanTwoSecondsIsWaitedFor)
{
    CZelProcessorClient& client = AddListener();
    CLockFile results(client.GetLockResultsChangeFile());
    ASSERT_TRUE(results.Lock(false));
    testsupport::CManualClock clock(std::chrono::milliseconds(10));
    clock.OnWait([&, released = false]() mutable {
        if (!released && clock.Yields() >= 190) {
            released = true;
            results.Unlock();
        }
    });
    const platform::CScopedOs os(nullptr, &clock);
    m_pServer->OnChangedLockResults();
    EXPECT_TRUE(client.ResetLockResultsChanged());
}

TEST_F(Notify, WithoutClientsNothingIsSentAndTheProjectIsMarkedOnce)
{
    const std::wstring path = m_dir / L"project";
    CComPtr<IWQ_Project> project;
    ASSERT_EQ(CreateWQ_Project(path, project.Put()), S_OK);
    m_pServer->SetProject(project.Get());
    m_pServer->OnChangedDs(Event(1).Get());
    CComPtr<IWQ_ArchiveObj> stored;
    EXPECT_EQ(project->GetStorageObject(L"ProjectNeedUpdatePalette", stored.Put()), S_FALSE);

    m_pPalette->m_needsUpdate = true;
    m_pServer->OnChangedDs(Event(2).Get());
    ASSERT_EQ(project->GetStorageObject(L"ProjectNeedUpdatePalette", stored.Put()), S_OK);
    VARIANT_BOOL isSet = VARIANT_FALSE;
    EXPECT_EQ(stored.QueryTo<IWQ_ProjectMarker>()->GetValue(&isSet), S_OK);
    EXPECT_EQ(isSet, VARIANT_TRUE);
    const std::string once = Read(path);
    testsupport::CFaultyFiles& files = m_files;
    const platform::CScopedOs os(&files, nullptr);
    files.FailAlways(testsupport::eFileCall_Write, platform::eOsError_DiskFull);
    m_pServer->OnChangedDs(Event(3).Get());
    EXPECT_EQ(Read(path), once) << "it is marked already";
    EXPECT_TRUE(FilesIn(m_outputDir).empty());
}

TEST_F(Notify, FiftyClientsComeAndGoWhileAThousandChangesAreTold)
{
    // What a client misses while it reads goes into the next file that is written, whoever's that is. So one client
    // that never reads meanwhile has every event, and everybody has what it got in order.
    CZelProcessorClient& steady = AddListener();
    std::set<LONG> seen;
    constexpr int kClients = 50;
    constexpr LONG kChanges = 1000;
    std::atomic<bool> over = false;
    std::atomic<int> next = 0;
    std::atomic<std::size_t> taken = 0;
    std::vector<platform::CThread> threads(8);
    for (platform::CThread& thread : threads) {
        ASSERT_TRUE(thread.Start([&] {
            CoInitializeSYS(nullptr);
            CoInitializeZEL(nullptr);
            while (next++ < kClients || !over) {
                CZelProcessorClient client;
                client.Init(m_requestDir, m_outputDir, m_clientDir);
                client.SetSyncing(false);
                EXPECT_TRUE(client.ListenDsEvents());
                std::vector<LONG> got;
                EXPECT_TRUE(WaitUntil([&] {
                    client.ResetOutputDirChange();
                    for (const LONG number : Take(client))
                        got.push_back(number);
                    return got.size() >= 5 || over;
                }));
                EXPECT_TRUE(client.StopListeningDsEvents());
                EXPECT_TRUE(std::is_sorted(got.begin(), got.end()));
                taken += got.size();
            }
            CoUninitializeZEL();
            CoUninitializeSYS();
            return 0U;
        }));
    }
    for (LONG number = 1; number <= kChanges; ++number) {
        m_pServer->OnChangedDs(Event(number).Get());
        if (number % 50 == 0) {
            const std::vector<LONG> got = Take(steady);
            EXPECT_TRUE(std::is_sorted(got.begin(), got.end()));
            seen.insert(got.begin(), got.end());
        }
    }
    over = true;
    for (platform::CThread& thread : threads)
        EXPECT_TRUE(thread.Join());
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(kChanges)) << "none is lost";
    EXPECT_GE(next, kClients);
    EXPECT_GT(taken, 0U);
    EXPECT_EQ(Access().Clients().size(), 1U);
    auto files = FilesIn(m_outputDir);
    std::erase_if(files, [](const std::wstring& name) { return name.find(L"DsEvents_") != 0; });
    EXPECT_EQ(files.size(), 1U) << "who went away while it was told left nothing behind";
}

TEST_F(Notify, WhatWaitedIsNotLostWithAClientThatGoes)
{
    const GUID reading = Register();
    const GUID going = Register();
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(going);
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Close && call.path == path)
            Access().UnregisterClient(going); // false once it is gone
    });
    CLockFile lock(m_pServer->GetDsEventsFileFullPath(reading));
    ASSERT_TRUE(lock.Lock(false));
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_pServer->OnChangedDs(Event(1).Get());
    }
    EXPECT_FALSE(platform::PathExists(path));
    EXPECT_EQ(Access().PendingEvents(), 1U);
    lock.Unlock();
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_EQ(EventsIn(m_pServer->GetDsEventsFileFullPath(reading)), (std::vector<LONG>{1, 2}));
}

TEST_F(Notify, AStopEndsTheWaitForAClientWithoutAReport)
{
    const GUID client = Register();
    CLockFile suspended(m_pServer->GetLockResultsChangeFile(client));
    ASSERT_TRUE(suspended.Lock(false));
    const platform::CScopedOs os(nullptr, &m_stillClock);
    CBeside telling([&] { m_pServer->OnChangedLockResults(); });
    EXPECT_TRUE(WaitUntil([&] { return m_stillClock.Yields() > 0; }));
    m_pServer->Stop(true);
    EXPECT_TRUE(telling.EndsInTime());
    m_stillClock.Advance(std::chrono::seconds(3));
}

TEST_F(Notify, AStopEndsTheWaitForAnEventsFileWithoutAReport)
{
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    std::unique_ptr<platform::IFile> stranger;
    ASSERT_EQ(platform::Files().Open(path, platform::eOpenMode_ReadExclusive, stranger), platform::eOsError_None);
    const platform::CScopedOs os(nullptr, &m_stillClock);
    CBeside telling([&] { m_pServer->OnChangedDs(Event(1).Get()); });
    EXPECT_TRUE(WaitUntil([&] { return m_stillClock.Yields() > 0; }));
    m_pServer->Stop(true);
    EXPECT_TRUE(telling.EndsInTime());
    m_stillClock.Advance(std::chrono::seconds(3));
}

TEST_F(Notify, AnEventThatCanNotBeWrittenIsDroppedAlone)
{
    CZelProcessorClient& reading = AddListener();
    CZelProcessorClient& other = AddListener();
    {
        CLockFile lock(reading.GetDsEventsFileFullPath());
        ASSERT_TRUE(lock.Lock(false));
        m_pServer->OnChangedDs(Event(1).Get());
        ASSERT_EQ(Take(other), (std::vector<LONG>{1, 1}));
        m_pServer->OnChangedDs(BadEvent(S_FALSE).Get()); // fewer items than they say
        m_host.ExpectReport(237, L"Invalid count of stored elements !");
        m_host.ExpectReport(905, L"An event cannot be written and is dropped: COM error 0x8000ffff");
        m_pServer->OnChangedDs(BadEvent(E_ABORT).Get());
        m_host.ExpectReport(905, L"An event cannot be written and is dropped: COM error 0x80004004");
        const auto unreadable = Event(99);
        EXPECT_EQ(unreadable->PutChangedItems(ListOf(MakeDsItems().Get()).Get()), S_OK);
        EXPECT_EQ(unreadable->PutChangedColumns(ListOf(MakeComObject<CBadItems>(S_OK, -5).Get()).Get()), S_OK);
        m_pServer->OnChangedDs(unreadable.Get());
        m_host.ExpectReport(905, L"An event cannot be written and is dropped: COM error 0x80070057");
        EXPECT_EQ(Access().PendingEvents(), 0U);
    }
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_EQ(Take(reading), std::vector<LONG>{2});
    EXPECT_EQ(Take(other), std::vector<LONG>{2});
}

TEST_F(Notify, AnEventIsTakenAsItIsWhenItIsTold)
{
    CZelProcessorClient& client = AddListener();
    const auto event = Event(1);
    {
        CLockFile reading(client.GetDsEventsFileFullPath());
        ASSERT_TRUE(reading.Lock(false));
        m_pServer->OnChangedDs(event.Get());
    }
    EXPECT_EQ(event->PutKind(7), S_OK);
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_EQ(Take(client), (std::vector<LONG>{1, 2}));
}

TEST_F(Notify, APaletteThatFailsKeepsNoEventFromTheClients)
{
    CZelProcessorClient& first = AddListener();
    CZelProcessorClient& second = AddListener();
    m_pPalette->m_result = E_ABORT;
    EXPECT_EQ(Tell(1), E_ABORT);
    m_pPalette->m_array = AttachComPtr<IWQ_CLSIDArray>(MakeComObject<CFailingArray>().Detach());
    EXPECT_EQ(Tell(2), E_ABORT);
    EXPECT_EQ(Take(first), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(Take(second), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(Read(first.GetInsertableItemsChangeFile()), "");
}

TEST_F(Notify, GroupsOfAFailedWriteComeWithTheNext)
{
    CZelProcessorClient& client = AddListener();
    m_pPalette->m_groups = {kFirstGroup, kFirstGroup};
    m_pServer->OnChangedDs(Event(1).Get());
    m_pPalette->m_groups = {kSecondGroup};
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_files.FailAlways(testsupport::eFileCall_Write, platform::eOsError_DiskFull, L"InsertableItemsGroup_");
        for (LONG number = 2; number < 5; ++number) {
            m_pServer->OnChangedDs(Event(number).Get());
            m_host.ExpectReport(1062, L"Unable to write the changed groups !");
            EXPECT_EQ(Read(client.GetInsertableItemsChangeFile()), "") << "no half file";
            EXPECT_EQ(Access().PendingGroups(), 2U) << "each once, however often it fails";
        }
        m_files.StopFailing();
    }
    m_pServer->OnChangedDs(Event(5).Get());
    EXPECT_EQ(TakeGroups(client), (std::vector<GUID>{kFirstGroup, kSecondGroup, kSecondGroup}));
    EXPECT_EQ(Access().PendingGroups(), 0U);
}

TEST_F(Notify, GroupsInAFileThatCanNotBeOpenedAreNotWrittenOver)
{
    CZelProcessorClient& client = AddListener();
    const std::wstring path = client.GetInsertableItemsChangeFile();
    for (const platform::eOsError error :
         {platform::eOsError_SharingViolation, platform::eOsError_TooManyOpenFiles, platform::eOsError_IoError}) {
        m_pPalette->m_groups = {kFirstGroup};
        m_pServer->OnChangedDs(Event(1).Get());
        const std::string before = Read(path);
        m_pPalette->m_groups = {kSecondGroup};
        {
            const platform::CScopedOs os(&m_files, nullptr);
            m_files.FailCall(testsupport::eFileCall_Open, 1, error, 1, path); // and the next one works
            m_pServer->OnChangedDs(Event(2).Get());
            m_files.StopFailing();
        }
        m_host.ExpectLogLine(L"New groups wait until they can be added to those in " + path + L": " +
                             platform::OsErrorText(error));
        EXPECT_EQ(Read(path), before);
        EXPECT_EQ(Access().PendingGroups(), 1U);
        m_pPalette->m_groups = {kFirstGroup};
        m_pServer->OnChangedDs(Event(3).Get());
        EXPECT_EQ(TakeGroups(client), (std::vector<GUID>{kFirstGroup, kSecondGroup, kFirstGroup}));
    }
}

TEST_F(Notify, GroupsAreKeptOverAnExceptionInTheNotification)
{
    CZelProcessorClient& client = AddListener();
    m_pPalette->m_groups = {kFirstGroup};
    m_files.OnCall([](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_OpenLockFile &&
            call.path.find(L"InsertableItemsGroup_") != CString::npos)
            throw std::bad_alloc();
    });
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_pServer->OnChangedDs(Event(1).Get());
    }
    m_host.ExpectReport(906, L"A client could not be told of a change: ");
    m_pPalette->m_groups = {kSecondGroup};
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_EQ(TakeGroups(client), (std::vector<GUID>{kFirstGroup, kSecondGroup}));
    EXPECT_EQ(Take(client), (std::vector<LONG>{1, 2}));
}

TEST_F(Notify, GroupsThatWaitEndWithTheirClient)
{
    const GUID client = Register();
    m_pPalette->m_groups = {kFirstGroup};
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull, 1, L"InsertableItemsGroup_");
        m_pServer->OnChangedDs(Event(1).Get());
    }
    m_host.ExpectReport(1062, L"Unable to write the changed groups !");
    EXPECT_EQ(Access().PendingGroups(), 1U);
    EXPECT_TRUE(Access().UnregisterClient(client));
    m_pServer->OnChangedLockResults();
    EXPECT_EQ(Access().PendingGroups(), 0U);
}

TEST_F(Notify, WithALimitRepeatsOfGroupsAreKeptOnlyWhileTheyAreFew)
{
    RunAgain({.syncing = false, .eventsLimit = 1 << 20});
    CZelProcessorClient& client = AddListener();
    const auto tell = [&](std::size_t count) {
        m_pPalette->m_groups.clear();
        for (std::size_t index = 0; index < count; ++index)
            m_pPalette->m_groups.push_back(index % 2 == 0 ? kSecondGroup : kFirstGroup);
        m_pServer->OnChangedDs(Event(1).Get());
    };
    tell(ChangedGroups::kMaxWithRepeats - 1);
    EXPECT_EQ(TakeGroups(client).size(), ChangedGroups::kMaxWithRepeats - 1);
    tell(ChangedGroups::kMaxWithRepeats - 1);
    tell(1);
    EXPECT_EQ(TakeGroups(client).size(), ChangedGroups::kMaxWithRepeats);
    tell(ChangedGroups::kMaxWithRepeats);
    tell(1);
    EXPECT_EQ(TakeGroups(client), (std::vector<GUID>{kSecondGroup, kFirstGroup}));
}

TEST_F(Notify, WithoutALimitEveryGroupIsKeptWithItsRepeats)
{
    CZelProcessorClient& client = AddListener();
    std::vector<GUID> all;
    for (unsigned number = 0; all.size() <= ChangedGroups::kMaxIds; ++number)
        all.insert(all.end(), {{number, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, kSecondGroup});
    m_pPalette->m_groups = all;
    m_pServer->OnChangedDs(Event(1).Get());
    for (unsigned number = 0; number <= ChangedGroups::kMaxIds; ++number)
        m_pPalette->m_groups.push_back({number, 3, 3, {4, 5, 6, 7, 8, 9, 10, 11}});
    m_pServer->OnChangedDs(Event(2).Get());
    all.insert(all.end(), m_pPalette->m_groups.begin(), m_pPalette->m_groups.end());
    EXPECT_EQ(TakeGroups(client), all);
}

TEST_F(Notify, WithALimitMoreGroupsThanAnyPaletteHasMeanThatEverythingMayHaveChanged)
{
    RunAgain({.syncing = false, .eventsLimit = 1 << 20});
    CZelProcessorClient& client = AddListener();
    auto tell = [&, number = 0U](std::size_t count) mutable {
        m_pPalette->m_groups.clear();
        while (count-- > 0)
            m_pPalette->m_groups.push_back({++number, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}});
        m_pServer->OnChangedDs(Event(1).Get());
    };
    const auto isEverything = [&] {
        CComPtr<IWQ_CLSIDArray> groups;
        EXPECT_TRUE(client.GetChangedInsertableItemsGroups(groups.Put()));
        return !groups;
    };
    tell(ChangedGroups::kMaxIds - 1);
    EXPECT_EQ(TakeGroups(client).size(), ChangedGroups::kMaxIds - 1);
    tell(ChangedGroups::kMaxIds);
    EXPECT_EQ(TakeGroups(client).size(), ChangedGroups::kMaxIds);
    tell(ChangedGroups::kMaxIds);
    tell(1);
    EXPECT_LT(Read(client.GetInsertableItemsChangeFile()).size(), 1000U);
    tell(1);
    EXPECT_TRUE(isEverything()) << "whatever comes after it";
    tell(1);
    EXPECT_EQ(TakeGroups(client).size(), 1U);

    // What could not be told is bounded, too.
    {
        CLockFile reading(client.GetInsertableItemsChangeFile());
        ASSERT_TRUE(reading.Lock(false));
        testsupport::CManualClock clock(std::chrono::milliseconds(10));
        const platform::CScopedOs os(nullptr, &clock);
        tell(ChangedGroups::kMaxIds + 1);
        m_host.ExpectReport(58, L"Timeout expired");
        m_host.ExpectReport(1018, L"Unable to lock communication file on the server side !");
        EXPECT_EQ(Access().PendingGroups(), 1U);
    }
    tell(1);
    EXPECT_TRUE(isEverything());
}

TEST_F(Notify, EventsThatBecomeTooManyAreOneThatSaysSo)
{
    const std::wstring one = m_pServer->GetDsEventsFileFullPath(Register());
    m_pServer->OnChangedDs(LargeEvent().Get());
    const std::size_t limit = Read(one).size() + sizeof(LONG) * 10;
    RunAgain({.syncing = false, .eventsLimit = limit});
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    m_pServer->OnChangedDs(LargeEvent(9).Get());
    EXPECT_EQ(EventsIn(path), std::vector<LONG>{1}) << "below";
    Write(path, "");
    m_pServer->OnChangedDs(LargeEvent(10).Get());
    EXPECT_EQ(EventsIn(path), std::vector<LONG>{1}) << "at";
    EXPECT_EQ(Read(path).size(), limit);
    Write(path, "");
    m_pServer->OnChangedDs(LargeEvent(11).Get());
    EXPECT_EQ(EventsIn(path), std::vector<LONG>{eDsEventKind_Reload}) << "above";
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_EQ(EventsIn(path), (std::vector<LONG>{eDsEventKind_Reload, 2}));

    CLockFile reading(path);
    ASSERT_TRUE(reading.Lock(false));
    m_pServer->OnChangedDs(LargeEvent().Get());
    m_pServer->OnChangedDs(LargeEvent().Get());
    EXPECT_EQ(Access().PendingEvents(), 1U) << "what waits in the server, too";
}

TEST_F(Notify, WithoutALimitEveryEventIsKept)
{
    EXPECT_EQ(SZelServerOptions().eventsLimit, 0U);
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    // More than zel-server lets wait.
    constexpr std::size_t kItems = (std::size_t{9} << 20) / sizeof(LONG);
    m_pServer->OnChangedDs(LargeEvent(kItems).Get());
    m_pServer->OnChangedDs(LargeEvent(kItems).Get());
    EXPECT_EQ(EventsIn(path), (std::vector<LONG>{1, 1}));
    CLockFile reading(path);
    ASSERT_TRUE(reading.Lock(false));
    m_pServer->OnChangedDs(LargeEvent(kItems).Get());
    m_pServer->OnChangedDs(LargeEvent(kItems).Get());
    EXPECT_EQ(Access().PendingEvents(), 2U) << "in the server, too";
}

TEST_F(Notify, ALimitBeyondWhatAnArchiveHoldsLosesNothing)
{
    RunAgain({.syncing = false, .eventsLimit = ~std::uint64_t{0}});
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    m_pServer->OnChangedDs(Event(1).Get());
    EXPECT_EQ(EventsIn(path), std::vector<LONG>{1});
}
