#include "tests/library/server/NotifyFixture.h"

#include "ZEL_Processor/LockFile.h"
#include "com/Guid.h"

#include <algorithm>

namespace {

using NotifyPatience = CNotifyFixture;

} // namespace

TEST_F(NotifyPatience, WithPatienceEventsWaitWhileSomebodyHoldsTheirFile)
{
    RunAgain({.syncing = false, .patience = std::chrono::milliseconds(50)});
    CZelProcessorClient& client = AddListener();
    m_pServer->OnChangedDs(Event(1).Get());
    {
        std::unique_ptr<platform::IFile> stranger;
        ASSERT_EQ(platform::Files().Open(client.GetDsEventsFileFullPath(), platform::eOpenMode_ReadExclusive, stranger),
                  platform::eOsError_None);
        const platform::CScopedOs os(nullptr, &m_fastClock);
        m_pServer->OnChangedDs(Event(2).Get());
        m_host.ExpectReport(963, L"Unable to read ds events file !");
        EXPECT_EQ(Access().PendingEvents(), 1U);
        const auto before = m_fastClock.Steady();
        m_pServer->OnChangedDs(Event(3).Get());
        EXPECT_LT(m_fastClock.Steady() - before, std::chrono::seconds(2)) << "he is not waited for again, nor told of";
        EXPECT_EQ(Access().PendingEvents(), 2U);
    }
    m_pServer->OnChangedDs(Event(4).Get());
    EXPECT_EQ(Take(client), (std::vector<LONG>{1, 2, 3, 4}));
}

TEST_F(NotifyPatience, EventsOfAHeldFileAreToldToItsClientAndToNobodyElseAgain)
{
    RunAgain({.syncing = false, .patience = std::chrono::milliseconds(50)});
    const std::wstring held = m_pServer->GetDsEventsFileFullPath(Register());
    const std::wstring next = m_pServer->GetDsEventsFileFullPath(Register());
    m_pServer->OnChangedDs(Event(1).Get());
    {
        std::unique_ptr<platform::IFile> stranger;
        ASSERT_EQ(platform::Files().Open(held, platform::eOpenMode_ReadExclusive, stranger), platform::eOsError_None);
        const platform::CScopedOs os(nullptr, &m_fastClock);
        m_pServer->OnChangedDs(Event(2).Get());
        m_pServer->OnChangedDs(Event(3).Get());
        m_host.ExpectReport(963, L"Unable to read ds events file !");
    }
    m_pServer->OnChangedDs(Event(4).Get());
    EXPECT_EQ(EventsIn(held), (std::vector<LONG>{1, 2, 3, 4}));
    EXPECT_EQ(EventsIn(next), (std::vector<LONG>{1, 2, 3, 4}));
}

TEST_F(NotifyPatience, WithPatienceADamagedFileIsReportedEachTime)
{
    RunAgain({.syncing = false, .patience = std::chrono::milliseconds(50)});
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, "damaged")));
    for (const LONG number : {1, 2}) {
        m_pServer->OnChangedDs(Event(number).Get());
        m_host.ExpectReport(963, L"Unable to read ds events file !");
    }
    EXPECT_EQ(Access().PendingEvents(), 0U);
}

TEST_F(NotifyPatience, EventsThatWaitForAHeldFileAreBounded)
{
    RunAgain({.syncing = false, .eventsLimit = 1000, .patience = std::chrono::milliseconds(50)});
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(Register());
    m_pServer->OnChangedDs(Event(1).Get());
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, path);
    {
        const platform::CScopedOs os(&m_files, &m_fastClock);
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

TEST_F(NotifyPatience, AHostWithoutPatienceWaitsForALockOnce)
{
    const SZelServerOptions options{.syncing = false, .patience = std::chrono::milliseconds(50)};
    Make(options);
    m_pServer->SetPalette(m_pPalette.Get());
    Run();
    CZelProcessorClient& holder = AddListener();
    CZelProcessorClient& other = AddListener();
    CLockFile groups(holder.GetInsertableItemsChangeFile());
    ASSERT_TRUE(groups.Lock(false));
    m_pPalette->m_groups = {kFirstGroup};
    const platform::CScopedOs os(nullptr, &m_fastClock);
    m_pServer->OnChangedDs(Event(1).Get());
    m_host.ExpectReport(58, L"Timeout expired");
    m_host.ExpectReport(1018, L"Unable to lock communication file on the server side !");
    m_host.ExpectLogLine(holder.GetInsertableItemsChangeFile() + L".lock' is kept open by ");
    const auto before = m_fastClock.Steady();
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_LT(m_fastClock.Steady() - before, std::chrono::seconds(2));
    EXPECT_EQ(TakeGroups(other).size(), 2U);
    groups.Unlock();
    m_pPalette->m_groups = {kSecondGroup};
    m_pServer->OnChangedDs(Event(3).Get());
    EXPECT_EQ(TakeGroups(holder), (std::vector<GUID>{kFirstGroup, kSecondGroup}));
}

TEST_F(NotifyPatience, AClientThatHoldsItsLocksForMoreThanTwoSecondsIsReportedAndPassedOver)
{
    CZelProcessorClient& holder = AddListener();
    CZelProcessorClient& other = AddListener();
    CLockFile groups(holder.GetInsertableItemsChangeFile());
    CLockFile results(holder.GetLockResultsChangeFile());
    ASSERT_TRUE(groups.Lock(false));
    ASSERT_TRUE(results.Lock(false));
    m_pPalette->m_groups = {kFirstGroup};
    const platform::CScopedOs os(nullptr, &m_fastClock);
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

TEST_F(NotifyPatience, AClientThatHoldsItsLockForLessThanTwoSecondsIsWaitedFor)
{
    CZelProcessorClient& client = AddListener();
    CLockFile results(client.GetLockResultsChangeFile());
    ASSERT_TRUE(results.Lock(false));
    m_fastClock.OnWait([&, released = false]() mutable {
        if (!released && m_fastClock.Yields() >= 190) {
            released = true;
            results.Unlock();
        }
    });
    const platform::CScopedOs os(nullptr, &m_fastClock);
    m_pServer->OnChangedLockResults();
    EXPECT_TRUE(client.ResetLockResultsChanged());
}

TEST_F(NotifyPatience, AStopEndsTheWaitForAClientWithoutAReport)
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

TEST_F(NotifyPatience, AStopEndsTheWaitForAnEventsFileWithoutAReport)
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
