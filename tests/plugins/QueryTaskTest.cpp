#include "tests/plugins/QueryFixture.h"

using namespace plugintest;

namespace {

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

using QueryTask = CQueryFixture;

} // namespace

TEST_F(QueryTask, RowsComeInOrderWithTheirColumns)
{
    Fill("(1, 'wren', 9.5, NULL), (2, 'heron', 98.0, x'00FF')");
    const SOutcome outcome = Query("SELECT * FROM t ORDER BY id");
    EXPECT_EQ(outcome.stage, eStage_Done);
    EXPECT_EQ(outcome.response,
              kHead + "<Response>\n"
                      "  <Columns>\n"
                      "    <Column Name=\"id\" Type=\"integer\"/>\n"
                      "    <Column Name=\"name\" Type=\"text\"/>\n"
                      "    <Column Name=\"size\" Type=\"real\"/>\n"
                      "    <Column Name=\"bytes\" Type=\"blob\"/>\n"
                      "  </Columns>\n"
                      "  <Rows Count=\"2\">\n"
                      "    <Row><Value>1</Value><Value>wren</Value><Value>9.5</Value><Value Null=\"true\"/></Row>\n"
                      "    <Row><Value>2</Value><Value>heron</Value><Value>98.0</Value><Value "
                      "Encoding=\"base64\">AP8=</Value></Row>\n"
                      "  </Rows>\n"
                      "</Response>\n");
}

TEST_F(QueryTask, NoRowsIsAnAnswer)
{
    const SOutcome outcome = Query("SELECT id AS \"a <b> & \"\"c\"\"\" FROM t");
    EXPECT_EQ(outcome.response, kHead + "<Response>\n"
                                        "  <Columns>\n"
                                        "    <Column Name=\"a &lt;b&gt; &amp; &quot;c&quot;\" Type=\"null\"/>\n"
                                        "  </Columns>\n"
                                        "  <Rows Count=\"0\"/>\n"
                                        "</Response>\n");
}

TEST_F(QueryTask, BothTargetsHaveTheSameSqlite)
{
    const std::string native = ZEL_SQLITE_NATIVE_VERSION;
    if (native.empty())
        GTEST_SKIP() << "the build machine has no header of SQLite to compare with";
    EXPECT_EQ(ElementOf(Query("SELECT sqlite_version()").response, "Value"), native);
}

TEST_F(QueryTask, TextIsEscapedAndKeptWhole)
{
    Fill("(1, 'a<b>&\"c\"' || char(10) || 'd', 0, NULL), (2, ' x ', 0, NULL), (3, '', 0, NULL), (4, char(13), 0, NULL),"
         "(5, 'Žluťoučký \xF0\x9F\x90\xA6', 0, NULL)");
    EXPECT_EQ(Rows("SELECT name FROM t ORDER BY id"), "\n    <Row><Value>a&lt;b&gt;&amp;\"c\"\nd</Value></Row>"
                                                      "\n    <Row><Value xml:space=\"preserve\"> x </Value></Row>"
                                                      "\n    <Row><Value></Value></Row>"
                                                      "\n    <Row><Value xml:space=\"preserve\">&#13;</Value></Row>"
                                                      "\n    <Row><Value>Žluťoučký \xF0\x9F\x90\xA6</Value></Row>\n  ");
}

TEST_F(QueryTask, TextThatXmlCannotCarryIsBase64)
{
    EXPECT_EQ(Rows("SELECT 'a' || char(1), CAST(x'C3' AS TEXT), CAST(x'EDA080' AS TEXT), char(65535), 'plain'"),
              "\n    <Row><Value Type=\"text\" Encoding=\"base64\">YQE=</Value>"
              "<Value Type=\"text\" Encoding=\"base64\">ww==</Value>"
              "<Value Type=\"text\" Encoding=\"base64\">7aCA</Value>"
              "<Value Type=\"text\" Encoding=\"base64\">77+/</Value>"
              "<Value>plain</Value></Row>\n  ");
}

TEST_F(QueryTask, AValueOfAnotherTypeThanItsColumnSaysSo)
{
    EXPECT_EQ(Rows("SELECT NULL UNION ALL SELECT 1 UNION ALL SELECT '1' UNION ALL SELECT 1.0 UNION ALL SELECT x'31'"),
              "\n    <Row><Value Null=\"true\"/></Row>"
              "\n    <Row><Value>1</Value></Row>"
              "\n    <Row><Value Type=\"text\">1</Value></Row>"
              "\n    <Row><Value Type=\"real\">1.0</Value></Row>"
              "\n    <Row><Value Type=\"blob\" Encoding=\"base64\">MQ==</Value></Row>\n  ");
}

TEST_F(QueryTask, NumbersKeepAllTheirDigits)
{
    EXPECT_EQ(Rows("SELECT 9223372036854775807, -9223372036854775807 - 1, 0.1, 1e300, -2.5e-10, 9e999, -9e999"),
              "\n    <Row><Value>9223372036854775807</Value><Value>-9223372036854775808</Value><Value>0.1</Value>"
              "<Value>1e+300</Value><Value>-2.5e-10</Value><Value>INF</Value><Value>-INF</Value></Row>\n  ");
}

TEST_F(QueryTask, ParametersAreWhatTheyLookLike)
{
    const std::string sql = "SELECT typeof(?), typeof(?), typeof(?), typeof(?), typeof(?), typeof(?), typeof(?)";
    EXPECT_EQ(Rows(sql, "<Parameter>5</Parameter><Parameter>-5.5e3</Parameter><Parameter>five</Parameter>"
                        "<Parameter></Parameter><Parameter>007</Parameter><Parameter>5 </Parameter>"
                        "<Parameter>99999999999999999999</Parameter>"),
              "\n    <Row><Value>integer</Value><Value>real</Value><Value>text</Value><Value>text</Value>"
              "<Value>text</Value><Value>text</Value><Value>real</Value></Row>\n  ");
}

TEST_F(QueryTask, ParametersAreWhatTheirTypeSays)
{
    EXPECT_EQ(Rows("SELECT ?, ?, ?, ?, ?2",
                   "<Parameter Type=\"text\">5</Parameter><Parameter Type=\"integer\"> 5 </Parameter>"
                   "<Parameter Type=\"real\">5</Parameter><Parameter Type=\"null\"/>"),
              "\n    <Row><Value>5</Value><Value>5</Value><Value>5.0</Value><Value "
              "Null=\"true\"/><Value>5</Value></Row>\n  ");
    EXPECT_EQ(Query("SELECT ?", "<Parameter Type=\"integer\">5.5</Parameter>").error,
              L"Parameter 1: \"5.5\" is no value of the type \"integer\".");
    EXPECT_EQ(Query("SELECT ?", "<Parameter Type=\"null\">x</Parameter>").error,
              L"Parameter 1: \"x\" is no value of the type \"null\".");
    EXPECT_EQ(Query("SELECT ?", "<Parameter Type=\"date\">5</Parameter>").error,
              L"Parameter 1: \"5\" is no value of the type \"date\".");
}

TEST_F(QueryTask, ParametersAreDataAndNeverSql)
{
    Fill("(1, 'x'' OR 1=1 --', 0, NULL)");
    EXPECT_EQ(Rows("SELECT id FROM t WHERE name = ?", "<Parameter>x' OR 1=1 --</Parameter>"),
              "\n    <Row><Value>1</Value></Row>\n  ");
    EXPECT_NE(
        Query("SELECT id FROM t WHERE name = ?", "<Parameter>y' OR 1=1 --</Parameter>").response.find("Count=\"0\""),
        std::string::npos);
}

TEST_F(QueryTask, AWrongNumberOfParametersNamesBothNumbers)
{
    const SOutcome outcome = Query("SELECT ?, ?", "<Parameter>1</Parameter>");
    EXPECT_EQ(outcome.stage, eStage_NoXml);
    EXPECT_EQ(outcome.error, L"Data source \"box\": the statement has 2 parameters, the request gives 1");
    EXPECT_EQ(Query("SELECT 1", "<Parameter>1</Parameter>").error,
              L"Data source \"box\": the statement has 0 parameters, the request gives 1");
}

TEST_F(QueryTask, SqlErrorsReachTheClientInTheDatabasesWords)
{
    EXPECT_EQ(Query("SELEC 1").error, L"Data source \"box\": near \"SELEC\": syntax error");
    EXPECT_EQ(Query("SELECT x FROM t").error, L"Data source \"box\": no such column: x");
    EXPECT_EQ(Query("SELECT 1 FROM missing").error, L"Data source \"box\": no such table: missing");
    EXPECT_EQ(Query(" -- nothing").error, L"Data source \"box\": the SQL text holds no statement");
    EXPECT_EQ(Query("SELECT 1;;SELECT 2").error,
              L"Data source \"box\": more than one statement; a request has exactly one");
    EXPECT_EQ(Query("SELECT 1; SELEC").error,
              L"Data source \"box\": more than one statement; a request has exactly one");
    EXPECT_EQ(Query("SELECT 1 ; -- done \n ;").stage, eStage_Done);
}

TEST_F(QueryTask, NothingButReadingIsAllowed)
{
    const auto error = [&](const std::string& sql) { return Query(sql).error; };
    const std::wstring no = L"Data source \"box\": not allowed in a request: ";
    EXPECT_EQ(error("INSERT INTO t(id) VALUES(1)"), no + L"INSERT");
    EXPECT_EQ(error("INSERT INTO t(id) VALUES(1) RETURNING id"), no + L"INSERT");
    EXPECT_EQ(error("UPDATE t SET id = 1"), no + L"UPDATE");
    EXPECT_EQ(error("DELETE FROM t"), no + L"DELETE");
    EXPECT_EQ(error("ATTACH 'other.sqlite' AS other"), no + L"ATTACH");
    EXPECT_EQ(error("DETACH main"), no + L"DETACH");
    EXPECT_EQ(error("PRAGMA user_version"), no + L"PRAGMA");
    EXPECT_EQ(error("PRAGMA data_version"), no + L"PRAGMA");
    EXPECT_EQ(error("SELECT * FROM pragma_table_info('t')"), no + L"PRAGMA");
    EXPECT_EQ(error("UPDATE sqlite_master SET name = 'u'"),
              L"Data source \"box\": table sqlite_master may not be modified");
    EXPECT_EQ(error("BEGIN"), no + L"a transaction");
    EXPECT_EQ(error("SELECT load_extension('x')").substr(0, 20),
              std::wstring(L"Data source \"box\": not").substr(0, 20));
    for (const char* sql : {"CREATE TABLE u(a)", "CREATE TEMP TABLE u(a)", "DROP TABLE t", "ALTER TABLE t ADD COLUMN x",
                            "CREATE VIEW v AS SELECT 1", "CREATE TEMP VIEW v AS SELECT 1", "CREATE INDEX i ON t(name)",
                            "REINDEX", "ANALYZE", "VACUUM", "VACUUM INTO 'copy.sqlite'", "SAVEPOINT s"}) {
        const SOutcome outcome = Query(sql);
        EXPECT_EQ(outcome.stage, eStage_NoXml) << sql;
        EXPECT_TRUE(outcome.error.starts_with(L"Data source \"box\": ")) << sql;
    }
    EXPECT_EQ(m_data.FileCount(), 1U);
}

TEST_F(QueryTask, AllWaysOfReadingAreAllowed)
{
    m_data.Make(L"box", "INSERT INTO t(id, name) VALUES(1, 'grey heron'), (2, 'wren');"
                        "CREATE VIRTUAL TABLE f5 USING fts5(words); INSERT INTO f5 SELECT name FROM t;"
                        "CREATE VIRTUAL TABLE f4 USING fts4(words); INSERT INTO f4 SELECT name FROM t;"
                        "CREATE VIEW v AS SELECT upper(name) AS big FROM t");
    EXPECT_EQ(Rows("SELECT name FROM sqlite_master WHERE name = 't'"), "\n    <Row><Value>t</Value></Row>\n  ");
    EXPECT_EQ(Rows("SELECT sum(value) FROM json_each('[1, 2]')"), "\n    <Row><Value>3</Value></Row>\n  ");
    EXPECT_EQ(Rows("SELECT words FROM f5 WHERE f5 MATCH 'heron'"), "\n    <Row><Value>grey heron</Value></Row>\n  ");
    EXPECT_EQ(Rows("SELECT words FROM f4 WHERE f4 MATCH 'heron'"), "\n    <Row><Value>grey heron</Value></Row>\n  ");
    EXPECT_EQ(Rows("SELECT big FROM v ORDER BY big DESC LIMIT 1"), "\n    <Row><Value>WREN</Value></Row>\n  ");
    EXPECT_EQ(Rows("VALUES(1)"), "\n    <Row><Value>1</Value></Row>\n  ");
    EXPECT_EQ(Rows("SELECT rank() OVER (ORDER BY id) FROM t LIMIT 1"), "\n    <Row><Value>1</Value></Row>\n  ");
    EXPECT_EQ(Query("EXPLAIN QUERY PLAN SELECT * FROM t").stage, eStage_Done);
}

TEST_F(QueryTask, DataSourcesAreNamesAndNeverPaths)
{
    const auto error = [&](const std::string& name) { return m_run.Run(QueryRequest(name, "SELECT 1")).error; };
    m_data.Make(L"other.v-2_b", "CREATE TABLE t(a)");
    EXPECT_EQ(m_run.Run(QueryRequest(" other.v-2_b\n", "SELECT 1")).stage, eStage_Done);
    EXPECT_EQ(error("missing"), L"There is no data source \"missing\".");
    for (const char* name : {"../box", "..", ".box", "", "a/box", "a\\box", "C:box", "box ", "b*x", "b\xC3\xB6x", "nul",
                             "COM1", "con.x", "file:box"}) {
        const SOutcome outcome = m_run.Run(QueryRequest(std::string("<![CDATA[") + name + "]]>", "SELECT 1"));
        if (std::string(name) == "box ")
            EXPECT_EQ(outcome.stage, eStage_Done); // blanks around a name are layout
        else
            EXPECT_TRUE(outcome.error.ends_with(L" is no valid name of a data source.")) << name;
    }
    EXPECT_EQ(error(std::string(101, 'x')), L"\"" + std::wstring(100, L'x') + L"\" is no valid name of a data source.");
}

TEST_F(QueryTask, MissingElementsAreNamed)
{
    const auto error = [&](const std::string& inside) {
        return m_run.Run("<Request><Task Type=\"Query\">" + inside + "</Task></Request>").error;
    };
    EXPECT_EQ(error(""), L"The task has no \"DataSource\" element.");
    EXPECT_EQ(error("<DataSource>box</DataSource>"), L"The task has no \"Sql\" element.");
    EXPECT_EQ(error("<DataSource>box</DataSource><Sql>a</Sql><Sql>b</Sql>"),
              L"The task has more than one \"Sql\" element.");
}

TEST_F(QueryTask, WithoutADataFolderTheErrorNamesTheVariable)
{
    platform::SetEnvironment(L"ZEL_DATA_DIR", L"");
    EXPECT_EQ(Query("SELECT 1").error, L"The server has no data sources: the variable ZEL_DATA_DIR is not set.");
}

TEST_F(QueryTask, AFileThatIsNoDatabaseIsAnError)
{
    ASSERT_EQ(platform::WriteWholeFile(m_data.PathOf(L"text"), std::string(5000, 'x')), platform::eOsError_None);
    EXPECT_EQ(m_run.Run(QueryRequest("text", "SELECT * FROM t")).error,
              L"Data source \"text\": file is not a database");
    ASSERT_EQ(platform::Files().MakeDirectory(m_data.PathOf(L"folder")), platform::eOsError_None);
    EXPECT_EQ(m_run.Run(QueryRequest("folder", "SELECT 1")).error, L"There is no data source \"folder\".");
}

TEST_F(QueryTask, AKilledWriterIsToldWithTheCure)
{
    m_data.Make(L"box", "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500)"
                        "INSERT INTO t(name) SELECT hex(zeroblob(500)) FROM n");
    LeaveHalfWritten(m_data.PathOf(L"box"), "t");
    const std::wstring reason =
        L"Data source \"box\": a program was killed while it wrote to it; to put it right, open it "
        L"once for writing, as \"sqlite3 FILE .schema\" does";
    EXPECT_EQ(Query("SELECT count(*) FROM t").error, reason);
    EXPECT_EQ(m_run.Run(StatisticsRequest("box", "t")).error, reason);
    m_data.Make(L"box", "SELECT * FROM sqlite_schema"); // what the shell's .schema does
    EXPECT_EQ(Rows("SELECT count(*), max(length(name)) FROM t"),
              "\n    <Row><Value>500</Value><Value>1000</Value></Row>\n  ");
}

TEST_F(QueryTask, AnErrorWhileRunningIsReportedAndShown)
{
    Fill("(1, 'not JSON', 0, NULL)");
    const SOutcome outcome = Query("SELECT json_extract(name, '$.a') FROM t");
    EXPECT_EQ(outcome.stage, eStage_NotObtained);
    EXPECT_FALSE(outcome.leftFile);
    m_host.ExpectReport(36, L"Data source \"box\": malformed JSON");
    EXPECT_EQ(m_run.progress.LastComment(), L"Data source \"box\": malformed JSON");
}

TEST_F(QueryTask, AResponseThatCannotBeWrittenIsReported)
{
    const testsupport::CTemporaryDirectory folder;
    const std::wstring path = folder / L"r.drq";
    ASSERT_EQ(platform::WriteWholeFile(path, QueryRequest("box", "SELECT 1")), platform::eOsError_None);
    CComPtr<IWQ_ZELProcessorRequest> request;
    CComPtr<IWQ_ZELProcessorTask> task;
    CComPtr<IWQ_ZELProcessorResponse> response;
    ASSERT_TRUE(m_factory->CreateRequest(path.c_str(), request.Put()));
    ASSERT_TRUE(m_factory->CreateTask(L"Query", task.Put()));
    ASSERT_TRUE(m_factory->CreateResponse(request.Get(), response.Put()));
    ASSERT_TRUE(response->SetTask(task.Get()));
    EXPECT_FALSE(response->Save((folder / L"missing" + L"/r.xml").c_str()));
    m_host.ExpectReport(43, L"Can't write response");
    EXPECT_FALSE(task->Init(nullptr));
}
