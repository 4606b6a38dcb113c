#include "tests/library/server/NotifyFixture.h"

#include "ZEL_Processor/LockFile.h"
#include "com/Guid.h"
#include "protocol/ChangedGroupsFile.h"

#include <new>

namespace {

using NotifyGroups = CNotifyFixture;

} // namespace

TEST_F(NotifyGroups, GroupsAreTakenBackInOrderOverManyAppends)
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

TEST_F(NotifyGroups, GroupsInAFileThatCanNotBeReadAreWrittenAnew)
{
    CZelProcessorClient& client = AddListener();
    Write(client.GetInsertableItemsChangeFile(), "broken");
    m_pPalette->m_groups = {kFirstGroup};
    m_pServer->OnChangedDs(Event(1).Get());
    m_host.ExpectLogLine(L"Unable to read the changed groups in " + client.GetInsertableItemsChangeFile());
    EXPECT_EQ(TakeGroups(client).size(), 1U);
}

TEST_F(NotifyGroups, GroupsOfAFailedWriteComeWithTheNext)
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

TEST_F(NotifyGroups, GroupsInAFileThatCanNotBeOpenedAreNotWrittenOver)
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

TEST_F(NotifyGroups, GroupsAreKeptOverAnExceptionInTheNotification)
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

TEST_F(NotifyGroups, GroupsThatWaitEndWithTheirClient)
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

TEST_F(NotifyGroups, WithALimitRepeatsOfGroupsAreKeptOnlyWhileTheyAreFew)
{
    RunAgain({.syncing = false, .eventsLimit = 1 << 20});
    CZelProcessorClient& client = AddListener();
    const auto tell = [&](std::size_t count) {
        m_pPalette->m_groups.clear();
        for (std::size_t index = 0; index < count; ++index)
            m_pPalette->m_groups.push_back(index % 2 == 0 ? kSecondGroup : kFirstGroup);
        m_pServer->OnChangedDs(Event(1).Get());
    };
    tell(ChangedGroupsFile::kMaxWithRepeats - 1);
    EXPECT_EQ(TakeGroups(client).size(), ChangedGroupsFile::kMaxWithRepeats - 1);
    tell(ChangedGroupsFile::kMaxWithRepeats - 1);
    tell(1);
    EXPECT_EQ(TakeGroups(client).size(), ChangedGroupsFile::kMaxWithRepeats);
    tell(ChangedGroupsFile::kMaxWithRepeats);
    tell(1);
    EXPECT_EQ(TakeGroups(client), (std::vector<GUID>{kSecondGroup, kFirstGroup}));
}

TEST_F(NotifyGroups, WithoutALimitEveryGroupIsKeptWithItsRepeats)
{
    CZelProcessorClient& client = AddListener();
    std::vector<GUID> all;
    for (unsigned number = 0; all.size() <= ChangedGroupsFile::kMaxIds; ++number)
        all.insert(all.end(), {{number, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, kSecondGroup});
    m_pPalette->m_groups = all;
    m_pServer->OnChangedDs(Event(1).Get());
    for (unsigned number = 0; number <= ChangedGroupsFile::kMaxIds; ++number)
        m_pPalette->m_groups.push_back({number, 3, 3, {4, 5, 6, 7, 8, 9, 10, 11}});
    m_pServer->OnChangedDs(Event(2).Get());
    all.insert(all.end(), m_pPalette->m_groups.begin(), m_pPalette->m_groups.end());
    EXPECT_EQ(TakeGroups(client), all);
}

TEST_F(NotifyGroups, WithALimitMoreGroupsThanAnyPaletteHasMeanThatEverythingMayHaveChanged)
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
    tell(ChangedGroupsFile::kMaxIds - 1);
    EXPECT_EQ(TakeGroups(client).size(), ChangedGroupsFile::kMaxIds - 1);
    tell(ChangedGroupsFile::kMaxIds);
    EXPECT_EQ(TakeGroups(client).size(), ChangedGroupsFile::kMaxIds);
    tell(ChangedGroupsFile::kMaxIds);
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
        const platform::CScopedOs os(nullptr, &m_fastClock);
        tell(ChangedGroupsFile::kMaxIds + 1);
        m_host.ExpectReport(58, L"Timeout expired");
        m_host.ExpectReport(1018, L"Unable to lock communication file on the server side !");
        EXPECT_EQ(Access().PendingGroups(), 1U);
    }
    tell(1);
    EXPECT_TRUE(isEverything());
}
