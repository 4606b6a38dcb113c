#include "tests/library/server/NotifyFixture.h"

#include "ZEL_Processor/LockFile.h"

namespace {

using NotifyEvents = CNotifyFixture;

} // namespace

TEST_F(NotifyEvents, EveryClientGetsEveryEventInOrder)
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

TEST_F(NotifyEvents, AClientThatReadsGetsItsEventsWithTheNext)
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

TEST_F(NotifyEvents, PendingEventsGoIntoTheNextFileWhoseverItIs)
{
    CZelProcessorClient& reader = AddListener();
    CZelProcessorClient& other = AddListener();
    CLockFile reading(reader.GetDsEventsFileFullPath());
    ASSERT_TRUE(reading.Lock(false));
    m_pServer->OnChangedDs(Event(1).Get());
    EXPECT_EQ(Take(other), (std::vector<LONG>{1, 1}));
    EXPECT_EQ(Access().PendingEvents(), 0U);
}

TEST_F(NotifyEvents, AnUnreadableEventsFileIsReportedAndKept)
{
    CZelProcessorClient& client = AddListener();
    Write(client.GetDsEventsFileFullPath(), "broken");
    m_pServer->OnChangedDs(Event(1).Get());
    m_host.ExpectReport(963, L"Unable to read ds events file !");
    EXPECT_EQ(Read(client.GetDsEventsFileFullPath()), "broken");
    EXPECT_EQ(Access().PendingEvents(), 0U);
    EXPECT_FALSE(platform::PathExists(client.GetDsEventsFileFullPath() + L".lock"));
}

TEST_F(NotifyEvents, EventsOfAFailedWriteAreKeptForTheNext)
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

TEST_F(NotifyEvents, ANullEventIsRefused)
{
    CZelProcessorClient& client = AddListener();
    m_pServer->OnChangedDs(nullptr);
    EXPECT_EQ(Read(client.GetDsEventsFileFullPath()), "");
}

TEST_F(NotifyEvents, AnEventThatCanNotBeWrittenIsDroppedAlone)
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

TEST_F(NotifyEvents, AnEventIsTakenAsItIsWhenItIsTold)
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

TEST_F(NotifyEvents, EventsThatBecomeTooManyAreOneThatSaysSo)
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

TEST_F(NotifyEvents, WithoutALimitEveryEventIsKept)
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

TEST_F(NotifyEvents, ALimitBeyondWhatAnArchiveHoldsLosesNothing)
{
    RunAgain({.syncing = false, .eventsLimit = ~std::uint64_t{0}});
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    m_pServer->OnChangedDs(Event(1).Get());
    EXPECT_EQ(EventsIn(path), std::vector<LONG>{1});
}
