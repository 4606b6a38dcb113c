#include "server/ChangeNotifier.h"

#include "ZEL_Processor/LockFile.h"
#include "platform/PrivateFiles.h"
#include "protocol/ChangedGroupsFile.h"
#include "protocol/NotificationFile.h"
#include "tests/library/server/NotifyFixture.h"

namespace {

/// Without a server, and without a thread: clients are in the register, and a change is told by a call.
class ChangeNotifier : public testing::Test {
protected:
    ChangeNotifier()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~ChangeNotifier() override
    {
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    GUID Register(const std::string& owner = {})
    {
        const GUID id{++m_registered, 1, 2, {3}};
        m_clients.Add(id, owner);
        for (const std::wstring& path : {m_paths.DsEvents(id), m_paths.InsertableItems(id)})
            EXPECT_EQ(platform::WriteWholeFile(path, {}), platform::eOsError_None);
        return id;
    }
    void Tell(LONG kind)
    {
        auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
        EXPECT_EQ(event->PutKind(kind), S_OK);
        m_notifier.TellChange(*m_palette.Get(), nullptr, event.Get());
    }
    std::vector<LONG> Events(const GUID& client) const
    {
        CDsEventsDataVector events;
        EXPECT_TRUE(CZELEnvFileDsEventsFile::ReadDsEventsFile(m_paths.DsEvents(client), events));
        std::vector<LONG> kinds;
        for (const auto& event : events)
            EXPECT_EQ(event->GetKind(&kinds.emplace_back()), S_OK);
        return kinds;
    }
    std::vector<GUID> Groups(const GUID& client) const
    {
        ChangedGroupsFile::SContent content;
        EXPECT_EQ(ChangedGroupsFile::Read(m_paths.InsertableItems(client), content), ChangedGroupsFile::eRead_Ok);
        return content.ids;
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    testsupport::CFaultyFiles m_files;
    CComPtr<CTestPalette> m_palette = MakeComObject<CTestPalette>();
    CServerSettings m_settings;
    SProtocolPaths& m_paths = m_settings.m_paths = SProtocolPaths::Of(m_dir / L"requests", m_dir.Path());
    std::atomic<bool> m_isRunning = true;
    CClientRegistry m_clients{m_paths, m_isRunning};
    CClientMail m_mail{m_settings, m_clients, m_isRunning};
    CChangeNotifier m_notifier{m_settings, m_clients, m_mail, m_isRunning};
    std::uint32_t m_registered = 0;
};

} // namespace

TEST_F(ChangeNotifier, EveryClientGetsEventAndGroups)
{
    const GUID first = Register();
    const GUID second = Register();
    m_palette->m_groups = {kFirstGroup, kSecondGroup};
    Tell(1);
    Tell(2);
    for (const GUID& client : {first, second}) {
        EXPECT_EQ(Events(client), (std::vector<LONG>{1, 2}));
        EXPECT_EQ(Groups(client), (std::vector<GUID>{kFirstGroup, kSecondGroup, kFirstGroup, kSecondGroup}));
    }
    EXPECT_EQ(m_notifier.CountWaitingEvents() + m_notifier.CountWaitingGroups(), 0U);
}

TEST_F(ChangeNotifier, FilesAreMadeForWhoRegisteredTheClientWhereTheyArePrivate)
{
    platform::FileOwner me;
    ASSERT_EQ(platform::Files().GetOwner(m_dir.Path(), me), platform::eOsError_None);
    const GUID client = Register(me);
    std::vector<std::string> owners;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && call.path == m_paths.DsEvents(client))
            owners.push_back(platform::CPrivateFiles::Current() ? *platform::CPrivateFiles::Current() : "everybody");
    });
    {
        const platform::CScopedOs os(&m_files, nullptr);
        Tell(1);
        EXPECT_EQ(owners, std::vector<std::string>{"everybody"});
        m_settings.m_options.privateFiles = true;
        ASSERT_EQ(platform::WriteWholeFile(m_paths.DsEvents(client), {}), platform::eOsError_None);
        owners.clear();
        Tell(2);
    }
    EXPECT_EQ(owners, std::vector<std::string>{me});
}

TEST_F(ChangeNotifier, APaletteThatNamesNoGroupsMakesAnEmptyList)
{
    const GUID client = Register();
    CComPtr<IWQ_CLSIDArray> none;
    ASSERT_EQ(CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), none.PutVoid()), S_OK);
    m_palette->m_array = none;
    Tell(1);
    EXPECT_TRUE(NotificationFile::HasContent(m_paths.InsertableItems(client)));
}

TEST_F(ChangeNotifier, GroupsInTheFormThatNoServerWritesAreWrittenOver)
{
    const GUID client = Register();
    ASSERT_EQ(platform::WriteWholeFile(m_paths.InsertableItems(client), "<Archive version=\"1\"><Group/></Archive>"),
              platform::eOsError_None);
    m_palette->m_groups = {kFirstGroup};
    Tell(1);
    EXPECT_EQ(Groups(client), std::vector<GUID>{kFirstGroup});
}

TEST_F(ChangeNotifier, WhatWaitsForAReaderComesWithTheNextChange)
{
    const GUID client = Register();
    CLockFile reading(m_paths.DsEvents(client));
    ASSERT_TRUE(reading.Lock(false));
    Tell(1);
    EXPECT_EQ(m_notifier.CountWaitingEvents(), 1U);
    EXPECT_EQ(Events(client), std::vector<LONG>());
    reading.Unlock();
    Tell(2);
    EXPECT_EQ(Events(client), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(m_notifier.CountWaitingEvents(), 0U);
}

TEST_F(ChangeNotifier, WhatWaitsIsForgottenWhenItIsCleared)
{
    const GUID client = Register();
    m_palette->m_groups = {kFirstGroup};
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull, 1, L"DsEvents_");
        m_files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull, 1, L"InsertableItemsGroup_");
        Tell(1);
    }
    m_host.ExpectReport(984, L"Unable to write ds events file !");
    m_host.ExpectReport(1062, L"Unable to write the changed groups !");
    EXPECT_EQ(m_notifier.CountWaitingEvents(), 1U);
    EXPECT_EQ(m_notifier.CountWaitingGroups(), 1U);
    m_notifier.Clear();
    EXPECT_EQ(m_notifier.CountWaitingEvents() + m_notifier.CountWaitingGroups(), 0U);
    EXPECT_EQ(platform::WriteWholeFile(m_paths.DsEvents(client), {}), platform::eOsError_None);
    Tell(2);
    EXPECT_EQ(Events(client), std::vector<LONG>{2});
}

TEST_F(ChangeNotifier, NobodyIsToldWhenNothingRuns)
{
    const GUID client = Register();
    m_isRunning = false;
    Tell(1);
    m_notifier.TellLockResults();
    EXPECT_EQ(Events(client), std::vector<LONG>());
    EXPECT_FALSE(platform::PathExists(m_paths.LockResults(client)));
}

TEST_F(ChangeNotifier, ChangedLockResultsAreAFileOfTheirOwn)
{
    const GUID client = Register();
    m_notifier.TellLockResults();
    EXPECT_TRUE(NotificationFile::HasContent(m_paths.LockResults(client)));
    EXPECT_EQ(Events(client), std::vector<LONG>());
}
