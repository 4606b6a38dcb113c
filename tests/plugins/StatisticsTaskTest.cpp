#include "platform/Text.h"
#include "tests/plugins/PluginHarness.h"
#include "tests/plugins/SampleDatabase.h"
#include "tests/support/RecordingHost.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

using namespace plugintest;

namespace {

class StatisticsTask : public testing::Test {
protected:
    [[nodiscard]] SOutcome Statistics(const std::string& table, const std::string& columns = {})
    {
        SOutcome outcome = m_run.Run(StatisticsRequest("box", table, columns));
        EXPECT_EQ(outcome.stage, eStage_Done) << platform::ToUtf8(outcome.error);
        return outcome;
    }

    CRecordingHost m_host;
    CComponents m_components;
    CDataFolder m_data;
    CComPtr<IWQ_ZELProcessorFactory> m_factory = m_components.MakeFactory(kDataStoreId);
    CRequestRun m_run{*m_factory};
};

} // namespace

TEST_F(StatisticsTask, NumbersGetTheirWholeDescription)
{
    m_data.Make(L"box", "CREATE TABLE t(n); INSERT INTO t VALUES(1), (2), (2), (4), (NULL), (11)");
    EXPECT_EQ(Statistics("t").response,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<Response>\n"
              "  <DataSource>box</DataSource>\n"
              "  <Table>t</Table>\n"
              "  <RowCount>6</RowCount>\n"
              "  <Column Name=\"n\" Kind=\"numeric\">\n"
              "    <Count>5</Count>\n"
              "    <Nulls>1</Nulls>\n"
              "    <Distinct>4</Distinct>\n"
              "    <Min Type=\"integer\">1</Min>\n"
              "    <Max Type=\"integer\">11</Max>\n"
              "    <Mean>4.0</Mean>\n"
              "    <SampleStandardDeviation>4.06201920231798</SampleStandardDeviation>\n"
              "    <LowerQuartile>2.0</LowerQuartile>\n"
              "    <Median>2.0</Median>\n"
              "    <UpperQuartile>4.0</UpperQuartile>\n"
              "    <Histogram>\n"
              "      <Bin>\n        <From>1.0</From>\n        <To>2.0</To>\n        <Count>1</Count>\n      </Bin>\n"
              "      <Bin>\n        <From>2.0</From>\n        <To>3.0</To>\n        <Count>2</Count>\n      </Bin>\n"
              "      <Bin>\n        <From>3.0</From>\n        <To>4.0</To>\n        <Count>0</Count>\n      </Bin>\n"
              "      <Bin>\n        <From>4.0</From>\n        <To>5.0</To>\n        <Count>1</Count>\n      </Bin>\n"
              "      <Bin>\n        <From>5.0</From>\n        <To>6.0</To>\n        <Count>0</Count>\n      </Bin>\n"
              "      <Bin>\n        <From>6.0</From>\n        <To>7.0</To>\n        <Count>0</Count>\n      </Bin>\n"
              "      <Bin>\n        <From>7.0</From>\n        <To>8.0</To>\n        <Count>0</Count>\n      </Bin>\n"
              "      <Bin>\n        <From>8.0</From>\n        <To>9.0</To>\n        <Count>0</Count>\n      </Bin>\n"
              "      <Bin>\n        <From>9.0</From>\n        <To>10.0</To>\n        <Count>0</Count>\n      </Bin>\n"
              "      <Bin>\n        <From>10.0</From>\n        <To>11.0</To>\n        <Count>1</Count>\n      </Bin>\n"
              "    </Histogram>\n"
              "  </Column>\n"
              "</Response>\n");
}

TEST_F(StatisticsTask, QuartilesLieBetweenRanks)
{
    m_data.Make(L"box", "CREATE TABLE t(n); INSERT INTO t VALUES(40), (10), (30), (20)");
    const std::string response = Statistics("t").response;
    EXPECT_EQ(ElementOf(response, "LowerQuartile"), "17.5");
    EXPECT_EQ(ElementOf(response, "Median"), "25.0");
    EXPECT_EQ(ElementOf(response, "UpperQuartile"), "32.5");
}

TEST_F(StatisticsTask, OneValueHasNoDeviationAndOneBin)
{
    m_data.Make(L"box", "CREATE TABLE t(n); INSERT INTO t VALUES(7.5)");
    const std::string response = Statistics("t").response;
    EXPECT_EQ(ElementOf(response, "Mean"), "7.5");
    EXPECT_EQ(response.find("SampleStandardDeviation"), std::string::npos);
    EXPECT_EQ(ElementOf(response, "Median"), "7.5");
    EXPECT_EQ(ElementOf(response, "From"), "7.5");
    EXPECT_EQ(ElementOf(response, "To"), "7.5");
    EXPECT_EQ(response.find("<Bin>"), response.rfind("<Bin>"));
}

TEST_F(StatisticsTask, LargeNumbersWithSmallDifferencesKeepThem)
{
    m_data.Make(L"box",
                "CREATE TABLE t(n); INSERT INTO t VALUES(1000000004), (1000000007), (1000000013), (1000000016)");
    const std::string response = Statistics("t").response;
    EXPECT_EQ(ElementOf(response, "Mean"), "1000000010.0");
    EXPECT_NEAR(std::stod(ElementOf(response, "SampleStandardDeviation")), 5.477225575051661, 1e-9);
}

TEST_F(StatisticsTask, InfinityLeavesOutWhatNeedsDistances)
{
    m_data.Make(L"box", "CREATE TABLE t(n); INSERT INTO t VALUES(1), (9e999)");
    EXPECT_EQ(ElementOf(Statistics("t").response, "Column"), "\n    <Count>2</Count>\n"
                                                             "    <Nulls>0</Nulls>\n"
                                                             "    <Distinct>2</Distinct>\n"
                                                             "    <Min Type=\"integer\">1</Min>\n"
                                                             "    <Max Type=\"real\">INF</Max>\n"
                                                             "    <Mean>INF</Mean>\n"
                                                             "    <LowerQuartile>INF</LowerQuartile>\n"
                                                             "    <Median>INF</Median>\n"
                                                             "    <UpperQuartile>INF</UpperQuartile>\n  ");
}

TEST_F(StatisticsTask, TheOrderOfTheRowsDoesNotMatter)
{
    // The mean of the values in each order that three rows can have.
    const auto expectMean = [&](const std::vector<std::string>& values, const std::string& mean) {
        for (const auto& [first, second, third] :
             {std::array{0U, 1U, 2U}, {0U, 2U, 1U}, {1U, 0U, 2U}, {1U, 2U, 0U}, {2U, 0U, 1U}, {2U, 1U, 0U}}) {
            m_data.Make(L"box", "DROP TABLE IF EXISTS t; CREATE TABLE t(n); INSERT INTO t VALUES(" + values[first] +
                                    "), (" + values[second] + "), (" + values[third] + ")");
            EXPECT_EQ(ElementOf(Statistics("t").response, "Mean"), mean) << first << second << third;
        }
    };
    expectMean({"1", "2", "9e999"}, "INF");
    expectMean({"1", "2", "-9e999"}, "-INF");
    expectMean({"1", "9e999", "9e999"}, "INF");
    expectMean({"1", "9e999", "-9e999"}, "NaN");
    expectMean({"0.1", "0.7", "0.3"}, "0.3666666666666667");
    expectMean({"0.1", "12.7", "-5.3"}, "2.4999999999999996");
}

TEST_F(StatisticsTask, InfinitiesAloneAreTheirOwnQuartiles)
{
    m_data.Make(L"box", "CREATE TABLE t(n); INSERT INTO t VALUES(9e999), (9e999), (9e999), (9e999)");
    const std::string response = Statistics("t").response;
    EXPECT_EQ(ElementOf(response, "Mean"), "INF");
    EXPECT_EQ(ElementOf(response, "LowerQuartile"), "INF");
    EXPECT_EQ(ElementOf(response, "Median"), "INF");
}

TEST_F(StatisticsTask, LargeNumbersOfBothSignsDoNotOverflow)
{
    m_data.Make(L"box", "CREATE TABLE t(n); INSERT INTO t VALUES(1e308), (-1e308)");
    const std::string response = Statistics("t").response;
    EXPECT_EQ(ElementOf(response, "Mean"), "0.0");
    EXPECT_DOUBLE_EQ(std::stod(ElementOf(response, "SampleStandardDeviation")), 1.4142135623730951e308);
    EXPECT_EQ(ElementOf(response, "Median"), "0.0");
    EXPECT_EQ(ElementOf(response, "From"), "-1e+308");
    EXPECT_DOUBLE_EQ(std::stod(ElementOf(response, "To")), -0.8e308);
    EXPECT_NE(response.find("<To>1e+308</To>"), std::string::npos);
}

TEST_F(StatisticsTask, SmallNumbersDoNotVanish)
{
    m_data.Make(L"box", "CREATE TABLE t(n); INSERT INTO t VALUES(1e-300), (3e-300)");
    const std::string response = Statistics("t").response;
    EXPECT_DOUBLE_EQ(std::stod(ElementOf(response, "Mean")), 2e-300);
    EXPECT_DOUBLE_EQ(std::stod(ElementOf(response, "SampleStandardDeviation")), 1.4142135623730951e-300);
}

TEST_F(StatisticsTask, TextsGetTheirMostFrequentValues)
{
    m_data.Make(L"box",
                "CREATE TABLE t(s COLLATE NOCASE); INSERT INTO t VALUES('b'), ('a'), ('B'), ('b'), (NULL), ('<&>')");
    EXPECT_EQ(ElementOf(Statistics("t").response, "Column"),
              "\n    <Count>5</Count>\n"
              "    <Nulls>1</Nulls>\n"
              "    <Distinct>4</Distinct>\n"
              "    <Min Type=\"text\">&lt;&amp;&gt;</Min>\n"
              "    <Max Type=\"text\">b</Max>\n"
              "    <TopValues>\n"
              "      <TopValue>\n        <Value Type=\"text\">b</Value>\n        <Count>2</Count>\n      </TopValue>\n"
              "      <TopValue>\n        <Value Type=\"text\">&lt;&amp;&gt;</Value>\n        <Count>1</Count>\n      "
              "</TopValue>\n"
              "      <TopValue>\n        <Value Type=\"text\">B</Value>\n        <Count>1</Count>\n      </TopValue>\n"
              "      <TopValue>\n        <Value Type=\"text\">a</Value>\n        <Count>1</Count>\n      </TopValue>\n"
              "    </TopValues>\n  ");
}

TEST_F(StatisticsTask, ALongTextIsCutBetweenCharacters)
{
    std::string text(255, 'x');
    text += "\xC3\xA9tail";
    m_data.Make(L"box", "CREATE TABLE t(s); INSERT INTO t VALUES('" + text + "')");
    const std::string response = Statistics("t").response;
    EXPECT_NE(response.find("<Min Truncated=\"true\" Type=\"text\">"), std::string::npos);
    EXPECT_EQ(ElementOf(response, "Min"), std::string(255, 'x'));
}

TEST_F(StatisticsTask, TopValuesAreTheTenMostFrequent)
{
    m_data.Make(L"box", "CREATE TABLE t(s);"
                        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20),"
                        "m(j) AS (SELECT 1 UNION ALL SELECT j + 1 FROM m WHERE j < 20)"
                        "INSERT INTO t SELECT printf('v%02d', i) FROM n, m WHERE j <= i");
    const std::string top = ElementOf(Statistics("t").response, "TopValues");
    EXPECT_EQ(ElementOf(top, "Value"), "v20");
    EXPECT_NE(top.find(">v11<"), std::string::npos);
    EXPECT_EQ(top.find(">v10<"), std::string::npos);
}

TEST_F(StatisticsTask, KindsAreTold)
{
    m_data.Make(L"box",
                "CREATE TABLE t(a, b, c, d); INSERT INTO t VALUES(NULL, 1, x'01', 'x'), (NULL, 'x', x'02', 'y')");
    const std::string response = Statistics("t").response;
    EXPECT_NE(response.find("<Column Name=\"a\" Kind=\"empty\">"), std::string::npos);
    EXPECT_NE(response.find("<Column Name=\"b\" Kind=\"mixed\">"), std::string::npos);
    EXPECT_NE(response.find("<Column Name=\"c\" Kind=\"blob\">"), std::string::npos);
    EXPECT_NE(response.find("<Column Name=\"d\" Kind=\"text\">"), std::string::npos);
    EXPECT_NE(response.find("<Min Type=\"blob\" Encoding=\"base64\">AQ==</Min>"), std::string::npos);
}

TEST_F(StatisticsTask, AnEmptyTableIsDescribedToo)
{
    m_data.Make(L"box", "CREATE TABLE t(a)");
    const std::string response = Statistics("t").response;
    EXPECT_EQ(ElementOf(response, "RowCount"), "0");
    EXPECT_EQ(ElementOf(response, "Column"),
              "\n    <Count>0</Count>\n    <Nulls>0</Nulls>\n    <Distinct>0</Distinct>\n  ");
    EXPECT_TRUE(m_run.progress.Reports().empty());
}

TEST_F(StatisticsTask, ColumnsAreChosenAndNamesAreQuoted)
{
    m_data.Make(L"box", "CREATE TABLE \"odd \"\"table\"(\"select\" INTEGER, b, \"x; DROP TABLE y\");"
                        "INSERT INTO \"odd \"\"table\" VALUES(1, 2, 3)");
    const std::string response =
        Statistics("ODD \"table", "<Column>x; drop table y</Column><Column>SELECT</Column>").response;
    EXPECT_EQ(ElementOf(response, "Table"), "odd \"table");
    EXPECT_NE(response.find("<Column Name=\"x; DROP TABLE y\""), std::string::npos);
    EXPECT_NE(response.find("<Column Name=\"select\""), std::string::npos);
    EXPECT_EQ(response.find("<Column Name=\"b\""), std::string::npos);
}

TEST_F(StatisticsTask, AViewIsATableToo)
{
    m_data.Make(L"box", "CREATE TABLE t(a); INSERT INTO t VALUES(3); CREATE VIEW v AS SELECT a * 2 AS twice FROM t");
    EXPECT_EQ(ElementOf(Statistics("v").response, "Mean"), "6.0");
}

TEST_F(StatisticsTask, MissingNamesAreErrors)
{
    m_data.Make(L"box", "CREATE TABLE t(a)");
    const auto error = [&](const std::string& table, const std::string& columns) {
        return m_run.Run(StatisticsRequest("box", table, columns)).error;
    };
    EXPECT_EQ(error("u", ""), L"Data source \"box\": there is no table \"u\"");
    EXPECT_EQ(error("", ""), L"Data source \"box\": there is no table \"\"");
    EXPECT_EQ(error("t\"; DROP TABLE t; --", ""), L"Data source \"box\": there is no table \"t\"; DROP TABLE t; --\"");
    EXPECT_EQ(error("t", "<Column>b</Column>"), L"Data source \"box\": table \"t\" has no column \"b\"");
    EXPECT_EQ(m_run.Run("<Request><Task Type=\"Statistics\"><DataSource>box</DataSource></Task></Request>").error,
              L"The task has no \"Table\" element.");
    EXPECT_EQ(m_run.Run(StatisticsRequest("none", "t")).error, L"There is no data source \"none\".");
}

TEST_F(StatisticsTask, ProgressGoesFromZeroToTheEndInPercents)
{
    m_data.Make(L"box", "CREATE TABLE t(a, b);"
                        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)"
                        "INSERT INTO t SELECT i, CASE WHEN i % 2 THEN i END FROM n");
    static_cast<void>(Statistics("t"));
    const auto& reports = m_run.progress.Reports();
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.front(), L"range 0 15000");
    EXPECT_EQ(reports.back(), L"pos 15000");
    EXPECT_LE(reports.size(), 102U);
    EXPECT_GE(reports.size(), 80U); // the nulls of the last column are one step
}

TEST_F(StatisticsTask, ACancellationStopsIt)
{
    m_data.Make(L"box", "CREATE TABLE t(a);"
                        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50000)"
                        "INSERT INTO t SELECT i FROM n");
    m_run.progress.OnReport([&](const std::wstring& report) {
        if (report.starts_with(L"pos "))
            m_run.context.SetCanceled(true);
    });
    const SOutcome outcome = m_run.Run(StatisticsRequest("box", "t"));
    EXPECT_EQ(outcome.stage, eStage_Canceled);
    EXPECT_FALSE(outcome.leftFile);
    EXPECT_LE(m_run.progress.CountOf(L"pos "), 2U);
}
