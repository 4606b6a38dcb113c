#include "server/ClientMail.h"

#include "com/CreateInstance.h"
#include "platform/Os.h"
#include "protocol/ChangedGroupsFile.h"
#include "protocol/NotificationFile.h"
#include "server/ClientRegistry.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/NotifyDoubles.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

/// Without a server: clients are in the register, and the listener's turns are calls.
class ClientMail : public testing::Test {
protected:
    ClientMail()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~ClientMail() override
    {
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    GUID Register()
    {
        const GUID id{++m_registered, 1, 2, {3}};
        m_clients.Add(id, {});
        for (const std::wstring& path : {m_paths.DsEvents(id), m_paths.InsertableItems(id)})
            EXPECT_EQ(platform::WriteWholeFile(path, {}), platform::eOsError_None);
        return id;
    }
    static DsEventsFile::SRecords Event(LONG kind)
    {
        const auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
        EXPECT_EQ(event->PutKind(kind), S_OK);
        return DsEventsFile::RecordOf(*event);
    }
    void Send(LONG kind, const std::vector<GUID>& groups = {}) { m_mail.Send(m_clients.All(), {Event(kind), groups}); }
    /// As a turn of the listener when it is time for one.
    bool TryAgain()
    {
        m_clock.Advance(std::chrono::milliseconds(100));
        return m_mail.TryAgain();
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
    bool HasLockResults(const GUID& client) const { return NotificationFile::HasContent(m_paths.LockResults(client)); }
    static std::unique_ptr<platform::ILockFile> Lock(const std::wstring& path)
    {
        std::unique_ptr<platform::ILockFile> lock;
        EXPECT_EQ(platform::Files().OpenLockFile(path + L".lock", {}, lock), platform::eOsError_None);
        return lock;
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    testsupport::CFaultyFiles m_files;
    testsupport::CManualClock m_clock;
    const platform::CScopedOs m_os{&m_files, &m_clock};
    CServerSettings m_settings;
    SProtocolPaths& m_paths = m_settings.m_paths = SProtocolPaths::Of(m_dir / L"requests", m_dir.Path());
    std::atomic<bool> m_isRunning = true;
    CClientRegistry m_clients{m_paths, m_isRunning};
    CClientMail m_mail{m_settings, m_clients, m_isRunning};
    std::uint32_t m_registered = 0;
};

} // namespace

TEST_F(ClientMail, EveryClientGetsWhatItIsSentInOrder)
{
    const GUID first = Register();
    const GUID second = Register();
    Send(1, {kFirstGroup});
    Send(2, {kSecondGroup, kFirstGroup});
    m_mail.Send(m_clients.All(), {.areLockResultsChanged = true});
    for (const GUID& client : {first, second}) {
        EXPECT_EQ(Events(client), (std::vector<LONG>{1, 2}));
        EXPECT_EQ(Groups(client), (std::vector<GUID>{kFirstGroup, kSecondGroup})) << "each once";
        EXPECT_TRUE(HasLockResults(client));
    }
    EXPECT_EQ(m_mail.CountWaitingEvents() + m_mail.CountWaitingGroups(), 0U);
    EXPECT_FALSE(TryAgain());
}

TEST_F(ClientMail, WhatAReaderKeepsBackComesToThatReaderAndToNobodyElse)
{
    const GUID reader = Register();
    const GUID other = Register();
    auto lock = Lock(m_paths.DsEvents(reader));
    Send(1);
    EXPECT_EQ(Events(other), std::vector<LONG>{1});
    EXPECT_EQ(m_mail.CountWaitingEvents(), 1U);
    const GUID later = Register();
    EXPECT_TRUE(TryAgain());
    EXPECT_EQ(Events(reader), std::vector<LONG>());
    lock.reset();
    EXPECT_FALSE(TryAgain());
    EXPECT_EQ(Events(reader), std::vector<LONG>{1});
    EXPECT_EQ(Events(other), std::vector<LONG>{1});
    EXPECT_EQ(Events(later), std::vector<LONG>());
}

TEST_F(ClientMail, NothingIsDroppedAndNobodyIsWaitedFor)
{
    const GUID client = Register();
    {
        const auto events = Lock(m_paths.DsEvents(client));
        const auto groups = Lock(m_paths.InsertableItems(client));
        const auto results = Lock(m_paths.LockResults(client));
        Send(1, {kFirstGroup});
        Send(2, {kSecondGroup});
        m_mail.Send(m_clients.All(), {.areLockResultsChanged = true});
        EXPECT_EQ(m_mail.CountWaitingEvents(), 2U);
        EXPECT_EQ(m_mail.CountWaitingGroups(), 2U);
    }
    Send(3);
    EXPECT_EQ(Events(client), (std::vector<LONG>{1, 2, 3}));
    EXPECT_EQ(Groups(client), (std::vector<GUID>{kFirstGroup, kSecondGroup}));
    EXPECT_TRUE(HasLockResults(client));
    EXPECT_EQ(m_clock.Yields() + m_clock.Sleeps(), 0U);
}

TEST_F(ClientMail, WhatWaitsIsTriedTenTimesASecondAtMost)
{
    const GUID client = Register();
    const auto lock = Lock(m_paths.DsEvents(client));
    Send(1);
    EXPECT_TRUE(TryAgain());
    m_files.ForgetCalls();
    m_clock.Advance(std::chrono::milliseconds(99));
    EXPECT_TRUE(m_mail.TryAgain()) << "it waits still";
    EXPECT_TRUE(m_files.Calls().empty());
    m_clock.Advance(std::chrono::milliseconds(1));
    EXPECT_TRUE(m_mail.TryAgain());
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_OpenLockFile), 1U);
}

TEST_F(ClientMail, AClientThatDeletesItsFilesGetsNewOnes)
{
    const GUID client = Register();
    Send(1, {kFirstGroup});
    EXPECT_EQ(platform::Files().Remove(m_paths.DsEvents(client)), platform::eOsError_None);
    EXPECT_EQ(platform::Files().Remove(m_paths.InsertableItems(client)), platform::eOsError_None);
    Send(2, {kSecondGroup});
    EXPECT_EQ(Events(client), std::vector<LONG>{2});
    EXPECT_EQ(Groups(client), std::vector<GUID>{kSecondGroup});
}

TEST_F(ClientMail, WhatWaitsAndWhatLiesInTheFileAreBounded)
{
    m_settings.m_options.eventsLimit = 1000;
    const GUID client = Register();
    auto lock = Lock(m_paths.DsEvents(client));
    const std::size_t fitting = (1000 - 4) / Event(1).bytes.size();
    for (std::size_t count = 0; count < fitting; ++count)
        Send(1);
    EXPECT_EQ(m_mail.CountWaitingEvents(), fitting);
    Send(1);
    EXPECT_EQ(m_mail.CountWaitingEvents(), 1U);
    lock.reset();
    for (std::size_t count = 1; count < fitting; ++count)
        Send(7);
    std::vector<LONG> expected(fitting, 7);
    expected.front() = eDsEventKind_Reload;
    EXPECT_EQ(Events(client), expected);
    Send(7);
    EXPECT_EQ(Events(client), std::vector<LONG>{eDsEventKind_Reload});
}

TEST_F(ClientMail, WhoHoldsALockForLongIsNamedOnce)
{
    const GUID client = Register();
    const auto lock = Lock(m_paths.DsEvents(client));
    Send(1);
    for (int second = 0; second < 40; ++second) {
        m_clock.Advance(std::chrono::seconds(1));
        EXPECT_TRUE(m_mail.TryAgain());
    }
    m_host.ExpectLogLine(m_paths.DsEvents(client) + L".lock' is kept open by ");
}

TEST_F(ClientMail, AFailureIsToldOnceAndNothingIsLostByIt)
{
    const GUID client = Register();
    m_files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull, 3, L"DsEvents_");
    Send(1);
    m_host.ExpectReport(984, L"A client cannot be told of a change yet: " + m_paths.DsEvents(client) + L": " +
                                 platform::OsErrorText(platform::eOsError_DiskFull));
    EXPECT_TRUE(TryAgain());
    Send(2);
    EXPECT_FALSE(TryAgain());
    EXPECT_EQ(Events(client), (std::vector<LONG>{1, 2}));
    m_files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull, 1, L"InsertableItemsGroup_");
    Send(3, {kFirstGroup});
    m_host.ExpectReport(1062, L"A client cannot be told of a change yet: " + m_paths.InsertableItems(client));
    EXPECT_FALSE(TryAgain());
    EXPECT_EQ(Groups(client), std::vector<GUID>{kFirstGroup});
    m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied, 1, L"LockResultsChange_");
    m_mail.Send(m_clients.All(), {.areLockResultsChanged = true});
    m_host.ExpectReport(1110, L"A client cannot be told of a change yet: " + m_paths.LockResults(client));
    EXPECT_FALSE(TryAgain());
    EXPECT_TRUE(HasLockResults(client));
}

TEST_F(ClientMail, AFileThatCannotBeReadIsNotToldAsOneThatSomebodyHolds)
{
    const GUID client = Register();
    EXPECT_EQ(platform::WriteWholeFile(m_paths.DsEvents(client), "of a stranger"), platform::eOsError_None);
    EXPECT_EQ(platform::WriteWholeFile(m_paths.InsertableItems(client), "of a stranger"), platform::eOsError_None);
    const std::wstring denied = L": " + platform::OsErrorText(platform::eOsError_AccessDenied);
    m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied, 2, L"DsEvents_");
    Send(1);
    m_host.ExpectReport(984, L"A client cannot be told of a change yet: " + m_paths.DsEvents(client) + denied);
    EXPECT_FALSE(TryAgain());
    m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied, 2, L"InsertableItemsGroup_");
    Send(1, {kFirstGroup});
    m_host.ExpectReport(1062, L"A client cannot be told of a change yet: " + m_paths.InsertableItems(client) + denied);
    EXPECT_FALSE(TryAgain());
}

TEST_F(ClientMail, OfDamagedGroupsEverythingMayHaveChanged)
{
    const GUID client = Register();
    EXPECT_EQ(platform::WriteWholeFile(m_paths.InsertableItems(client), "damaged"), platform::eOsError_None);
    Send(1, {kFirstGroup});
    EXPECT_EQ(Groups(client), (std::vector<GUID>{GUID{}, kFirstGroup}));
}

TEST_F(ClientMail, GroupsThatAreThereAreNotWrittenAgain)
{
    Register();
    Send(1, {kFirstGroup, kSecondGroup});
    m_files.ForgetCalls();
    m_mail.Send(m_clients.All(), {{}, {kSecondGroup}});
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Write), 0U);
}

TEST_F(ClientMail, WhatIsWrittenForWhoLeavesJustThenIsTakenAway)
{
    const GUID client = Register();
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Write && call.path == m_paths.DsEvents(client))
            static_cast<void>(m_clients.Remove(client));
    });
    Send(1, {kFirstGroup});
    EXPECT_FALSE(platform::PathExists(m_paths.DsEvents(client)));
    EXPECT_FALSE(platform::PathExists(m_paths.InsertableItems(client)));
    m_files.OnCall({});
}

TEST_F(ClientMail, NothingIsLockedWhileAFileIsWritten)
{
    const GUID client = Register();
    bool isFirst = true;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call != testsupport::eFileCall_Write || !std::exchange(isFirst, false))
            return;
        CBeside other([this] { Send(2); });
        EXPECT_TRUE(other.EndsInTime()) << "who comes meanwhile leaves what he has to who writes";
        EXPECT_EQ(m_mail.CountWaitingEvents(), 1U);
    });
    Send(1);
    m_files.OnCall({});
    EXPECT_EQ(Events(client), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(m_mail.CountWaitingEvents(), 0U);
}

TEST_F(ClientMail, AnExceptionCostsNobodyHisList)
{
    const GUID client = Register();
    m_files.OnCall([](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Write)
            throw std::bad_alloc();
    });
    Send(1);
    m_host.ExpectReport(906, L"A client could not be told of a change: ");
    m_files.OnCall({});
    EXPECT_FALSE(TryAgain());
    EXPECT_EQ(Events(client), std::vector<LONG>{1});
}

TEST_F(ClientMail, NobodyIsToldWhenNothingRunsAndWhatIsClearedIsForgotten)
{
    const GUID client = Register();
    const std::vector<GUID> clients = m_clients.All();
    m_isRunning = false;
    m_mail.Send(clients, {Event(1), {}});
    EXPECT_EQ(Events(client), std::vector<LONG>());
    m_mail.Clear();
    m_isRunning = true;
    EXPECT_FALSE(TryAgain());
    Send(2);
    EXPECT_EQ(Events(client), std::vector<LONG>{2});
}
