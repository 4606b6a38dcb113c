#include "server/RetryRules.h"
#include "platform/Os.h"
#include "server/TurnList.h"
#include "tests/support/ManualClock.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class RetryRulesTest : public testing::Test {
protected:
    RetryRulesTest() { m_rules.EndRun(); }

    testsupport::CManualClock m_clock;
    const platform::CScopedOs m_os{nullptr, &m_clock};
    CRetryRules m_rules;
    TSRequestItem m_item{L"a", 0};
};

TEST_F(RetryRulesTest, TheLastRequestIsForcedAfterFiveIdleSeconds)
{
    m_clock.Advance(4999ms);
    EXPECT_FALSE(m_rules.IsForced(m_item, true));
    m_clock.Advance(1ms);
    EXPECT_TRUE(m_rules.IsForced(m_item, true));
    EXPECT_FALSE(m_rules.IsForced(m_item, false)) << "others wait";
    m_rules.EndRun();
    EXPECT_FALSE(m_rules.IsForced(m_item, true));
}

TEST_F(RetryRulesTest, ARequestThatWasDeclinedThreeTimesIsForced)
{
    m_item.m_nRetries = 2;
    EXPECT_FALSE(m_rules.IsForced(m_item, false));
    m_item.m_nRetries = 3;
    EXPECT_TRUE(m_rules.IsForced(m_item, false));
    EXPECT_TRUE(m_rules.IsForced(m_item, true));
}

TEST_F(RetryRulesTest, CountsAtMostOnceASecond)
{
    m_clock.Advance(1000ms);
    EXPECT_FALSE(m_rules.Count(m_item));
    EXPECT_EQ(m_item.m_nRetries, 0);
    m_clock.Advance(1ms);
    EXPECT_TRUE(m_rules.Count(m_item));
    EXPECT_EQ(m_item.m_nRetries, 1);
    m_rules.EndRun();
    EXPECT_FALSE(m_rules.Count(m_item));
}

TEST(RetryRulesOfANewServerTest, NothingRanBeforeTheFirstRequest)
{
    const CRetryRules rules;
    TSRequestItem item{L"a", 0};
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    EXPECT_TRUE(rules.IsForced(item, true));
    EXPECT_TRUE(rules.Count(item));
}

} // namespace
