#include "platform/Text.h"
#include "tests/plugins/PluginHarness.h"
#include "tests/plugins/SampleDatabase.h"
#include "tests/support/RecordingHost.h"

#include "com/Bstr.h"

#include <ZEL_Processor/XMLTools.h>

#include <gtest/gtest.h>

using namespace plugintest;

namespace {

const std::string kFirst = "<Id>GetFirst</Id>";

class PropertiesTask : public testing::Test {
protected:
    PropertiesTask()
    {
        m_data.Make(L"box", "CREATE TABLE birds(id INTEGER PRIMARY KEY, name TEXT, size REAL, photo BLOB, note);"
                            "INSERT INTO birds VALUES(7, 'heron', 98.0, x'00FF', NULL), (3, 'wren', 9.5, NULL, 'x<y'),"
                            "(9, 'wren', 9.0, NULL, ' blank ')");
    }

    [[nodiscard]] SOutcome Get(const std::string& source, const std::string& item, const std::string& property)
    {
        return m_run.Run(PropertiesRequest(source, item, property));
    }
    /// The element Value of the answer with its tag.
    [[nodiscard]] std::string Value(const std::string& source, const std::string& item, const std::string& property)
    {
        const SOutcome outcome = Get(source, item, property);
        EXPECT_EQ(outcome.stage, eStage_Done) << platform::ToUtf8(outcome.error);
        const std::size_t start = outcome.response.find("<Value");
        return start == std::string::npos ? std::string()
                                          : outcome.response.substr(start, outcome.response.find('\n', start) - start);
    }
    [[nodiscard]] std::string Error(const std::string& request)
    {
        const SOutcome outcome = m_run.Run(request);
        EXPECT_EQ(outcome.stage, eStage_NoXml);
        EXPECT_FALSE(outcome.leftFile);
        return platform::ToUtf8(outcome.error);
    }
    [[nodiscard]] std::string Error(const std::string& source, const std::string& item, const std::string& property)
    {
        return Error(PropertiesRequest(source, item, property));
    }

    CRecordingHost m_host;
    CComponents m_components;
    CDataFolder m_data;
    CComPtr<IWQ_ZELProcessorFactory> m_factory = m_components.MakeFactory(kDataStoreId);
    CRequestRun m_run{*m_factory};
};

/// What the client library reads from a block of properties.
struct SBlock {
    std::wstring action;
    std::wstring dataSource;
    eElementIdentification identification = eElementIdentification_None;
    std::wstring item;
    std::wstring property;
    std::wstring value;
};

SBlock ReadBlock(const std::string& xml)
{
    SBlock block;
    CComPtr<IXMLDOMElement> root;
    std::wstring error;
    CBstr text{platform::FromUtf8(xml.substr(xml.find("?>") + 2))};
    EXPECT_TRUE(CXMLTools::CreateXmlDomFromString(text.Get(), root.Put(), error)) << platform::ToUtf8(error);
    EXPECT_TRUE(CXMLTools::ReadTask_Properties(root.Get(), block.action, block.dataSource, block.identification,
                                               block.item, block.property, block.value));
    return block;
}

} // namespace

TEST_F(PropertiesTask, AnswersWithTheBlockAndItsValue)
{
    EXPECT_EQ(Get("box/birds", "<Id>7</Id>", "size").response, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                                               "<Response>\n"
                                                               "  <Task Type=\"Properties\">\n"
                                                               "    <Action>Get</Action>\n"
                                                               "    <DataSource>box/birds</DataSource>\n"
                                                               "    <Id>7</Id>\n"
                                                               "    <PropertyName>size</PropertyName>\n"
                                                               "    <Value Type=\"real\">98.0</Value>\n"
                                                               "  </Task>\n"
                                                               "</Response>\n");
}

TEST_F(PropertiesTask, AnswersWhatTheClientLibraryAsks)
{
    CComPtr<IXMLDOMElement> root;
    std::wstring error;
    CBstr empty{std::wstring_view(L"<Request/>")};
    ASSERT_TRUE(CXMLTools::CreateXmlDomFromString(empty.Get(), root.Put(), error));
    CComPtr<IXMLDOMDocument> document;
    ASSERT_EQ(root->get_ownerDocument(document.Put()), S_OK);
    CComPtr<IXMLDOMElement> task;
    ASSERT_TRUE(CXMLTools::CreateTask_Properties(document.Get(), L"box/birds", L"GetFirst", L"name", task.Put()));
    CBstr xml;
    ASSERT_EQ(task->get_xml(xml.Put()), S_OK);

    const SBlock block = ReadBlock(m_run.Run("<Request>" + platform::ToUtf8(xml.Text()) + "</Request>").response);
    EXPECT_EQ(block.action, L"Get");
    EXPECT_EQ(block.dataSource, L"box/birds");
    EXPECT_EQ(block.identification, eElementIdentification_Id);
    EXPECT_EQ(block.item, L"3") << "the id of the first row, with which the client can go on";
    EXPECT_EQ(block.property, L"name");
    EXPECT_EQ(block.value, L"wren");
}

TEST_F(PropertiesTask, ARowIsFoundByItsName)
{
    const SOutcome outcome = Get("box", "<ElementName>heron</ElementName>", "id");
    const SBlock block = ReadBlock(outcome.response);
    EXPECT_EQ(block.identification, eElementIdentification_Name);
    EXPECT_EQ(block.item, L"heron");
    EXPECT_EQ(block.value, L"7");
}

TEST_F(PropertiesTask, OfEquallyNamedRowsItIsTheFirst)
{
    EXPECT_EQ(Value("box", "<ElementName>wren</ElementName>", "id"), "<Value Type=\"integer\">3</Value>");
}

TEST_F(PropertiesTask, AnIndexDoesNotDecideWhichIsTheFirst)
{
    m_data.Make(L"box",
                "CREATE INDEX by_size ON birds(name, size); CREATE INDEX size_alone ON birds(size);"
                "CREATE TABLE codes(code INTEGER, part INTEGER, name TEXT, x, PRIMARY KEY(part, code)) WITHOUT ROWID;"
                "INSERT INTO codes VALUES(1, 2, 'q', 5), (2, 1, 'q', 9); CREATE INDEX by_x ON codes(name, x);"
                "CREATE INDEX x_alone ON codes(x)");
    const std::string wren = "<ElementName>wren</ElementName>";
    EXPECT_EQ(Value("box/birds", wren, "size"), "<Value Type=\"real\">9.5</Value>");
    EXPECT_EQ(Value("box/birds", kFirst, "size"), "<Value Type=\"real\">9.5</Value>");
    EXPECT_EQ(Value("box/codes", "<ElementName>q</ElementName>", "x"), "<Value Type=\"integer\">9</Value>");
    EXPECT_EQ(Value("box/codes", kFirst, "x"), "<Value Type=\"integer\">9</Value>");
}

TEST_F(PropertiesTask, TheIdWinsOverTheName)
{
    EXPECT_EQ(Value("box", "<ElementName>heron</ElementName><Id>3</Id>", "name"), "<Value Type=\"text\">wren</Value>");
}

TEST_F(PropertiesTask, ValuesAreWrittenAsInARow)
{
    EXPECT_EQ(Value("box", "<Id>7</Id>", "photo"), "<Value Type=\"blob\" Encoding=\"base64\">AP8=</Value>");
    EXPECT_EQ(Value("box", "<Id>7</Id>", "note"), "<Value Null=\"true\"/>");
    EXPECT_EQ(Value("box", "<Id>3</Id>", "note"), "<Value Type=\"text\">x&lt;y</Value>");
    EXPECT_EQ(Value("box", "<Id>9</Id>", "note"), "<Value Type=\"text\" xml:space=\"preserve\"> blank </Value>");
}

TEST_F(PropertiesTask, CaseAndOuterBlanksOfNamesDoNotMatter)
{
    EXPECT_EQ(Value(" box/BIRDS ", "<Id> 7 </Id>", " Name "), "<Value Type=\"text\">heron</Value>");
    EXPECT_EQ(Value("box", "<Id>getfirst</Id>", "NAME"), "<Value Type=\"text\">wren</Value>");
}

TEST_F(PropertiesTask, TheMainTableIsTheOneNamedLikeTheSource)
{
    m_data.Make(L"two",
                "CREATE TABLE a(x); CREATE TABLE Two(x); INSERT INTO a VALUES('a'); INSERT INTO two VALUES('b')");
    EXPECT_EQ(Value("two", kFirst, "x"), "<Value Type=\"text\">b</Value>");
    EXPECT_EQ(Value("two/a", kFirst, "x"), "<Value Type=\"text\">a</Value>");
}

TEST_F(PropertiesTask, WhatHasNoRowIdsHasAFirstRowAndNames)
{
    m_data.Make(L"box", "CREATE TABLE codes(name TEXT PRIMARY KEY, x) WITHOUT ROWID; INSERT INTO codes VALUES('q', 5);"
                        "CREATE VIEW small AS SELECT name, size FROM birds ORDER BY size DESC");
    EXPECT_EQ(Value("box/codes", kFirst, "x"), "<Value Type=\"integer\">5</Value>");
    EXPECT_EQ(Value("box/codes", "<ElementName>q</ElementName>", "x"), "<Value Type=\"integer\">5</Value>");
    EXPECT_EQ(Error("box/codes", "<Id>1</Id>", "x"), "Data source \"box\": no such column: rowid");
    EXPECT_EQ(Value("box/small", kFirst, "size"), "<Value Type=\"real\">98.0</Value>");
    EXPECT_EQ(Value("box/small", "<ElementName>wren</ElementName>", "size"), "<Value Type=\"real\">9.5</Value>");
    EXPECT_EQ(Error("box/small", "<Id>1</Id>", "size"),
              "Data source \"box\": table \"small\" has no row with the id 1");
    EXPECT_EQ(ReadBlock(Get("box/codes", kFirst, "x").response).identification, eElementIdentification_First);
}

TEST_F(PropertiesTask, AnErrorNamesWhatIsWrong)
{
    EXPECT_EQ(Error("crate", kFirst, "name"), "There is no data source \"crate\".");
    EXPECT_EQ(Error("../box", kFirst, "name"), "\"..\" is no valid name of a data source.");
    EXPECT_EQ(Error("box/", kFirst, "name"), "\"box/\" names no table behind the \"/\".");
    EXPECT_EQ(Error("box/fish", kFirst, "name"), "Data source \"box\": there is no table \"fish\"");
    EXPECT_EQ(Error("box", kFirst, "colour"), "Data source \"box\": table \"birds\" has no column \"colour\"");
    EXPECT_EQ(Error("box", "<Id>8</Id>", "name"), "Data source \"box\": table \"birds\" has no row with the id 8");
    EXPECT_EQ(Error("box", "<ElementName>owl</ElementName>", "id"),
              "Data source \"box\": table \"birds\" has no row with the name \"owl\"");
    EXPECT_EQ(Error("box", "<Id>seven</Id>", "name"),
              "\"seven\" is no id of a row; ids are integers, or \"GetFirst\".");
    EXPECT_EQ(Error("box", "", "name"), "The task has neither an \"Id\" nor an \"ElementName\" element.");
    EXPECT_EQ(Error("box", kFirst, " "), "The task has no \"PropertyName\" element, or an empty one.");
}

TEST_F(PropertiesTask, TheActionMustBeGet)
{
    EXPECT_EQ(Error("<Request><Task Type=\"Properties\"><Action>Set</Action><DataSource>box</DataSource><Id>7</Id>"
                    "<PropertyName>name</PropertyName></Task></Request>"),
              "\"Set\" is no action of the data store; there is only \"Get\".");
}

TEST_F(PropertiesTask, ASourceWithoutAMainTableAsksForOne)
{
    m_data.Make(L"none", "CREATE TABLE a(x); DROP TABLE a");
    m_data.Make(L"two", "CREATE TABLE a(x); CREATE TABLE b(name)");
    EXPECT_EQ(Error("none", kFirst, "x"),
              "Data source \"none\": it has 0 tables and none of its own name; name one as \"none/table\"");
    EXPECT_EQ(Error("two", kFirst, "x"),
              "Data source \"two\": it has 2 tables and none of its own name; name one as \"two/table\"");
    EXPECT_EQ(Error("two/a", kFirst, "x"), "Data source \"two\": table \"a\" has no rows");
    EXPECT_EQ(Error("two/a", "<ElementName>q</ElementName>", "x"),
              "Data source \"two\": table \"a\" has no column \"name\"");
}

TEST_F(PropertiesTask, NamesCannotBreakOutOfTheStatement)
{
    m_data.Make(L"odd",
                "CREATE TABLE \"a\"\"b\"(\"c\"\"d\" TEXT, name TEXT); INSERT INTO \"a\"\"b\" VALUES('v', 'n''m')");
    EXPECT_EQ(Value("odd/a\"b", "<ElementName>n'm</ElementName>", "c\"d"), "<Value Type=\"text\">v</Value>");
    EXPECT_EQ(Error("odd/a\"b", "<ElementName>' OR 1=1 --</ElementName>", "c\"d"),
              "Data source \"odd\": table \"a\"b\" has no row with the name \"' OR 1=1 --\"");
}

TEST_F(PropertiesTask, AWriterIsWaitedFor)
{
    CExclusiveWriter writer(m_data.PathOf(L"box"));
    writer.Execute("UPDATE birds SET size = 99 WHERE id = 7");
    m_run.context.OnAsked([&](unsigned asked) {
        if (asked == 3)
            writer.Execute("COMMIT");
    });
    EXPECT_EQ(Value("box", "<Id>7</Id>", "size"), "<Value Type=\"real\">99.0</Value>");
}

TEST_F(PropertiesTask, ACancellationEndsTheWaiting)
{
    CExclusiveWriter writer(m_data.PathOf(L"box"));
    m_run.context.OnAsked([&](unsigned asked) {
        if (asked == 3)
            m_run.context.SetCanceled(true);
    });
    EXPECT_EQ(Get("box", "<Id>7</Id>", "size").stage, eStage_Canceled);
    writer.Execute("ROLLBACK");
}

TEST_F(PropertiesTask, ALongSearchIsLeftToTheTaskThatCanBeCancelled)
{
    m_data.Make(L"box", "CREATE VIEW far AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
                        "20000000) SELECT 'b' || i AS name, i AS x FROM n");
    m_run.context.OnAsked([&](unsigned asked) { m_run.context.SetCanceled(asked >= 3); });
    EXPECT_EQ(Get("box/far", "<ElementName>owl</ElementName>", "x").stage, eStage_Canceled);
}

TEST_F(PropertiesTask, WhatALongSearchDoesNotFindIsReported)
{
    m_data.Make(L"box", "CREATE VIEW far AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
                        "300000) SELECT 'b' || i AS name, i AS x FROM n");
    EXPECT_EQ(Value("box/far", "<ElementName>b299999</ElementName>", "x"), "<Value Type=\"integer\">299999</Value>");
    EXPECT_EQ(Get("box/far", "<ElementName>owl</ElementName>", "x").stage, eStage_NotObtained);
    const std::wstring reason = L"Data source \"box\": table \"far\" has no row with the name \"owl\"";
    m_host.ExpectReport(36, reason);
    EXPECT_EQ(m_run.progress.LastComment(), reason);
}
