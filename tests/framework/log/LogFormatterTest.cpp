#include "framework/CrashReport.h"
#include "framework/DefaultHost.h"
#include "framework/LogOptions.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/framework/DigitsShape.h"
#include "tests/framework/ScratchFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

using namespace Brel::Log;

/// One line, written for the request that the thread works on.
class LogFormatterTest : public testing::Test {
protected:
    ~LogFormatterTest() override { EXPECT_TRUE(Configure({})); }

    [[nodiscard]] std::string Line(eLogFormat format, const std::wstring& request, std::wstring_view text,
                                   eLogLevel level = eLogLevel_Info,
                                   const platform::SSourceLocation& place = {"a/File.cpp", 17, "bool C::F()"})
    {
        SLogOptions options;
        options.level = eLogLevel_Trace;
        options.console = false;
        options.file = m_folder.PathOf(std::to_wstring(++m_nFiles));
        options.format = format;
        options.places = m_places;
        EXPECT_TRUE(Configure(options));
        {
            const MOXCrashRpt::CScopedSubject subject(request);
            Write(*m_host.GetLogger("LogFormatterTest"), level, place, text);
        }
        return m_folder.Content(std::to_wstring(m_nFiles));
    }
    bool m_places = true;
    [[nodiscard]] std::string TextLine(const std::wstring& request, std::wstring_view text = L"text")
    {
        return Line(eLogFormat_Text, request, text);
    }
    /// The object that is the one line.
    [[nodiscard]] nlohmann::json Object(const std::wstring& request, std::wstring_view text = L"text",
                                        eLogLevel level = eLogLevel_Info)
    {
        const std::string line = Line(eLogFormat_Json, request, text, level);
        EXPECT_EQ(std::ranges::count(line, '\n'), 1) << line;
        EXPECT_TRUE(line.ends_with("}\n")) << line;
        return nlohmann::json::parse(line);
    }

    CScratchFolder m_folder;
    CWQ_DefaultHost m_host;
    int m_nFiles = 0;
};

TEST_F(LogFormatterTest, ATextLineNamesTheRequestByItsFile)
{
    EXPECT_EQ(DigitsShape(TextLine(L"/srv/out/Queue/birds.drq")),
              "#-#-#T#:#:#.#Z info     [LogFormatterTest] [#] {birds.drq} text (File.cpp:#)\n");
}

TEST_F(LogFormatterTest, WithoutARequestThereAreNoBraces)
{
    EXPECT_EQ(DigitsShape(TextLine(L"")), "#-#-#T#:#:#.#Z info     [LogFormatterTest] [#] text (File.cpp:#)\n");
}

TEST_F(LogFormatterTest, NoNameOfARequestPassesForAnythingElse)
{
    EXPECT_NE(TextLine(L"a\n2024 critical\r\x1b[31m\t.drq").find("{a\\x0A2024 critical\\x0D\\x1B[31m\\x09.drq} text"),
              std::string::npos);
    EXPECT_NE(TextLine(L"a\u202eqrd.exe").find("{a\\x202Eqrd.exe} text"), std::string::npos);
    EXPECT_NE(TextLine(L"a} forged {b.drq").find("{a\\x7D forged \\x7Bb.drq} text"), std::string::npos);
    EXPECT_NE(TextLine(platform::FromUtf8("\xC4\x8D\xFF.drq")).find("{\xC4\x8D\\xFF.drq} text"), std::string::npos);
    EXPECT_NE(TextLine(L"\"quoted\" %v {0.drq").find("{\"quoted\" %v \\x7B0.drq} text"), std::string::npos);
}

TEST_F(LogFormatterTest, AJsonLineHasAllFieldsInThisOrder)
{
    const std::string line = Line(eLogFormat_Json, L"/srv/out/Queue/birds.drq", L"text");
    EXPECT_EQ(DigitsShape(line), "{\"time\":\"#-#-#T#:#:#.#Z\",\"level\":\"info\",\"logger\":\"LogFormatterTest\","
                                 "\"thread\":#,\"request\":\"birds.drq\",\"text\":\"text\",\"file\":\"a/File.cpp\","
                                 "\"line\":#,\"function\":\"bool C::F()\"}\n");
    const nlohmann::json object = nlohmann::json::parse(line);
    EXPECT_EQ(object["line"], 17);
    EXPECT_EQ(object["thread"], platform::CurrentThreadId());
    EXPECT_EQ(object["time"].get<std::string>().size(), std::string_view("2024-05-01T12:00:00.123Z").size());
}

TEST_F(LogFormatterTest, LevelsHaveTheirFullNames)
{
    const std::vector<std::string> names = {"trace", "debug", "info", "warning", "error", "critical"};
    for (std::size_t level = 0; level < names.size(); ++level)
        EXPECT_EQ(Object(L"", L"text", static_cast<eLogLevel>(level))["level"], names[level]);
}

TEST_F(LogFormatterTest, WhatIsUnknownIsNull)
{
    const nlohmann::json object = nlohmann::json::parse(Line(eLogFormat_Json, L"", L"", eLogLevel_Info, {}));
    for (const char* field : {"request", "file", "line", "function"})
        EXPECT_TRUE(object.at(field).is_null()) << field;
    EXPECT_EQ(object["text"], "");
}

TEST_F(LogFormatterTest, AJsonLineWithoutPlacesHasThemAsNull)
{
    m_places = false;
    const std::string line = Line(eLogFormat_Json, L"birds.drq", L"text");
    EXPECT_TRUE(line.ends_with("\"text\":\"text\",\"file\":null,\"line\":null,\"function\":null}\n")) << line;
}

TEST_F(LogFormatterTest, QuotesAndControlCharactersComeBackAsTheyWere)
{
    const std::string text = "\"quoted\" back\\slash {} %v \r\n\t\x1b[31m \x7f";
    EXPECT_EQ(Object(L"", platform::FromUtf8(text))["text"], text);
    const std::string name = "\"quoted\" {} %v \r\n\t\x1b[31m \x7f.drq";
    EXPECT_EQ(Object(platform::FromUtf8(name))["request"], name);
}

TEST_F(LogFormatterTest, BytesThatAreNoTextAreEscapedVisibly)
{
    const std::wstring text = platform::FromUtf8("\xC4\x8D \xF0\x9F\x98\x80 \xFF \xC3.");
    EXPECT_EQ(Object(L"", text)["text"], "\xC4\x8D \xF0\x9F\x98\x80 \\xFF \\xC3.");
    EXPECT_EQ(Object(text)["request"], "\xC4\x8D \xF0\x9F\x98\x80 \\xFF \\xC3.");
}

TEST_F(LogFormatterTest, AnUnpairedHalfOfACharacterIsEscapedToo)
{
    const std::wstring text = {L'a', static_cast<wchar_t>(0xD83D), L'b'};
    EXPECT_EQ(Object(L"", text)["text"].get<std::string>().front(), 'a');
    EXPECT_EQ(Object(text)["request"], "a\\xD83Db");
}

} // namespace
