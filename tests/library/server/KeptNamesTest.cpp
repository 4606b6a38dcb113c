#include "server/KeptNames.h"

#include "protocol/FailedRecord.h"
#include "server/EndedRequests.h"
#include "server/FailedRequests.h"
#include "tests/library/server/RunFixture.h"

#include <atomic>
#include <new>
#include <thread>

namespace {

class KeptNames : public CRunFixture {
protected:
    KeptNames() { m_settings.m_options = {.syncing = true, .resume = true}; }

    void Keep(CEndedRequests& ended, CEndedRequests::eEnd end = CEndedRequests::eEnd_Response)
    {
        Write(Queued(L"a.drq"));
        if (end == CEndedRequests::eEnd_Failed) {
            EXPECT_TRUE(m_failed.Begin({Queued(L"a.drq")}, {.when = 5, .reason = L"why"}));
        }
        EXPECT_EQ(ended.Keep(Queued(L"a.drq"), end), platform::eOsError_None);
        EXPECT_TRUE(IsKept());
    }
    [[nodiscard]] std::size_t FilesOfFailed() const { return FilesIn(FailedRecord::FolderIn(m_outputDir)).size(); }
    [[nodiscard]] bool IsKept() const { return platform::PathExists(m_first.PathOf(L"a.drq")); }

    CKeptNames m_names;
    CFailedRequests m_failed{m_settings};
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

TEST_F(KeptNames, WhoeverLetsItGoLastDoesSoAsTheLastRequestHasEnded)
{
    m_settings.m_options.keepFailed = std::chrono::hours(1);
    Keep(m_first);
    Keep(m_second, CEndedRequests::eEnd_Failed);
    m_second.Flush();
    EXPECT_TRUE(IsKept());
    EXPECT_EQ(FilesOfFailed(), 1U) << "its record";
    m_first.Flush();
    EXPECT_FALSE(IsKept());
    EXPECT_EQ(FilesOfFailed(), 2U) << "with its file";
    ASSERT_EQ(m_failed.Discard(L"a.drq"), platform::eOsError_None);
    Keep(m_first, CEndedRequests::eEnd_Failed);
    Keep(m_second);
    m_second.Flush();
    m_first.Flush();
    EXPECT_FALSE(IsKept());
    EXPECT_EQ(FilesOfFailed(), 0U) << "the last one was done";
}

TEST_F(KeptNames, WhoWantsANameWhoseFileGoesWaitsForThatAndWhoWantsAnotherDoesNot)
{
    std::atomic<bool> isGone = false;
    std::thread next;
    m_names.Release(L"a.drq", true, [&](bool hasFailed) {
        EXPECT_TRUE(hasFailed) << "as who lets it go knows, for nobody has held it";
        m_names.Hold(L"b.drq");
        m_names.Release(L"b.drq");
        next = std::thread([&] {
            m_names.Hold(L"a.drq");
            EXPECT_TRUE(isGone);
        });
        std::this_thread::yield();
        isGone = true;
    });
    next.join();
    bool isLetGo = false;
    EXPECT_THROW(m_names.Release(L"a.drq", false, [](bool) { throw std::bad_alloc(); }), std::bad_alloc);
    m_names.Release(L"a.drq", false, [&](bool) { isLetGo = true; });
    EXPECT_TRUE(isLetGo) << "nobody holds it, and nobody is about to let it go";
}

TEST_F(KeptNames, WhatCouldNotBeKeptHoldsNothing)
{
    EXPECT_EQ(m_first.Keep(Queued(L"a.drq")), platform::eOsError_FileNotFound);
    Keep(m_second);
    m_second.Flush();
    EXPECT_FALSE(IsKept());
}
