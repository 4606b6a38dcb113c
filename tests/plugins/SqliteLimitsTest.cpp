#include "plugins/datastore/SqliteLimits.h"

#include "plugins/datastore/Spool.h"
#include "plugins/datastore/TemporarySpace.h"
#include "tests/plugins/PluginHarness.h"
#include "tests/plugins/SampleDatabase.h"
#include "tests/plugins/StringSink.h"
#include "tests/support/RecordingHost.h"

#include "platform/Module.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <chrono>
#include <string>

using namespace plugintest;

namespace {

/// A variable of the server, while the object lives.
class CVariable {
public:
    CVariable(const wchar_t* name, const std::wstring& value) : m_pName(name) { platform::SetEnvironment(name, value); }
    ~CVariable() { platform::SetEnvironment(m_pName, L""); }
    CVariable(const CVariable&) = delete;
    CVariable& operator=(const CVariable&) = delete;

private:
    const wchar_t* const m_pName;
};

class SqliteLimits : public testing::Test {
protected:
    SqliteLimits() { m_data.Make(L"box", "CREATE TABLE t(a); INSERT INTO t VALUES(1)"); }

    [[nodiscard]] std::wstring Error(const std::string& sql) { return m_run.Run(QueryRequest("box", sql)).error; }
    /// A statement that is good, and fails in the middle of its work.
    void ExpectFailure(const std::string& sql, const std::wstring& reason)
    {
        const SOutcome outcome = m_run.Run(QueryRequest("box", sql));
        EXPECT_EQ(outcome.stage, eStage_NotObtained) << sql.substr(0, 200);
        EXPECT_FALSE(outcome.leftFile);
        m_host.ExpectReport(36, L"Data source \"box\": " + reason);
        EXPECT_EQ(m_run.progress.LastComment(), L"Data source \"box\": " + reason);
    }
    /// `first`, then the text so many times.
    static std::string Repeated(const std::string& first, const std::string& text, int count)
    {
        std::string all = first;
        for (int index = 0; index < count; ++index)
            all += text;
        return all;
    }

    CRecordingHost m_host;
    CComponents m_components;
    CDataFolder m_data;
    CComPtr<IWQ_ZELProcessorFactory> m_factory = m_components.MakeFactory(kDataStoreId);
    CRequestRun m_run{*m_factory};
};

const std::string kEndless = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) ";

} // namespace

TEST_F(SqliteLimits, AStatementIsRefusedBeyondEachLimitAndNotAtIt)
{
    const std::wstring box = L"Data source \"box\": ";
    EXPECT_EQ(Error(Repeated("SELECT 1", ", 1", 499)), L"");
    EXPECT_EQ(Error(Repeated("SELECT 1", ", 1", 500)), box + L"too many columns in result set");
    EXPECT_EQ(Error(Repeated("SELECT 1", " + a", 240) + " FROM t"), L"");
    EXPECT_EQ(Error(Repeated("SELECT 1", " + a", 260) + " FROM t"),
              box + L"Expression tree is too large (maximum depth 250)");
    EXPECT_EQ(Error(Repeated("SELECT 1", " UNION ALL SELECT 1", 199)), L"");
    EXPECT_EQ(Error(Repeated("SELECT 1", " UNION ALL SELECT 1", 200)), box + L"too many terms in compound SELECT");
    EXPECT_EQ(Error(Repeated("SELECT max(1", ", a", 63) + ") FROM t"), L"");
    EXPECT_EQ(Error(Repeated("SELECT max(1", ", a", 64) + ") FROM t"), box + L"too many arguments on function max");
    EXPECT_EQ(Error("SELECT 1 --" + std::string(256 * 1024 - 11, 'x')), L"");
    EXPECT_EQ(Error("SELECT 1 --" + std::string(256 * 1024 - 10, 'x')), box + L"the SQL text is too long");
    EXPECT_EQ(Error("SELECT ?10001"), box + L"variable number must be between ?1 and ?10000");
}

TEST_F(SqliteLimits, AStatementThatUnfoldsWithoutEndIsRefused)
{
    // Each expression stands for two of the one before: 2^40 when it is written out.
    std::string sql = "WITH a0(x) AS (SELECT 1)";
    for (int level = 1; level <= 40; ++level)
        sql += ", a" + std::to_string(level) + "(x) AS (SELECT p.x FROM a" + std::to_string(level - 1) + " p, a" +
               std::to_string(level - 1) + " q)";
    EXPECT_EQ(Error(sql + " SELECT count(*) FROM a40"),
              L"Data source \"box\": more memory is needed than the data store may use (256 MiB)");
    EXPECT_EQ(Error("SELECT 1"), L"");
}

TEST_F(SqliteLimits, ARowOfManyLargeValuesIsRefused)
{
    const std::string value = "hex(zeroblob(2000000 + a))";
    ExpectFailure(Repeated("SELECT " + value, ", " + value, 499) + " FROM t",
                  L"more memory is needed than the data store may use (256 MiB)");
    EXPECT_EQ(Error("SELECT 1"), L"");
}

TEST_F(SqliteLimits, TheRowsOfAnEndlessStatementFillNoDisk)
{
    const CVariable limit(L"ZEL_QUERY_SPACE_LIMIT", L"3");
    ExpectFailure(kEndless + "SELECT i FROM n",
                  L"can't keep the rows: more temporary space is needed than a request may use (3 MiB, "
                  L"ZEL_QUERY_SPACE_LIMIT)");
}

TEST_F(SqliteLimits, SortingGroupingAndRecursionFillNoDisk)
{
    const CVariable limit(L"ZEL_QUERY_SPACE_LIMIT", L"3");
    const std::wstring full = L"more temporary space is needed than a request may use (3 MiB, ZEL_QUERY_SPACE_LIMIT)";
    ExpectFailure(kEndless + "SELECT i FROM n ORDER BY -i", full);
    ExpectFailure(kEndless + "SELECT DISTINCT i FROM n LIMIT 1 OFFSET 1000000000", full);
    ExpectFailure("WITH RECURSIVE n(i) AS (SELECT 1 UNION SELECT i + 1 FROM n) SELECT count(*) FROM n", full);
    ExpectFailure("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + j FROM n, (SELECT 1 AS j UNION ALL SELECT 2)) "
                  "SELECT count(*) FROM n",
                  full);
    EXPECT_EQ(Error("SELECT 1"), L"");
}

TEST_F(SqliteLimits, ARequestEndsWhenItsTimeIsOver)
{
    const CVariable limit(L"ZEL_QUERY_TIME_LIMIT", L"1");
    const std::wstring over = L"the request takes longer than the server allows (1 s, --query-time-limit)";
    ExpectFailure(kEndless + "SELECT count(*) FROM n", over);
    // In the middle of a call of a function.
    ExpectFailure("SELECT hex(zeroblob(2000000)) LIKE '%' || hex(zeroblob(490)) || '1' FROM t", over);
    EXPECT_EQ(Error("SELECT 1"), L"");
}

TEST_F(SqliteLimits, StatisticsLetGoOfTheDataWhenTheirTimeIsOver)
{
    m_data.Make(L"box", "CREATE VIEW v AS " + kEndless + "SELECT i FROM n");
    const CVariable limit(L"ZEL_QUERY_TIME_LIMIT", L"1");
    EXPECT_EQ(m_run.Run(StatisticsRequest("box", "v")).stage, eStage_NotObtained);
    m_host.ExpectReport(36, L"Data source \"box\": the request takes longer than the server allows (1 s, "
                            L"--query-time-limit)");
    EXPECT_FALSE(IsBeingRead(m_data.PathOf(L"box")));
}

TEST_F(SqliteLimits, AVariableThatIsNoLimitIsAnError)
{
    for (const wchar_t* value : {L"soon", L"-1", L"1.5", L"99999999999"}) {
        const CVariable limit(L"ZEL_QUERY_TIME_LIMIT", value);
        EXPECT_EQ(Error("SELECT 1"), L"The variable ZEL_QUERY_TIME_LIMIT of the server is no number from 0 to "
                                     L"1000000000: \"" +
                                         std::wstring(value) + L"\".");
    }
    const CVariable none(L"ZEL_QUERY_TIME_LIMIT", L"0");
    EXPECT_EQ(Error("SELECT 1"), L"");
    const CVariable space(L"ZEL_QUERY_SPACE_LIMIT", L"0");
    EXPECT_EQ(Error("SELECT 1"),
              L"The variable ZEL_QUERY_SPACE_LIMIT of the server is no number from 1 to 1000000000: \"0\".");
}

TEST(SqliteMemory, AMoreNarrowLimitStays)
{
    LimitSqliteMemory();
    EXPECT_EQ(sqlite3_hard_heap_limit64(-1), kMaxSqliteMemory);
    sqlite3_hard_heap_limit64(kMaxSqliteMemory / 2);
    LimitSqliteMemory();
    EXPECT_EQ(sqlite3_hard_heap_limit64(-1), kMaxSqliteMemory / 2);
    sqlite3_hard_heap_limit64(kMaxSqliteMemory);
}

TEST(TemporarySpace, WhatIsClosedIsFreeAgain)
{
    temporaryspace::SetLimit(8 * 1024 * 1024);
    const std::string piece(1024 * 1024, 'x');
    for (int round = 0; round < 3; ++round) {
        CSpool spool;
        int pieces = 0;
        while (pieces < 64 && spool.Write(piece)) // some of it is kept in memory
            ++pieces;
        EXPECT_GE(pieces, 8);
        EXPECT_LT(pieces, 64);
        EXPECT_EQ(spool.ErrorText(),
                  L"more temporary space is needed than a request may use (8 MiB, ZEL_QUERY_SPACE_LIMIT)");
        EXPECT_GT(temporaryspace::Used(), 0);
        EXPECT_LE(temporaryspace::Used(), temporaryspace::Limit());
    }
    EXPECT_EQ(temporaryspace::Used(), 0);
    temporaryspace::SetLimit(temporaryspace::kUsualBytes);
}
