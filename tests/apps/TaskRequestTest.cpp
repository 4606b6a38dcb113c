#include "apps/zel/TaskRequest.h"
#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

TEST(TaskRequestTest, TheDocumentHasTheElementsInOrderAndTheAttributesOfItsRun)
{
    const STaskRequest request{L"Query",
                               {{L"DataSource", L"box"}, {L"Sql", L"select 1"}},
                               {L"12.5", L" "},
                               {{"Priority", L"7"}, {"TimeLimit", L"0.5"}}};
    EXPECT_EQ(TaskRequestXml(request), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                       "<Request Priority=\"7\" TimeLimit=\"0.5\">\n"
                                       "  <Task Type=\"Query\">\n"
                                       "    <DataSource>box</DataSource>\n"
                                       "    <Sql>select 1</Sql>\n"
                                       "    <Parameters>\n"
                                       "      <Parameter>12.5</Parameter>\n"
                                       "      <Parameter xml:space=\"preserve\"> </Parameter>\n"
                                       "    </Parameters>\n"
                                       "  </Task>\n"
                                       "</Request>\n");
}

TEST(TaskRequestTest, WhatIsMarkupInAValueIsEscaped)
{
    const std::string xml = TaskRequestXml({L"a\"<&", {{L"Sql", L"a < b & c > \"d\" ]]>"}}, {}, {}});
    EXPECT_TRUE(Contains(xml, "<Task Type=\"a&quot;&lt;&amp;\">")) << xml;
    EXPECT_TRUE(Contains(xml, "<Sql>a &lt; b &amp; c &gt; \"d\" ]]&gt;</Sql>")) << xml;
}

TEST(TaskRequestTest, NamesAreThoseThatEveryParserTakes)
{
    for (const wchar_t* name : {L"a", L"_", L"Sql", L"a-b.c_9"})
        EXPECT_TRUE(IsElementName(name)) << platform::ToUtf8(name);
    for (const wchar_t* name : {L"", L"9", L"-a", L".a", L"a b", L"a:b", L"a/b", L"a>", L"gr\u00f6sse"})
        EXPECT_FALSE(IsElementName(name)) << platform::ToUtf8(name);
    EXPECT_TRUE(IsElementName(std::wstring(STaskRequest::kMaxNameLength, L'a')));
    EXPECT_FALSE(IsElementName(std::wstring(STaskRequest::kMaxNameLength + 1, L'a')));
}

TEST(TaskRequestTest, TextsThatXmlCannotCarryAreNone)
{
    for (const wchar_t* text : {L"", L"a\tb\r\nc", L"\u010d\U0001F426"})
        EXPECT_TRUE(IsElementText(text));
    for (const wchar_t* text : {L"\x01", L"a\x1b[2J", L"\xFFFE", L"\xFFFF"})
        EXPECT_FALSE(IsElementText(text));
    EXPECT_FALSE(IsElementText(platform::FromUtf8("\xFF"))) << "no UTF-8";
    EXPECT_FALSE(IsElementText(std::wstring(1, L'\0')));
}

class SendTaskTest : public CProgramTest {
protected:
    /// The only file in the request directory.
    [[nodiscard]] std::string Sent() const
    {
        const std::vector<std::wstring> names = FilesIn(m_strRequests);
        EXPECT_EQ(names.size(), 1U);
        return names.empty() ? std::string() : Read(InRequests(names.front()));
    }
};

TEST_F(SendTaskTest, TheRequestGetsANameOfItsOwnFromItsType)
{
    const SProgramResult result = Zel({L"send", L"--task", L"Echo", L"--set", L"Text=a=b", L"--json"});
    ASSERT_EQ(result.code, 0) << result.errors;
    ASSERT_EQ(result.Objects().size(), 1U);
    const std::string name = result.Objects()[0]["name"];
    EXPECT_TRUE(name.starts_with("Echo-") && name.ends_with(".drq")) << name;
    EXPECT_TRUE(Contains(Sent(), "<Text>a=b</Text>")) << "the first sign ends the name";
    ASSERT_EQ(Zel({L"send", L"--task", L"a/b", L"--json"}).Objects().size(), 1U);
    EXPECT_TRUE(FilesIn(m_strRequests).back().starts_with(L"task-")) << "a type that is no file name";
}

TEST_F(SendTaskTest, AttributesOfTheRunAreWrittenAsAServerReadsThem)
{
    const SProgramResult result =
        Zel({L"send", L"--task", L"Echo", L"--name", L"n.drq", L"--priority", L"-7", L"--attempts", L"3",
             L"--time-limit", L"0.25", L"--not-before", L"2027-01-31T06:00+02:00"});
    ASSERT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>{L"n.drq"});
    EXPECT_TRUE(Contains(Sent(), "<Request Priority=\"-7\" NotBefore=\"2027-01-31T06:00+02:00\" TimeLimit=\"0.25\" "
                                 "Attempts=\"3\">"))
        << Sent();
}

TEST_F(SendTaskTest, WhatIsNoRequestIsRefusedAndNothingIsSent)
{
    const std::vector<std::vector<std::wstring>> mistakes = {
        {L"send"},
        {L"send", MakeEcho(L"a.drq", L"x"), L"--task", L"Echo"},
        {L"send", L"--task", L"Echo", L"--set", L"Text"},
        {L"send", L"--task", L"Echo", L"--set", L"=x"},
        {L"send", L"--task", L"Echo", L"--set", L"a b=x"},
        {L"send", L"--task", L"Echo", L"--set", L"Text=x", L"--set", L"text=y"},
        {L"send", L"--task", L"Echo", L"--set", L"Text=\x1b[2J"},
        {L"send", L"--task", L"Echo", L"--parameter", L"\x07"},
        {L"send", L"--task", L"\x07"},
        {L"send", L"--task", L"Echo", L"--move"},
        {L"send", L"--task", L"Echo", L"--priority", L"101"},
        {L"send", L"--task", L"Echo", L"--attempts", L"0"},
        {L"send", L"--task", L"Echo", L"--time-limit", L"0"},
        {L"send", L"--task", L"Echo", L"--time-limit", L"1e3"},
        {L"send", L"--task", L"Echo", L"--not-before", L"2027-01-31T06:00:00"},
        {L"send", L"--task", L"Echo", L"--name", L"a.txt"},
        {L"send", MakeEcho(L"a.drq", L"x"), L"--set", L"Text=x"},
        {L"send", MakeEcho(L"a.drq", L"x"), L"--priority", L"1"},
    };
    for (const std::vector<std::wstring>& arguments : mistakes) {
        const SProgramResult result = Zel(arguments);
        EXPECT_EQ(result.code, 2) << platform::ToUtf8(arguments.back());
        EXPECT_FALSE(Contains(result.errors, "\x1b")) << result.errors;
    }
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(SendTaskTest, SettingsBeyondTheMostAreRefused)
{
    std::vector<std::wstring> arguments = {L"send", L"--task", L"Echo"};
    for (std::size_t i = 0; i < STaskRequest::kMaxElements; ++i)
        arguments.insert(arguments.end(), {L"--parameter", L"1"});
    EXPECT_EQ(Zel(arguments).code, 0);
    arguments.insert(arguments.end(), {L"--set", L"a=1"});
    EXPECT_EQ(Zel(arguments).code, 2);
}

TEST_F(SendTaskTest, TheTaskReadsWhatWasGiven)
{
    CRunningProgram server = StartServer();
    const std::wstring text = L" <b> & \"q\" [1,2] \u010d ";
    const SProgramResult result =
        Zel({L"send", L"--task", L"Echo", L"--set", L"Text=" + text, L"-o", InHome(L"response.xml"), L"-q"});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_TRUE(Contains(Read(InHome(L"response.xml")), " &lt;b&gt; &amp; \"q\" [1,2] \xC4\x8D "))
        << Read(InHome(L"response.xml"));
    StopServer(server);
}

} // namespace
