#include "tests/support/ServerKit.h"

#include "framework/Services.h"

#include <algorithm>
#include <cstddef>

namespace {

class RepeatedRequests : public CServerFixture {
protected:
    /// A path's name, for scripts that are told a path.
    static std::wstring Name(const std::wstring& path) { return platform::FileNameOf(path); }
};

} // namespace

TEST_F(RepeatedRequests, ARequestThatDeclinesWaitsBehindEverythingQueued)
{
    CGate gate;
    std::vector<std::wstring> order;
    std::wstring current;
    m_script.createRequest = [&](const std::wstring& path) {
        current = Name(path);
        return true;
    };
    bool declined = false;
    m_script.canProcess = [&](bool) {
        if (current != L"a.drq" || declined)
            return true;
        declined = true;
        gate.Pass(); // b and c are queued meanwhile
        return false;
    };
    m_script.obtainData = [&](auto*, auto*) {
        order.push_back(current);
        return true;
    };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    // One after the other: within one scan the order is the file system's.
    for (const wchar_t* name : {L"b.drq", L"c.drq"}) {
        Send(name);
        ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(name); }));
    }
    gate.Open();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    m_pServer->Stop(true);
    EXPECT_EQ(order, (std::vector<std::wstring>{L"b.drq", L"c.drq", L"a.drq"}));
}

TEST_F(RepeatedRequests, ALoneRequestIsForcedWhenTheServerWasIdleForFiveSeconds)
{
    testsupport::CManualClock clock(std::chrono::nanoseconds(0));
    const platform::CScopedOs os(nullptr, &clock);
    std::vector<bool> forcedOf;
    // Moved by the server's own thread between two requests, so that the idle time is exact.
    const std::vector<unsigned> idleMs{0, 4999, 5000};
    m_context.m_onStart = [&] { clock.Advance(std::chrono::milliseconds(idleMs.at(forcedOf.size()))); };
    m_script.canProcess = [&](bool force) {
        forcedOf.push_back(force);
        return true;
    };
    Run();
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"})
        EXPECT_EQ(SendAndWait(name), eRequestStatus_Done);
    m_pServer.reset();
    EXPECT_EQ(forcedOf, (std::vector<bool>{true, false, true})) << "nothing ran before the first";
}

TEST_F(RepeatedRequests, OfSeveralThatWaitOnlyTheLastIsForced)
{
    testsupport::CManualClock clock(std::chrono::nanoseconds(0));
    const platform::CScopedOs os(nullptr, &clock);
    CGate gate;
    std::vector<bool> forcedOf;
    m_context.m_onStart = [&] { clock.Advance(std::chrono::seconds(5)); }; // idle long enough before each
    m_script.canProcess = [&](bool force) {
        forcedOf.push_back(force);
        return forcedOf.size() > 1 || gate.Pass();
    };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    for (const wchar_t* name : {L"b.drq", L"c.drq", L"d.drq"})
        Send(name);
    ASSERT_TRUE(WaitUntil([&] { return Access().QueuedNames().size() == 3; }));
    gate.Open();
    for (const wchar_t* name : {L"b.drq", L"c.drq", L"d.drq"})
        EXPECT_EQ(WaitForEnd(name), eRequestStatus_Done);
    m_pServer.reset();
    EXPECT_EQ(forcedOf, (std::vector<bool>{true, false, false, true}));
}

TEST_F(RepeatedRequests, RetriesAreCountedOncePerSecondAndThenForced)
{
    // Whoever waits for a reader of the status, which on a busy machine is hundreds of tries, does not move it.
    testsupport::CManualClock clock(std::chrono::nanoseconds(0));
    const platform::CScopedOs os(nullptr, &clock);
    std::vector<bool> forced;
    m_script.canProcess = [&](bool force) {
        forced.push_back(force);
        clock.Advance(std::chrono::milliseconds(100));
        return force && forced.size() > 1;
    };
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
    m_pServer.reset();
    // The first run is forced (the server was idle) and declines all the same; it counts and stamps the clock. Then it
    // takes 1001 ms for each further count: at 100 ms a run that is every eleventh. The third count makes the next run
    // a forced one.
    ASSERT_EQ(forced.size(), 24U);
    EXPECT_TRUE(forced.front());
    EXPECT_TRUE(forced.back());
    EXPECT_EQ(std::count(forced.begin(), forced.end(), true), 2);
}

TEST_F(RepeatedRequests, SteppingByHandRunsTheQueueUntilItIsEmpty)
{
    Run();
    m_pServer->SetManualProceedQueue(true);
    // The executive waits for its event before it looks at the permission, so it may take what arrives first without
    // one.
    Send(L"first.drq");
    ASSERT_TRUE(WaitUntil([&] { return m_context.m_starts != 0 || !Access().QueuedNames().empty(); }));
    m_pServer->ProceedQueue();
    EXPECT_EQ(WaitForEnd(L"first.drq"), eRequestStatus_Done);
    ASSERT_TRUE(WaitUntil([&] { return !m_pServer->CanProceedQueue(); }));

    Send(L"a.drq");
    Send(L"b.drq");
    ASSERT_TRUE(WaitUntil([&] { return Access().QueuedNames().size() == 2; }));
    EXPECT_EQ(m_context.m_starts, 1);
    m_pServer->ProceedQueue();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Done);
    ASSERT_TRUE(WaitUntil([&] { return !m_pServer->CanProceedQueue(); }));
    EXPECT_EQ(m_context.m_starts, 3) << "the permission ended when the queue ran dry";
}
