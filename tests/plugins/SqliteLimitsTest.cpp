#include "plugins/datastore/SqliteLimits.h"

#include "plugins/datastore/Spool.h"
#include "plugins/datastore/TemporarySpace.h"
#include "tests/plugins/PluginHarness.h"
#include "tests/plugins/SampleDatabase.h"
#include "tests/plugins/StringSink.h"
#include "tests/support/RecordingHost.h"

#include "platform/Module.h"
#include "platform/Text.h"

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
    /// The same for a reason of which only the beginning is known.
    void ExpectEnding(const std::string& sql, const std::wstring& beginning)
    {
        EXPECT_EQ(m_run.Run(QueryRequest("box", sql)).stage, eStage_NotObtained) << sql.substr(0, 200);
        const std::wstring told = m_run.progress.LastComment();
        EXPECT_TRUE(told.starts_with(L"Data source \"box\": " + beginning)) << platform::ToUtf8(told);
        m_host.ExpectReport(36, told);
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
    ExpectFailure("WITH big(x) AS MATERIALIZED (SELECT hex(zeroblob(2000000))) " + Repeated("SELECT x", ", x", 499) +
                      " FROM big",
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
    const std::string sql = kEndless + "SELECT count(*) FROM n";
    ExpectFailure(sql, L"the request takes longer than the server allows (1 s, --query-time-limit)");
    const CVariable fraction(L"ZEL_QUERY_TIME_LIMIT", L"0.05");
    ExpectFailure(sql, L"the request takes longer than the server allows (0.05 s, --query-time-limit)");
    const CVariable none(L"ZEL_QUERY_TIME_LIMIT", L"0");
    EXPECT_EQ(Error("SELECT 1"), L"");
}

TEST_F(SqliteLimits, ARequestEndsInTheMiddleOfACallWhenItsTimeIsOver)
{
    const CVariable limit(L"ZEL_QUERY_TIME_LIMIT", L"1");
    ExpectFailure("SELECT hex(zeroblob(2000000)) LIKE '%' || hex(zeroblob(490)) || '1' FROM t",
                  L"the request takes longer than the server allows (1 s, --query-time-limit)");
    // Else the call would have given its row, and the time would have been found to be over behind it.
    EXPECT_EQ(m_run.progress.Reports().size(), 1U);
}

TEST_F(SqliteLimits, TheMoreAStatementCallsTheShorterItsValuesMayBe)
{
    const auto longest = [&](std::int64_t bytes, int calls) {
        return Repeated("SELECT length(zeroblob(" + std::to_string(bytes) + "))", ", abs(a)", calls) + " FROM t";
    };
    EXPECT_EQ(m_run.Run(QueryRequest("box", longest(kMaxValueBytes, 40))).stage, eStage_Done);
    EXPECT_EQ(m_run.Run(QueryRequest("box", longest(kMaxValueBytes, 400))).stage, eStage_NotObtained);
    const std::wstring told = m_run.progress.LastComment();
    const std::wstring before =
        L"Data source \"box\": a statement of so many steps and calls can't have values or rows "
        L"of more than ";
    ASSERT_TRUE(told.starts_with(before)) << platform::ToUtf8(told);
    m_host.ExpectReport(36, told);
    const std::int64_t most = std::stoll(told.substr(before.size()));
    // 402 calls of 10, a step for each argument, and what else there is.
    EXPECT_GT(most, kMaxValueBytes * kFullLengthWork / 5000);
    EXPECT_LT(most, kMaxValueBytes * kFullLengthWork / 4420);
    EXPECT_EQ(m_run.Run(QueryRequest("box", longest(most, 400))).stage, eStage_Done);
    EXPECT_EQ(m_run.Run(QueryRequest("box", longest(most + 1, 400))).stage, eStage_NotObtained);
    m_host.ExpectReport(36, told);
    // The values are as long, and nothing calls.
    EXPECT_EQ(m_run.Run(QueryRequest("box", "EXPLAIN " + longest(kMaxValueBytes, 400))).stage, eStage_Done);
}

TEST_F(SqliteLimits, WhatCallsNothingIsCountedAsWell)
{
    const std::string sum = Repeated("(x || 1", " || 2", 200) + ")";
    ExpectEnding("WITH t(x) AS MATERIALIZED (SELECT hex(zeroblob(1000000))) " +
                     Repeated("SELECT " + sum, ", " + sum, 9) + " FROM t",
                 L"a statement of so many steps and calls can't have values or rows of more than ");
}

/// A flattened statement has more calls than its text.
TEST_F(SqliteLimits, CallsAreCountedAsTheyAreMade)
{
    std::string sql =
        "SELECT x + x + x + x AS y FROM (SELECT json_valid(t || 0) AS x FROM (SELECT hex(zeroblob(1000000)) "
        "AS t FROM t LIMIT 1))";
    for (int level = 0; level < 3; ++level)
        sql.replace(0, 0, "SELECT y + y + y + y AS y FROM (").append(")");
    ExpectEnding(sql, L"a statement of so many steps and calls can't have values or rows of more than ");
}

/// Rows of 6,000 calls, behind the last of which SQLite asks: a hundred of them take minutes, and one some seconds.
TEST_F(SqliteLimits, ARowOfCallsEndsSoonAfterItsCancellation)
{
    const std::string calls = Repeated("json_valid(x || 0)", " + json_valid(x || 0)", 199);
    m_run.context.OnAsked([&](unsigned asked) { m_run.context.SetCanceled(asked > 3); });
    const auto start = std::chrono::steady_clock::now();
    const SOutcome outcome = m_run.Run(QueryRequest(
        "box", "WITH t(x) AS MATERIALIZED (SELECT '[' || replace(hex(zeroblob(12000)), '00', '1,') || '1]'), "
               "n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100) " +
                   Repeated("SELECT " + calls, ", " + calls, 29) + " FROM t, n"));
    EXPECT_EQ(outcome.stage, eStage_Canceled);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST_F(SqliteLimits, ALoopAsksWithinAHundredSteps)
{
    unsigned most = 0;
    m_run.context.OnAsked([&](unsigned asked) { most = asked; });
    // Ten steps and more for each row.
    EXPECT_EQ(m_run.Run(QueryRequest("box", kEndless + "SELECT count(*) FROM (SELECT i FROM n LIMIT 1000)")).stage,
              eStage_Done);
    EXPECT_GE(most, 100U);
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
    for (const wchar_t* value : {L"soon", L"-1", L"0.0001", L"99999999999"}) {
        const CVariable limit(L"ZEL_QUERY_TIME_LIMIT", value);
        EXPECT_EQ(Error("SELECT 1"),
                  L"The variable ZEL_QUERY_TIME_LIMIT of the server is no number from 0 to 1000000000 "
                  L"with at most three places behind the point: \"" +
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
