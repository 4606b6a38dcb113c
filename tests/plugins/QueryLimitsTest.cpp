#include "tests/plugins/QueryFixture.h"

using namespace plugintest;

namespace {

using QueryLimits = CQueryFixture;

} // namespace

TEST_F(QueryLimits, ALongStatementStopsSoonAfterACancellation)
{
    const std::string numbers = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000000000) ";
    m_data.Make(L"box", numbers + "INSERT INTO t(size) SELECT i FROM n LIMIT 2000");
    for (const std::string& sql :
         {numbers + "SELECT count(*) FROM n",                               // a loop
          numbers + "SELECT i FROM n ORDER BY -i LIMIT 1 OFFSET 900000000", // sorting
          numbers + "SELECT i % 1000003, count(*) FROM n GROUP BY 1",       // grouping
          numbers + "SELECT DISTINCT i FROM n LIMIT 1 OFFSET 900000000",    // what was there already
          numbers + "SELECT sum(i) OVER (ORDER BY i DESC) FROM n",          // a window
          std::string("SELECT count(*) FROM t a, t b, t c, t d WHERE a.size + b.size + c.size + d.size < 0"), // a join
          std::string("SELECT hex(zeroblob(2000000)) LIKE '%' || hex(zeroblob(490)) || '1'"), // one call of a function
          std::string("SELECT hex(zeroblob(2000000)) GLOB '*' || hex(zeroblob(490)) || '[1]*'")}) {
        const std::chrono::microseconds delay = DelayOfCancellation(sql);
        std::cout << "stopped " << delay.count() << " us after the cancellation: " << sql << "\n";
        EXPECT_LT(delay, std::chrono::seconds(2)) << sql;
    }
}

TEST_F(QueryLimits, FunctionsAnswerAsThoseOfSqlite)
{
    const std::string values =
        "WITH v(x) AS (VALUES(NULL), (''), ('a'), ('b'), ('ab'), ('aab'), ('abaab'), ('aXbXbX'), (' a b '), "
        "('\xC5\xBE'), ('lu\xC5\xA5\xC5\xBE'), ('\xC5\xBElu\xC5\xA5'), ('\xF0\x9F\x90\xA6' || 'a'), (char(97, 0, 98)), "
        "(char(0)), (x''), (x'00ff'), (x'61'), (x'C5BE'), (x'61C5BE'), (x'BE'), (x'61BE'), (x'BEBE'), "
        "(x'C5BEBE'), (x'C5'), (x'BEC5BE'), (x'61C5'), (12), (1.5), (-2)) ";
    for (const std::string call :
         {"instr(a.x, b.x)", "trim(a.x, b.x)", "ltrim(a.x, b.x)", "rtrim(a.x, b.x)", "trim(a.x)", "ltrim(a.x)",
          "rtrim(a.x)", "replace(a.x, b.x, 'yz')", "replace(a.x, b.x, '')", "replace('aXbXa', a.x, b.x)",
          "replace(a.x, 'a', b.x)", "instr(a.x, b.x) || typeof(a.x) || typeof(b.x)"}) {
        const std::string sql = values + "SELECT group_concat(hex(a.x) || ' ' || hex(b.x) || ': ' || typeof(" + call +
                                ") || hex(" + call + "), char(10)) FROM v AS a, v AS b";
        const std::string answer = PlainAnswer(sql);
        EXPECT_EQ(std::count(answer.begin(), answer.end(), '\n'), 30 * 30 - 1);
        EXPECT_EQ(ElementOf(Query(sql).response, "Value"), answer) << call;
    }
}

TEST_F(QueryLimits, PatternsMatchAsThoseOfSqlite)
{
    const std::string values =
        "WITH v(x) AS (VALUES(NULL), (''), ('a'), ('A'), ('ab'), ('aab'), ('abab'), ('a%b'), ('a_b'), ('a*b'), "
        "('a?b'), "
        "('a[b'), ('a]b'), ('-'), ('^'), ('\xC5\xBE'), ('\xC5\xBD'), ('a\xF0\x9F\x90\xA6z'), (char(97, 0, 98)), "
        "(x'61'), "
        "(CAST(x'61C5' AS TEXT)), (CAST(x'80' AS TEXT)), (CAST(x'C16162' AS TEXT)), (12), (1.5)), "
        "p(x) AS (SELECT x FROM v UNION ALL VALUES('%'), ('_'), ('%%'), ('_%'), ('%b'), ('a%'), ('%A%B%'), ('a_b'), "
        "('%\xC5\xBE'), ('__'), ('\\%'), ('a\\%b'), ('a\\_b'), ('%\\'), ('\\'), ('%\\%%'), ('*'), ('?'), ('*b'), "
        "('a*'), "
        "('*a*b*'), ('a?b'), ('[a]*'), ('[^a]*'), ('*[b]'), ('*[^b]'), ('[a-c]*'), ('[]]'), ('a[]]b'), ('a[^]]b'), "
        "('[-]'), ('[a-]*'), ('[a'), ('*[a'), ('['), ('[]'), ('[^]'), ('*[*]*'), ('*[?]*'), ('[\xC5\xBE-\xC5\xBF]'), "
        "('?*?'), ('*?b'), ('**a'), ('aab*b'), ('*ab*ab')) ";
    for (const std::string call :
         {"v.x LIKE p.x", "v.x GLOB p.x", "v.x LIKE p.x ESCAPE '\\'", "v.x LIKE p.x ESCAPE '%'",
          "v.x NOT LIKE p.x ESCAPE '_'", "v.x LIKE p.x ESCAPE 'a'", "v.x LIKE p.x ESCAPE NULL"}) {
        const std::string sql = values + "SELECT hex(group_concat(quote(v.x) || ' ' || quote(p.x) || ': ' || typeof(" +
                                call + ") || ifnull(" + call + ", ''))) FROM v, p";
        const std::string answer = PlainAnswer(sql);
        EXPECT_GT(answer.size(), 10000U);
        EXPECT_EQ(ElementOf(Query(sql).response, "Value"), answer) << call;
    }
    EXPECT_EQ(Query("SELECT 'a' LIKE 'a' ESCAPE ''").stage, eStage_NotObtained);
    m_host.ExpectReport(36, L"Data source \"box\": ESCAPE expression must be a single character");
    EXPECT_EQ(Query("SELECT 'a' LIKE 'a' ESCAPE 'ab'").stage, eStage_NotObtained);
    m_host.ExpectReport(36, L"Data source \"box\": ESCAPE expression must be a single character");
}

TEST_F(QueryLimits, TrimmingManyCharactersTakesNoTime)
{
    EXPECT_EQ(Rows("WITH RECURSIVE n(i) AS (SELECT 1000 UNION ALL SELECT i + 1 FROM n WHERE i < 50000) "
                   "SELECT length(trim(hex(zeroblob(1000000)), group_concat(char(i), '') || '0')) FROM n"),
              "\n    <Row><Value>0</Value></Row>\n  ");
}

TEST_F(QueryLimits, AReplacementBeyondTheLimitIsAnError)
{
    EXPECT_EQ(Rows("SELECT length(replace(hex(zeroblob(1000)), '0', hex(zeroblob(1000))))"),
              "\n    <Row><Value>4000000</Value></Row>\n  ");
    EXPECT_EQ(Query("SELECT length(replace(hex(zeroblob(1050)), '0', hex(zeroblob(1000))))").stage, eStage_NotObtained);
    m_host.ExpectReport(36, L"Data source \"box\": string or blob too big");
}

TEST_F(QueryLimits, APatternBeyondTheLimitIsAnError)
{
    EXPECT_EQ(Query("SELECT 'x' LIKE hex(zeroblob(500))").stage, eStage_Done);
    EXPECT_EQ(Query("SELECT 'x' LIKE hex(zeroblob(500)) || '%'").stage, eStage_NotObtained);
    m_host.ExpectReport(36, L"Data source \"box\": LIKE or GLOB pattern too complex");
}

TEST_F(QueryLimits, ACancellationStopsBetweenTwoRows)
{
    m_run.progress.OnReport([&](const std::wstring&) { m_run.context.SetCanceled(true); });
    const SOutcome outcome =
        Query("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000000000) "
              "SELECT i FROM n");
    EXPECT_EQ(outcome.stage, eStage_Canceled);
    EXPECT_EQ(m_run.progress.Reports().size(), 1U);
    EXPECT_TRUE(m_run.progress.LastComment().ends_with(L" rows"));
}

TEST_F(QueryLimits, AValueBeyondTheLimitIsAnError)
{
    EXPECT_EQ(Query("SELECT length(zeroblob(4194303))").stage, eStage_Done);
    EXPECT_EQ(Query("SELECT length(zeroblob(4194305))").stage, eStage_NotObtained);
    m_host.ExpectReport(36, L"Data source \"box\": string or blob too big");
}

TEST_F(QueryLimits, LargeRowsComeThroughWhole)
{
    const std::string response = Query("SELECT hex(zeroblob(300000)), hex(zeroblob(300001)), 'end'").response;
    const std::string first = ElementOf(response, "Value");
    EXPECT_EQ(first.size(), 600000U);
    EXPECT_EQ(ElementOf(response, "Value", response.find(first)).size(), 600002U);
    EXPECT_TRUE(response.ends_with("<Value>end</Value></Row>\n  </Rows>\n</Response>\n"));
}

TEST_F(QueryLimits, AWriterIsWaitedForAndItsWorkSeen)
{
    CExclusiveWriter writer(m_data.PathOf(L"box"));
    writer.Execute("INSERT INTO t(id) VALUES(42)");
    m_run.context.OnAsked([&](unsigned asked) {
        if (asked == 3)
            writer.Execute("COMMIT");
    });
    EXPECT_EQ(Rows("SELECT id FROM t"), "\n    <Row><Value>42</Value></Row>\n  ");
}

TEST_F(QueryLimits, ACancellationEndsTheWaitForAWriter)
{
    const CExclusiveWriter writer(m_data.PathOf(L"box"));
    m_run.context.OnAsked([&](unsigned asked) { m_run.context.SetCanceled(asked >= 3); });
    EXPECT_EQ(Query("SELECT id FROM t").stage, eStage_Canceled);
    EXPECT_EQ(m_run.Run(StatisticsRequest("box", "t")).stage, eStage_Canceled);
}
