#include "server/ServerFigures.h"

#include "platform/Os.h"
#include "server/TurnList.h"
#include "tests/support/ManualClock.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace std::chrono_literals;

namespace {

class ServerFiguresTest : public testing::Test {
protected:
    static TSRequestItem Item(const wchar_t* name, std::chrono::nanoseconds received = {})
    {
        TSRequestItem item;
        item.m_strFile = std::wstring(L"/out/Queue/") + name;
        item.m_received = received;
        return item;
    }
    void Run(const wchar_t* name, const CString& type, eZelProcRequestStatus status, const CString& reason = {})
    {
        m_figures.Begin(0, Item(name, platform::Clock().Steady()), 10);
        m_figures.SetType(0, type);
        m_figures.End(0, status, reason);
    }
    SZelServerFigures Seen()
    {
        SZelServerFigures figures;
        m_figures.Fill(figures);
        return figures;
    }

    testsupport::CManualClock m_clock;
    const platform::CScopedOs m_os{nullptr, &m_clock};
    CServerFigures m_figures;
};

TEST_F(ServerFiguresTest, ARequestIsCountedByItsTypeAndItsEnd)
{
    Run(L"a.drq", L"Query", eRequestStatus_Done);
    Run(L"b.drq", L"Query", eRequestStatus_ServerError, L"no such table");
    Run(L"c.drq", L"Query", eRequestStatus_Canceled);
    Run(L"d.drq", L"Echo", eRequestStatus_Done);
    const SZelServerFigures seen = Seen();
    ASSERT_EQ(seen.types.size(), 2U);
    EXPECT_EQ(seen.types[0].type, L"Echo");
    EXPECT_EQ(seen.types[1].done, 1U);
    EXPECT_EQ(seen.types[1].failed, 1U);
    EXPECT_EQ(seen.types[1].canceled, 1U);
    ASSERT_EQ(seen.ended.size(), 4U);
    EXPECT_EQ(seen.ended.front().name, L"d.drq");
    ASSERT_EQ(seen.failed.size(), 1U);
    EXPECT_EQ(seen.failed.front().reason, L"no such table");
    EXPECT_EQ(seen.bytesRead, 40U);
}

TEST_F(ServerFiguresTest, TimesAreThoseOfTheWaitAndOfTheRun)
{
    const TSRequestItem item = Item(L"a.drq", platform::Clock().Steady());
    m_clock.Advance(30ms);
    m_figures.Begin(0, item, 0);
    m_clock.Advance(400ms);
    m_figures.SetResponse(0, 77);
    m_figures.End(0, eRequestStatus_Done, {});
    const SZelServerFigures seen = Seen();
    EXPECT_EQ(seen.ended.front().waited, 30ms);
    EXPECT_EQ(seen.ended.front().ran, 400ms);
    EXPECT_EQ(seen.waiting.sum, 30ms);
    EXPECT_EQ(seen.waiting.counts[5], 1U); // above 20 ms, and not above 50
    EXPECT_EQ(seen.running.counts[8], 1U);
    EXPECT_EQ(seen.bytesWritten, 77U);
}

TEST_F(ServerFiguresTest, WhatRunsHasItsProgressAndIsGoneWhenItWaitsAgain)
{
    m_figures.Begin(2, Item(L"a.drq"), 0);
    m_figures.SetType(2, L"Query");
    m_figures.SetProgress(2, 40, L"half way");
    const SZelServerFigures seen = Seen();
    ASSERT_EQ(seen.runs.size(), 1U);
    EXPECT_EQ(seen.runs[0].slot, 3U);
    EXPECT_EQ(seen.runs[0].percent, 40);
    EXPECT_EQ(seen.runs[0].comment, L"half way");
    m_figures.End(2, eRequestStatus_Waiting, {});
    EXPECT_TRUE(Seen().runs.empty());
    EXPECT_TRUE(Seen().ended.empty());
}

TEST_F(ServerFiguresTest, OneThatIsCancelledWhileItWaitsHasNoType)
{
    m_figures.EndWaiting(Item(L"a.drq", platform::Clock().Steady()));
    const SZelServerFigures seen = Seen();
    ASSERT_EQ(seen.types.size(), 1U);
    EXPECT_EQ(seen.types[0].type, L"");
    EXPECT_EQ(seen.types[0].canceled, 1U);
    EXPECT_EQ(seen.running, SZelTimes()) << "it did not run";
}

TEST_F(ServerFiguresTest, TypesAndListsAndTextsHaveLimits)
{
    for (std::size_t type = 0; type < SZelServerFigures::kMostTypes + 25; ++type)
        Run(L"a.drq", L"T" + std::to_wstring(type), eRequestStatus_ServerError, std::wstring(5000, L'r'));
    const SZelServerFigures seen = Seen();
    EXPECT_EQ(seen.types.size(), SZelServerFigures::kMostTypes + 1);
    const auto other = std::ranges::find(seen.types, CString(SZelServerFigures::kOtherTypes), &SZelTypeFigures::type);
    ASSERT_NE(other, seen.types.end());
    EXPECT_EQ(other->failed, 25U);
    EXPECT_EQ(seen.ended.size(), SZelServerFigures::kMostListed);
    EXPECT_EQ(seen.failed.size(), SZelServerFigures::kMostListed);
    EXPECT_EQ(seen.failed.front().reason.size(), SZelServerFigures::kLongestText);
}

TEST_F(ServerFiguresTest, ACutTextEndsWithAWholeCharacter)
{
    EXPECT_EQ(CServerFigures::Cut(L"abc", 3), L"abc");
    EXPECT_EQ(CServerFigures::Cut(L"abcd", 3), L"abc");
    const CString halves = {L'a', static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00), L'b'};
    EXPECT_EQ(CServerFigures::Cut(halves, 2), L"a");
    EXPECT_EQ(CServerFigures::Cut(halves, 3), halves.substr(0, 3));
}

TEST_F(ServerFiguresTest, AScanIsCountedAndIsNoChange)
{
    const std::uint64_t before = m_figures.Changes();
    m_figures.CountScan();
    EXPECT_EQ(m_figures.Changes(), before);
    EXPECT_EQ(Seen().scans, 1U);
    m_figures.CountEvent();
    m_figures.CountTaskHostRestart();
    m_figures.CountRefused();
    m_figures.CountReceived();
    EXPECT_EQ(m_figures.Changes(), before + 4);
    m_figures.Clear();
    EXPECT_EQ(Seen().events + Seen().taskHostRestarts + Seen().refused + Seen().received + Seen().scans, 0U);
}

TEST(ZelTimesTest, ATimeIsCountedUnderTheLimitThatItDoesNotExceed)
{
    SZelTimes times;
    times.Add(1ms);
    times.Add(1ms + 1ns);
    times.Add(24h);
    EXPECT_EQ(times.counts.front(), 1U);
    EXPECT_EQ(times.counts[1], 1U);
    EXPECT_EQ(times.counts.back(), 1U);
}

} // namespace
