#include "tests/library/ServerFixture.h"

#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "ZEL_Processor/LockFile.h"
#include "com/ComObject.h"
#include "com/CreateInstance.h"
#include "com/Guid.h"
#include "framework/DsEventsData.h"
#include "tests/support/ManualClock.h"

#include <algorithm>
#include <set>

namespace {

constexpr GUID kFirstGroup = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr GUID kSecondGroup = {0xFFFFFFFF, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

/// A palette that answers as it is told.
class CTestPalette final : public CComObject<IWQ_Palette> {
public:
    HRESULT STDMETHODCALLTYPE GetChangedGroups(IWQ_DsEventsData*, IWQ_Project*, VARIANT_BOOL* groupsChanged,
                                               IWQ_CLSIDArray** groups, VARIANT_BOOL* projectNeedsUpdate) override
    {
        *groupsChanged = m_groups.empty() ? VARIANT_FALSE : VARIANT_TRUE;
        *projectNeedsUpdate = m_needsUpdate ? VARIANT_TRUE : VARIANT_FALSE;
        *groups = nullptr;
        if (m_groups.empty())
            return S_OK;
        CComPtr<IWQ_CLSIDArray> array;
        const HRESULT made = CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), array.PutVoid());
        for (const GUID& group : m_groups)
            EXPECT_EQ(array->Add(&group), S_OK);
        *groups = array.Detach();
        return made;
    }

    std::vector<GUID> m_groups;
    bool m_needsUpdate = false;
};

/// A running server with a palette; clients that listen.
class Notify : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        m_pPalette = MakeComObject<CTestPalette>();
        m_pServer->SetPalette(m_pPalette.Get());
        Run();
    }
    void TearDown() override
    {
        m_others.clear(); // while the server can answer
        static_cast<void>(m_client.StopListeningDsEvents());
    }
    /// One more client that listens.
    CZelProcessorClient& AddListener()
    {
        m_others.push_back(std::make_unique<CZelProcessorClient>());
        m_others.back()->Init(m_requestDir, m_outputDir, m_clientDir);
        m_others.back()->SetSyncing(false);
        EXPECT_TRUE(m_others.back()->ListenDsEvents());
        return *m_others.back();
    }
    static CComPtr<IWQ_DsEventsData> Event(LONG number)
    {
        auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
        EXPECT_EQ(event->PutKind(number), S_OK);
        return event;
    }
    static std::vector<LONG> Take(CZelProcessorClient& client)
    {
        std::vector<CComPtr<IWQ_DsEventsData>> events;
        EXPECT_TRUE(client.GetDsEvents(events));
        std::vector<LONG> numbers;
        for (const auto& event : events) {
            LONG number = 0;
            EXPECT_EQ(event->GetKind(&number), S_OK);
            numbers.push_back(number);
        }
        return numbers;
    }
    static std::vector<GUID> TakeGroups(CZelProcessorClient& client)
    {
        CComPtr<IWQ_CLSIDArray> groups;
        EXPECT_TRUE(client.GetChangedInsertableItemsGroups(groups.Put()));
        std::vector<GUID> ids;
        ULONGLONG count = 0;
        EXPECT_TRUE(groups && SUCCEEDED(groups->GetCount(&count)));
        ids.resize(count);
        for (ULONGLONG index = 0; index < count; ++index)
            EXPECT_EQ(groups->GetAt(index, &ids[index]), S_OK);
        return ids;
    }

    CComPtr<CTestPalette> m_pPalette;
    std::vector<std::unique_ptr<CZelProcessorClient>> m_others;
};

} // namespace

TEST_F(Notify, ARegistrationHasAnIdAndTwoEmptyFiles)
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

TEST_F(Notify, RegisteringTwiceGivesTwoIdsAndTwoSetsOfFiles)
{
    ASSERT_TRUE(m_client.ListenDsEvents());
    const std::wstring first = m_client.GetDsEventsFileFullPath();
    ASSERT_TRUE(m_client.ListenDsEvents());
    EXPECT_NE(m_client.GetDsEventsFileFullPath(), first);
    EXPECT_EQ(Access().Clients().size(), 2U);
    EXPECT_TRUE(platform::PathExists(first));
}

TEST_F(Notify, UnregisteringTakesTheEventsFileAwayAndLeavesTheOthers)
{
    ASSERT_TRUE(m_client.ListenDsEvents());
    EXPECT_TRUE(m_client.StopListeningDsEvents());
    EXPECT_TRUE(Access().Clients().empty());
    EXPECT_FALSE(platform::PathExists(m_client.GetDsEventsFileFullPath()));
    EXPECT_TRUE(platform::PathExists(m_client.GetInsertableItemsChangeFile()));
}

TEST_F(Notify, AnUnknownIdIsFalseAndTouchesNoFile)
{
    ASSERT_TRUE(m_client.ListenDsEvents());
    const auto files = FilesIn(m_outputDir);
    EXPECT_FALSE(Access().UnregisterClient(kFirstGroup));
    EXPECT_EQ(FilesIn(m_outputDir).size(), files.size());
    EXPECT_EQ(Access().Clients().size(), 1U);
}

TEST_F(Notify, AFileThatCanNotBeMadeEndsTheRegistration)
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
    EXPECT_FALSE(platform::PathExists(client.GetDsEventsFileFullPath() + L".lock"));
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
    CZelProcessorClient& client = AddListener();
    for (int round = 0; round < 2; ++round) {
        m_pServer->OnChangedLockResults();
        EXPECT_NE(Read(client.GetLockResultsChangeFile()).find("<LockResults"), std::string::npos);
        EXPECT_TRUE(client.ResetLockResultsChanged());
        EXPECT_EQ(Read(client.GetLockResultsChangeFile()), "");
    }
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
}
