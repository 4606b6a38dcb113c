#include "server/TimeLimits.h"
#include "tests/library/exchange/AllocationWatch.h"
#include "tests/library/server/RunFixture.h"

#include <map>
#include <new>

using namespace std::chrono_literals;

namespace {

class TimeLimitsTest : public CRunFixture {
protected:
    TimeLimitsTest() { m_settings.m_options = {.syncing = false, .resume = true}; }

    void Begin(std::chrono::milliseconds limit, unsigned attempts = 0, std::uint8_t maxRuns = 1)
    {
        m_requests.Add(
            {.m_strFile = Queued(L"a.drq"), .m_nAttempts = attempts, .m_timeLimit = limit, .m_nMaxRuns = maxRuns});
        TSRequestItem item;
        bool bLast = false;
        ASSERT_TRUE(m_requests.TakeRequest(item, bLast, [] {}));
        m_clock.Advance(1h); // while its run is recorded
        m_limits.Check();
        m_requests.BeginRunning();
    }
    /// The warnings that a check told.
    std::vector<std::wstring> Check()
    {
        m_limits.Check();
        std::vector<std::wstring> texts;
        for (const testsupport::SLogLine& line : m_host.TakeLogLines()) {
            EXPECT_EQ(line.level, Brel::Log::eLogLevel_Warning);
            EXPECT_EQ(line.request, L"a.drq");
            EXPECT_TRUE(line.text.starts_with(Queued(L"a.drq") + L": "));
            texts.push_back(line.text.substr(Queued(L"a.drq: ").size()));
        }
        return texts;
    }
    std::map<CString, SAttempts> Records()
    {
        std::map<CString, SAttempts> all;
        EXPECT_EQ(CAttemptRecords(m_settings).ReadAll(all), platform::eOsError_None);
        return all;
    }

    using Texts = std::vector<std::wstring>;
    const std::wstring m_cancelled = L"it has run for its limit of 2 seconds and is cancelled";
    const platform::CScopedOs m_os{&m_files, &m_clock};
    CTimeLimits m_limits{m_settings, m_requests};
};

/// After the cancel of a run there is no memory left for what comes next.
class CLastContext final : public CZelProcessorContext {
public:
    HRESULT GetHostService(REFIID, void**) override { return E_NOINTERFACE; }
    bool IsClosing() override { return false; }
    void SetCanceled(bool canceled) override
    {
        if (canceled)
            CAllocationWatch::FailNext();
    }
    bool IsCanceled() override { return false; }
};

std::wstring DeafText(const wchar_t* seconds)
{
    return std::wstring(L"it still runs ") + seconds +
           L" seconds after it was cancelled for its limit, for its task does not look. It runs in the server's "
           L"process "
           L"and cannot be ended without it";
}

TEST_F(TimeLimitsTest, TheTimeThatARunIsKeptWaitingDoesNotCount)
{
    Begin(2s);
    m_requests.HoldTime();
    m_clock.Advance(1h);
    EXPECT_EQ(Check(), Texts());
    m_requests.BeginRunning();
    m_clock.Advance(1999ms);
    EXPECT_EQ(Check(), Texts());
    m_clock.Advance(1ms);
    EXPECT_EQ(Check(), Texts{m_cancelled});
}

TEST_F(TimeLimitsTest, ARunIsCancelledAtItsLimitAndNotBefore)
{
    Begin(2s);
    EXPECT_EQ(m_limits.UntilCheck(), 1s);
    m_clock.Advance(1999999us);
    EXPECT_EQ(m_limits.UntilCheck(), 1ms) << "rounded up, or it would be too early";
    EXPECT_EQ(Check(), Texts());
    EXPECT_FALSE(m_context.m_canceled);
    m_clock.Advance(1us);
    EXPECT_EQ(m_limits.UntilCheck(), 0ms);
    EXPECT_EQ(Check(), Texts{m_cancelled});
    EXPECT_TRUE(m_context.m_canceled && m_requests.IsEndedByLimit());
    EXPECT_EQ(m_limits.UntilCheck(), 1s);
}

TEST_F(TimeLimitsTest, ATaskThatDoesNotLookIsToldAfterTheGraceAndThenEachMinute)
{
    Begin(2s);
    m_clock.Advance(2s);
    EXPECT_EQ(Check(), Texts{m_cancelled});
    m_clock.Advance(4999ms);
    EXPECT_EQ(m_limits.UntilCheck(), 1ms);
    EXPECT_EQ(Check(), Texts());
    m_clock.Advance(1ms);
    EXPECT_EQ(Check(), Texts{DeafText(L"5")});
    m_clock.Advance(59999ms);
    EXPECT_EQ(Check(), Texts());
    m_clock.Advance(1ms);
    EXPECT_EQ(Check(), Texts{DeafText(L"65")});
    m_requests.EndRunning();
    m_clock.Advance(1h);
    EXPECT_EQ(Check(), Texts());
}

TEST_F(TimeLimitsTest, TheGraceIsThatOfTheHostWithinReason)
{
    for (const auto& [asked, counts] : {std::pair{0ms, 0ms},
                                        {250ms, 250ms},
                                        {-1ms, 0ms},
                                        {std::chrono::milliseconds::max(), std::chrono::milliseconds(1h)}}) {
        m_settings.m_options.grace = asked;
        Begin(2s);
        m_clock.Advance(2s);
        EXPECT_EQ(Check().size(), 1U);
        m_clock.Advance(counts);
        EXPECT_EQ(Check().size(), 1U) << counts.count();
        m_requests.EndRunning();
    }
}

TEST_F(TimeLimitsTest, WithoutALimitARunTakesAsLongAsItLikes)
{
    EXPECT_EQ(m_limits.UntilCheck(), 1s) << "nothing runs";
    EXPECT_EQ(Check(), Texts());
    Begin(0ms);
    m_clock.Advance(24h * 365);
    EXPECT_EQ(m_limits.UntilCheck(), 1s);
    EXPECT_EQ(Check(), Texts());
    EXPECT_FALSE(m_context.m_canceled);
}

TEST_F(TimeLimitsTest, TheNextRunHasItsOwnTime)
{
    Begin(2s);
    m_clock.Advance(1999ms);
    EXPECT_EQ(Check(), Texts());
    m_requests.EndRunning();
    Begin(2s);
    m_clock.Advance(1999ms);
    EXPECT_EQ(Check(), Texts());
    m_clock.Advance(1ms);
    EXPECT_EQ(Check(), Texts{m_cancelled});
}

TEST_F(TimeLimitsTest, ANextServerIsToldWhileTheRunGoesOn)
{
    Begin(2s, 1);
    m_clock.Advance(2s);
    EXPECT_EQ(Check(), Texts{m_cancelled});
    EXPECT_EQ(Records(), (std::map<CString, SAttempts>{{L"a.drq", {2, 2s}}}));
    CAttemptRecords(m_settings).Forget(L"a.drq");
    m_requests.EndRunning();
    m_settings.m_options.resume = false;
    Begin(2s);
    m_clock.Advance(2s);
    EXPECT_EQ(Check(), Texts{m_cancelled});
    EXPECT_TRUE(Records().empty()) << "nobody takes anything over";
}

TEST_F(TimeLimitsTest, ARunIsNotOverBeforeTheNextServerHasBeenTold)
{
    Begin(2s);
    m_clock.Advance(2s);
    int writes = 0;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Write) {
            ++writes;
            EXPECT_FALSE(m_requests.CloseLimit()) << "or its record could be that of the next one of its name";
        }
    });
    EXPECT_EQ(Check(), Texts{m_cancelled});
    EXPECT_EQ(writes, 1);
    EXPECT_EQ(m_requests.CloseLimit(), true);
    m_requests.EndRunning();
}

TEST_F(TimeLimitsTest, WhoeverEndsTheRunDoesNotWaitForEverWhenThereIsNoMemoryToTellOfIt)
{
    CLastContext context;
    m_requests.SetContext(&context);
    Begin(2s);
    m_clock.Advance(2s);
    EXPECT_THROW(m_limits.Check(), std::bad_alloc);
    EXPECT_EQ(m_requests.CloseLimit(), true);
}

TEST_F(TimeLimitsTest, ARunThatIsOverReachesNoLimit)
{
    Begin(2s);
    m_clock.Advance(2s);
    EXPECT_EQ(m_requests.CloseLimit(), false);
    EXPECT_EQ(Check(), Texts());
    EXPECT_TRUE(Records().empty());
}

TEST_F(TimeLimitsTest, ARecordThatCannotBeWrittenIsToldAndTheRunCancelledAllTheSame)
{
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_DiskFull, L"attempts");
    Begin(2s);
    m_clock.Advance(2s);
    EXPECT_EQ(Check(), (Texts{m_cancelled, L"if the server is ended now, the next one runs it again: " +
                                               platform::OsErrorText(platform::eOsError_DiskFull)}));
    EXPECT_TRUE(m_context.m_canceled);
}

TEST_F(TimeLimitsTest, WhatWillBeRunAgainIsNotEndedForGood)
{
    Begin(2s, 0, 2);
    m_clock.Advance(2s);
    EXPECT_EQ(Check(), Texts{m_cancelled});
    EXPECT_TRUE(Records().empty());
}

} // namespace
