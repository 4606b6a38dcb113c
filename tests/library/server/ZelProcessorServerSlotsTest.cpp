#include "tests/support/ServerKit.h"

#include "framework/CrashReport.h"

#include <atomic>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

/// A server that runs four requests at once, whose tasks wait until they are let through.
class Slots : public CServerFixture {
protected:
    static constexpr unsigned kSlots = 4;

    void SetUp() override
    {
        CServerFixture::SetUp();
        Make(Options());
        m_script.obtainData = [this](CZelProcessorContext* context, CZelProcessorProgress*) {
            Enter(Name());
            return WaitUntil([&] { return context->IsCanceled() || m_open.IsSet(); });
        };
    }
    static SZelServerOptions Options() { return {.syncing = false, .slots = kSlots}; }

    /// Of the request that this thread runs.
    static std::wstring Name() { return MOXCrashRpt::CScopedSubject::CurrentName(); }
    void Enter(const std::wstring& name)
    {
        const platform::CMutexLock lock(m_cs);
        ++m_entered[name];
    }
    int Entered(const std::wstring& name)
    {
        const platform::CMutexLock lock(m_cs);
        const auto found = m_entered.find(name);
        return found == m_entered.end() ? 0 : found->second;
    }
    std::size_t Entered()
    {
        const platform::CMutexLock lock(m_cs);
        return m_entered.size();
    }
    /// Their tasks wait when it returns.
    void SendAndWaitUntilRunning(std::initializer_list<const wchar_t*> names)
    {
        for (const wchar_t* name : names)
            Send(name);
        for (const wchar_t* name : names)
            ASSERT_TRUE(WaitUntil([&] { return Entered(name) != 0; })) << testing::PrintToString(std::wstring(name));
    }

    platform::CManualResetEvent m_open;

private:
    platform::CMutex m_cs;
    std::map<std::wstring, int> m_entered ZEL_GUARDED_BY(m_cs);
};

/// Counts what it is told, and how many tell it at once.
class CCountingEvent final : public CZelProcessorEvent {
public:
    void OnRequestDone() override
    {
        if (++m_inside != 1)
            m_bAlone = false;
        if (m_faults-- > 0) {
            --m_inside;
            std::abort();
        }
        for (int turn = 0; turn < 100; ++turn)
            std::this_thread::yield(); // others may come in, if they can
        --m_inside;
        ++m_done;
    }

    std::atomic<int> m_inside = 0;
    std::atomic<bool> m_bAlone = true;
    std::atomic<int> m_faults = 0;
    std::atomic<int> m_done = 0;
};

} // namespace

TEST_F(Slots, AsManyRequestsRunAtOnceAsThereAreSlotsAndNoMore)
{
    Run();
    SendAndWaitUntilRunning({L"a.drq", L"b.drq", L"c.drq", L"d.drq"});
    Send(L"e.drq");
    ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(L"e.drq"); }));
    EXPECT_EQ(Entered(), kSlots);
    m_open.Set();
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq", L"d.drq", L"e.drq"})
        EXPECT_EQ(WaitForEnd(name), eRequestStatus_Done);
}

TEST_F(Slots, ACancelStopsTheRequestOfItsNameAlone)
{
    Run();
    SendAndWaitUntilRunning({L"a.drq", L"b.drq", L"c.drq"});
    EXPECT_EQ(m_client.CancelRequest(L"unknown.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_client.CancelRequest(L"b.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Canceled);
    EXPECT_FALSE(m_context.m_canceled) << "the host's flag is the host's";
    m_open.Set();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"c.drq"), eRequestStatus_Done);
}

TEST_F(Slots, AHostThatCancelsByItsOwnFlagStopsAll)
{
    Run();
    SendAndWaitUntilRunning({L"a.drq", L"b.drq"});
    m_context.SetCanceled(true);
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Canceled);
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Canceled);
}

TEST_F(Slots, ACancelThatComesWhileItsRequestStartsIsNotLost)
{
    Run();
    for (int round = 0; round < 40; ++round) {
        const std::wstring name = std::to_wstring(round) + L".drq";
        Send(name);
        const std::wstring queued = m_pServer->GetFileInQueueFullPath(name);
        ASSERT_TRUE(WaitUntil([&] { return Access().Requests().IsKnown(queued); }));
        EXPECT_EQ(m_client.CancelRequest(name), eRequestStatus_Done);
        ASSERT_EQ(WaitForEnd(name), eRequestStatus_Canceled) << round;
    }
}

TEST_F(Slots, OneThatIsPausedWhileOthersRunGoesOnWhenItIsLetGo)
{
    Run();
    SendAndWaitUntilRunning({L"a.drq", L"b.drq", L"c.drq", L"d.drq"});
    Send(L"e.drq");
    ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(L"e.drq"); }));
    EXPECT_EQ(m_client.PauseRequest(L"e.drq"), eRequestStatus_Done);
    EXPECT_TRUE(Access().IsRequestPaused(L"e.drq"));
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Canceled);
    EXPECT_EQ(Entered(L"e.drq"), 0) << "there is a slot for it, but it is paused";
    EXPECT_EQ(m_client.PauseRequest(L"e.drq"), eRequestStatus_Done);
    m_open.Set();
    for (const wchar_t* name : {L"b.drq", L"c.drq", L"d.drq", L"e.drq"})
        EXPECT_EQ(WaitForEnd(name), eRequestStatus_Done);
}

TEST_F(Slots, SteppingByHandIsOneForAllOfThem)
{
    SZelServerOptions options = Options();
    options.manual = true;
    Make(options);
    m_open.Set();
    Run();
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"})
        Send(name);
    ASSERT_TRUE(WaitUntil([&] { return Access().QueuedNames().size() == 3; }));
    EXPECT_EQ(Entered(), 0U);
    m_pServer->ProceedQueue();
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"})
        EXPECT_EQ(WaitForEnd(name), eRequestStatus_Done);
    ASSERT_TRUE(WaitUntil([&] { return !m_pServer->CanProceedQueue(); }));
}

TEST_F(Slots, AnExceptionInOneLeavesWhatRunsBesideIt)
{
    const auto wait = m_script.obtainData;
    m_script.obtainData = [&](CZelProcessorContext* context, CZelProcessorProgress* progress) {
        if (Name() == L"throws.drq")
            throw std::runtime_error("of its own");
        return wait(context, progress);
    };
    Run();
    SendAndWaitUntilRunning({L"a.drq", L"b.drq"});
    EXPECT_EQ(SendAndWait(L"throws.drq"), eRequestStatus_ServerError);
    m_open.Set();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Done);
    EXPECT_EQ(m_host.TakeCrashReports().size(), 1U);
    static_cast<void>(m_host.TakeBoxes());
}

TEST_F(Slots, AStopWaitsForAllThatRun)
{
    Run();
    SendAndWaitUntilRunning({L"a.drq", L"b.drq", L"c.drq", L"d.drq"});
    std::atomic<bool> hasStopped = false;
    std::thread stopping([&] {
        m_pServer->Stop(true);
        hasStopped = true;
    });
    EXPECT_TRUE(WaitUntil([&] { return !Access().IsRunning(); }));
    EXPECT_FALSE(hasStopped);
    m_open.Set();
    stopping.join();
    EXPECT_FALSE(Access().HasThreads());
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq", L"d.drq"})
        EXPECT_EQ(m_client.GetStatus(name, nullptr), eRequestStatus_Done);
    Run();
    EXPECT_EQ(SendAndWait(L"next.drq"), eRequestStatus_Done);
}

TEST_F(Slots, OneThreadAtATimeTellsTheHostThatARequestIsDone)
{
    CCountingEvent event;
    m_pServer->SetZelProcessorEvent(&event);
    Run();
    for (unsigned round = 0; round < 5; ++round) {
        m_open.Reset();
        for (unsigned slot = 0; slot < kSlots; ++slot)
            Send(std::to_wstring(round * kSlots + slot) + L".drq");
        ASSERT_TRUE(WaitUntil([&] { return Entered() == (round + 1) * kSlots; }));
        m_open.Set(); // all end at once
        ASSERT_TRUE(WaitUntil([&] { return event.m_done == static_cast<int>((round + 1) * kSlots); }));
    }
    EXPECT_TRUE(event.m_bAlone);
    m_pServer->Stop(true);
}

TEST_F(Slots, AHostThatCrashesWhenItIsToldKeepsNobodyFromTellingIt)
{
    CCountingEvent event;
    event.m_faults = 1;
    m_pServer->SetZelProcessorEvent(&event);
    m_open.Set();
    Run();
    EXPECT_EQ(SendAndWait(L"first.drq"), eRequestStatus_Done);
    ASSERT_TRUE(WaitUntil([&] { return event.m_faults < 1; }));
    EXPECT_EQ(SendAndWait(L"next.drq"), eRequestStatus_Done);
    EXPECT_TRUE(WaitUntil([&] { return event.m_done == 1; }));
    m_pServer->Stop(true);
    EXPECT_EQ(m_host.TakeCrashReports().size(), 1U);
    static_cast<void>(m_host.TakeBoxes());
}
