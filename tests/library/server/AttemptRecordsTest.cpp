#include "server/AttemptRecords.h"
#include "tests/library/server/RunFixture.h"

#include <chrono>

namespace {

class AttemptRecordsTest : public CRunFixture {
protected:
    AttemptRecordsTest() { m_settings.m_options = {.syncing = true, .resume = true}; }

    std::map<CString, SAttempts> All()
    {
        std::map<CString, SAttempts> all;
        EXPECT_EQ(m_records.ReadAll(all), platform::eOsError_None);
        return all;
    }

    const CAttemptRecords m_records{m_settings};
};

} // namespace

TEST_F(AttemptRecordsTest, ARunThatIsBegunAgainIsOnTheDeviceBeforeItBegins)
{
    const platform::CScopedOs os(&m_files, nullptr);
    const TSRequestItem item{Queued(L"a.drq"), 0, {}, 2};
    EXPECT_EQ(m_records.Begin(item), platform::eOsError_None);
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Sync), 1U);
    EXPECT_EQ(m_files.Calls().back().call, testsupport::eFileCall_SyncDirectory);
    EXPECT_EQ(m_files.Calls().back().path, m_settings.m_paths.InOwnFolder(L"attempts"));
    EXPECT_EQ(All(), (std::map<CString, SAttempts>{{L"a.drq", {3}}}));
    m_records.End(item);
    EXPECT_TRUE(All().empty());
}

TEST_F(AttemptRecordsTest, AFirstRunCostsNothing)
{
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_EQ(m_records.Begin({Queued(L"a.drq")}), platform::eOsError_None);
    m_records.End({Queued(L"a.drq")});
    EXPECT_TRUE(m_files.Calls().empty());
}

TEST_F(AttemptRecordsTest, AFirstRunIsMarkedWhereInterruptedRequestsAreToFail)
{
    m_settings.m_options.interrupted = eInterrupted_Fail;
    EXPECT_EQ(m_records.Begin({Queued(L"a.drq")}), platform::eOsError_None);
    EXPECT_EQ(All(), (std::map<CString, SAttempts>{{L"a.drq", {1}}}));
    m_records.End({Queued(L"a.drq")});
    EXPECT_TRUE(All().empty());
}

TEST_F(AttemptRecordsTest, WithoutSyncingNothingIsSynced)
{
    m_settings.m_options.syncing = false;
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_EQ(m_records.Begin({Queued(L"a.drq"), 0, {}, 1}), platform::eOsError_None);
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_Sync) + m_files.Count(testsupport::eFileCall_SyncDirectory), 0U);
    EXPECT_EQ(All(), (std::map<CString, SAttempts>{{L"a.drq", {2}}}));
}

TEST_F(AttemptRecordsTest, ARecordThatWasCutOffCountsOnce)
{
    EXPECT_EQ(m_records.Begin({Queued(L"a.drq"), 0, {}, 4}), platform::eOsError_None);
    Write(m_settings.m_paths.InOwnFolder(L"attempts") + platform::kPathSeparator + L"a.drq", "");
    EXPECT_EQ(All(), (std::map<CString, SAttempts>{{L"a.drq", {1}}}));
}

TEST_F(AttemptRecordsTest, OneThatHasReachedItsLimitSaysWhichUntilItEnds)
{
    const SAttempts reached{.runs = 2, .limit = std::chrono::milliseconds(1500)};
    EXPECT_EQ(m_records.ReachLimit(L"a.drq", reached), platform::eOsError_None);
    EXPECT_EQ(All(), (std::map<CString, SAttempts>{{L"a.drq", reached}}));
    m_records.Forget(L"a.drq");
    EXPECT_TRUE(All().empty());
}

TEST_F(AttemptRecordsTest, OfALimitThatCannotBeReadTheRunsCount)
{
    EXPECT_EQ(m_records.ReachLimit(L"a.drq", {.runs = 2, .limit = std::chrono::seconds(1)}), platform::eOsError_None);
    for (const char* text :
         {"2 limit ", "2 limit -5", "2 limit 99999999999999999999", "2 lim", "2 LIMIT 5", "2 limit x"}) {
        Write(m_settings.m_paths.InOwnFolder(L"attempts") + platform::kPathSeparator + L"a.drq", text);
        EXPECT_EQ(All(), (std::map<CString, SAttempts>{{L"a.drq", {2}}})) << text;
    }
}

TEST_F(AttemptRecordsTest, AFailedAttemptIsRememberedUntilTheNextOneHasEnded)
{
    const TSRequestItem first{.m_strFile = Queued(L"a.drq"), .m_nMaxRuns = 3};
    EXPECT_EQ(m_records.Begin(first), platform::eOsError_None);
    EXPECT_TRUE(All().empty());
    EXPECT_EQ(m_records.Fail(first), platform::eOsError_None);
    EXPECT_EQ(All(), (std::map<CString, SAttempts>{{L"a.drq", {.runs = 0, .failed = 1}}}));
    const TSRequestItem second{.m_strFile = Queued(L"a.drq"), .m_nMaxRuns = 3, .m_nFailedRuns = 1};
    EXPECT_EQ(m_records.Begin(second), platform::eOsError_None);
    EXPECT_EQ(All(), (std::map<CString, SAttempts>{{L"a.drq", {.runs = 1, .failed = 1}}}));
    m_records.End(second);
    EXPECT_TRUE(All().empty());
    m_settings.m_options.resume = false;
    EXPECT_EQ(m_records.Fail(first), platform::eOsError_None);
    EXPECT_TRUE(All().empty()) << "nobody would read it";
}
