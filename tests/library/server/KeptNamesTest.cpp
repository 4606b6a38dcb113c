#include "server/EndedRequests.h"
#include "tests/library/server/RunFixture.h"

namespace {

class KeptNames : public CRunFixture {
protected:
    KeptNames() { m_settings.m_options = {.syncing = true, .resume = true}; }

    void Keep(CEndedRequests& ended)
    {
        Write(Queued(L"a.drq"));
        EXPECT_EQ(ended.Keep(Queued(L"a.drq")), platform::eOsError_None);
        EXPECT_TRUE(IsKept());
    }
    [[nodiscard]] bool IsKept() const { return platform::PathExists(m_first.PathOf(L"a.drq")); }

    CKeptNames m_names;
    CEndedRequests m_first{m_settings, &m_names};
    CEndedRequests m_second{m_settings, &m_names};
};

} // namespace

TEST_F(KeptNames, AFileThatAnotherKeepsUnderTheSameNameStaysUntilThatOneLetsItGo)
{
    Keep(m_first);
    Keep(m_second); // its client has taken the end of the one before, and has sent again
    m_first.Flush();
    EXPECT_TRUE(IsKept());
    m_second.Flush();
    EXPECT_FALSE(IsKept());
    Keep(m_first);
    m_first.Flush();
    EXPECT_FALSE(IsKept()) << "nothing is left of the times before";
}

TEST_F(KeptNames, WhatCouldNotBeKeptHoldsNothing)
{
    EXPECT_EQ(m_first.Keep(Queued(L"a.drq")), platform::eOsError_FileNotFound);
    Keep(m_second);
    m_second.Flush();
    EXPECT_FALSE(IsKept());
}
