#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Predicates.h"

namespace {

/// Here the test is the server.
class PropertiesCommandTest : public CProgramTest {
protected:
    PropertiesCommandTest() { EXPECT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None); }

    /// The request that a client sent, taken away.
    [[nodiscard]] std::string TakeRequest()
    {
        EXPECT_TRUE(WaitUntil([&] { return !FilesIn(m_strRequests).empty(); }));
        m_strName = FilesIn(m_strRequests).at(0);
        // As the server does it: the client may still sync what it has handed over.
        EXPECT_TRUE(WaitUntil([&] {
            return platform::Files().Move(InRequests(m_strName), InQueue(m_strName), 0) == platform::eOsError_None;
        }));
        std::string request = Read(InQueue(m_strName));
        std::erase_if(request, [](char character) { return character == '\r' || character == '\n'; });
        return request;
    }

    void Answer(const std::string& response, int status, const std::wstring& comment = {}) const
    {
        if (!response.empty())
            Write(InOutput(m_strName), response);
        Write(InOutput(m_strName + L".status"),
              platform::ToUtf16Le(std::to_wstring(status) + L"\r\nProgressComment=" + comment + L"\r\n"));
        EXPECT_EQ(platform::Files().Remove(InQueue(m_strName)), platform::eOsError_None);
    }

    void ExpectNothingLeft() const
    {
        EXPECT_TRUE(FilesIn(m_strOutput).empty());
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_EQ(platform::Files().List(m_strRequests, entries), platform::eOsError_None);
        // The claim of a server that runs is its own.
        std::erase_if(entries, [](const auto& entry) { return entry.isDirectory && entry.name == L".zel-server"; });
        EXPECT_TRUE(entries.empty());
    }

    std::wstring m_strName;
};

std::string Block(const std::string& item, const std::string& value)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Response><Task Type=\"Properties\"><Action>Get</Action>"
           "<DataSource>box</DataSource>" +
           item + "<PropertyName>size</PropertyName>" + value + "</Task></Response>";
}

TEST_F(PropertiesCommandTest, AsksForTheFirstAndPrintsTheValue)
{
    CRunningProgram client = StartZel({L"properties", L"box", L"--first", L"size"});
    EXPECT_EQ(TakeRequest(), "<Request><Task Type=\"Properties\"><Action>Get</Action><DataSource>box</DataSource>"
                             "<Id>GetFirst</Id><PropertyName>size</PropertyName></Task></Request>");
    Answer(Block("<Id>3</Id>", "<Value Type=\"real\">9.5</Value>"), 13);
    const SProgramResult result = client.Finish();
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "9.5\n");
    EXPECT_EQ(result.errors, "");
    ExpectNothingLeft();
}

TEST_F(PropertiesCommandTest, AsksForAnIdAndGivesAnObject)
{
    CRunningProgram client = StartZel({L"properties", L"box", L"--id", L"-3", L"size", L"--json"});
    EXPECT_TRUE(Contains(TakeRequest(), "<Id>-3</Id>"));
    Answer(Block("<Id>-3</Id>", "<Value Null=\"true\"/>"), 13);
    const SProgramResult result = client.Finish();
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, R"({"dataSource":"box","id":"-3","property":"size","type":null,"value":null})"
                             "\n");
}

TEST_F(PropertiesCommandTest, AsksForAName)
{
    CRunningProgram client = StartZel({L"properties", L"box", L"--name", L"a < b", L"size", L"--json"});
    const std::string request = TakeRequest();
    EXPECT_TRUE(Contains(request, "<ElementName>a &lt; b</ElementName>")) << request;
    EXPECT_FALSE(Contains(request, "<Id>")) << request;
    Answer(Block("<ElementName>a &lt; b</ElementName>", "<Value Type=\"text\">x</Value>"), 13);
    const SProgramResult result = client.Finish();
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, R"({"dataSource":"box","name":"a < b","property":"size","type":"text","value":"x"})"
                             "\n");
}

TEST_F(PropertiesCommandTest, SaysWhenTheValueIsInBase64)
{
    for (const bool isJson : {false, true}) {
        std::vector<std::wstring> arguments = {L"properties", L"box", L"--first", L"size"};
        if (isJson)
            arguments.push_back(L"--json");
        CRunningProgram client = StartZel(arguments);
        static_cast<void>(TakeRequest());
        Answer(Block("<Id>3</Id>", "<Value Type=\"blob\" Encoding=\"base64\">AAE=</Value>"), 13);
        const SProgramResult result = client.Finish();
        EXPECT_EQ(result.code, 0) << result.errors;
        EXPECT_EQ(result.output, isJson ? R"({"dataSource":"box","id":"3","property":"size","type":"blob",)"
                                          R"("encoding":"base64","value":"AAE="})"
                                          "\n"
                                        : "AAE=\n");
        EXPECT_EQ(result.errors, isJson ? "" : "zel: the value is given in base64\n");
    }
}

TEST_F(PropertiesCommandTest, ControlCharactersDoNotReachTheTerminal)
{
    CRunningProgram client = StartZel({L"properties", L"box", L"--first", L"size"});
    static_cast<void>(TakeRequest());
    Answer(Block("<Id>3</Id>", "<Value>a\xC2\x9B\tb&#10;c</Value>"), 13);
    EXPECT_EQ(client.Finish().output, "a  b c\n");
}

TEST_F(PropertiesCommandTest, ANameThatXmlCannotCarryIsRefused)
{
    if (testsupport::IsWine())
        GTEST_SKIP() << "IsWine: its DOM saves control characters";
    const SProgramResult result =
        Zel({L"properties", L"box", L"--name", L"a\x01", L"size", L"--json", L"--timeout", L"9"});
    EXPECT_EQ(result.code, 1);
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["status"], 0);
    EXPECT_TRUE(Contains(result.errors, "cannot be written")) << result.errors;
    ExpectNothingLeft();
}

TEST_F(PropertiesCommandTest, TellsTheServersReason)
{
    CRunningProgram client = StartZel({L"properties", L"box", L"--id", L"4", L"size"});
    static_cast<void>(TakeRequest());
    Answer({}, 1, L"no such row");
    const SProgramResult result = client.Finish();
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(Contains(result.errors, "no such row")) << result.errors;
    ExpectNothingLeft();
}

TEST_F(PropertiesCommandTest, AResponseWithoutAValueIsAClientError)
{
    CRunningProgram client = StartZel({L"properties", L"box", L"--id", L"4", L"size", L"--json"});
    static_cast<void>(TakeRequest());
    Answer(Block("<Id>4</Id>", ""), 13);
    const SProgramResult result = client.Finish();
    EXPECT_EQ(result.code, 1);
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["status"], 0);
    EXPECT_TRUE(Contains(result.errors, "holds no value")) << result.errors;
}

TEST_F(PropertiesCommandTest, AServerWithoutSuchATaskIsAServerError)
{
    CRunningProgram server = StartServer();
    const SProgramResult result = Zel({L"properties", L"box", L"--first", L"size", L"--json"});
    EXPECT_EQ(result.code, 3);
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["status"], 1);
    ExpectNothingLeft();
    StopServer(server);
}

TEST_F(PropertiesCommandTest, ExactlyOneItemIsAskedFor)
{
    EXPECT_EQ(Zel({L"properties", L"box", L"size"}).code, 2);
    EXPECT_EQ(Zel({L"properties", L"box", L"--first", L"--id", L"3", L"size"}).code, 2);
    EXPECT_EQ(Zel({L"properties", L"box", L"--id", L"three", L"size"}).code, 2);
    EXPECT_EQ(Zel({L"properties", L"--first", L"size"}).code, 2);
    EXPECT_EQ(Zel({L"properties", L"box", L"--first", L"size", L"--timeout", L"0"}).code, 7);
}

} // namespace
