#include "apps/zel/AnswerFormat.h"
#include "apps/zel/XmlPieces.h"
#include "platform/Os.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <nlohmann/json.hpp>

namespace {

ByteSource AnswerBytes(std::string text)
{
    return [text = std::move(text), at = std::size_t{0}](std::span<std::byte> buffer, std::size_t& read) mutable {
        read = std::min(buffer.size(), text.size() - at);
        std::memcpy(buffer.data(), text.data() + at, read);
        at += read;
        return platform::eOsError_None;
    };
}

std::string Shown(eAnswerFormat format, const std::string& answer, std::size_t width = 0)
{
    std::string shown;
    std::wstring error;
    const auto sink = MakeAnswerFormat(
        format,
        [&](std::string_view text) {
            shown += text;
            return true;
        },
        width);
    EXPECT_EQ(ReadAnswer(AnswerBytes(answer), L"a", *sink, error), eAnswerEnd_Whole) << platform::ToUtf8(error);
    return shown;
}

const std::string kAnswerOfBirds =
    "<Response>\n  <Columns>\n    <Column Name=\"name\" Type=\"text\"/>\n"
    "    <Column Name=\"size\" Type=\"real\"/>\n  </Columns>\n  <Rows Count=\"3\">\n"
    "    <Row><Value>heron</Value><Value>98.0</Value></Row>\n"
    "    <Row><Value>owl</Value><Value Null=\"true\"/></Row>\n"
    "    <Row><Value/><Value Type=\"text\">big, \"very\"\nbig</Value></Row>\n  </Rows>\n</Response>\n";

TEST(AnswerFormatTest, ATableHasColumnsThatFitAndNumbersAtTheRight)
{
    EXPECT_EQ(Shown(eAnswerFormat_Table, kAnswerOfBirds), "name              size\n"
                                                          "-----  ---------------\n"
                                                          "heron             98.0\n"
                                                          "owl\n"
                                                          "       big, \"very\" big\n");
    EXPECT_EQ(Shown(eAnswerFormat_Table, kAnswerOfBirds, 8), "name\n-----  -\nheron\nowl\n       b\n");
}

TEST(AnswerFormatTest, CsvTellsANullFromAnEmptyText)
{
    EXPECT_EQ(Shown(eAnswerFormat_Csv, kAnswerOfBirds), "name,size\r\n"
                                                        "heron,98.0\r\n"
                                                        "owl,\r\n"
                                                        "\"\",\"big, \"\"very\"\"\nbig\"\r\n");
}

TEST(AnswerFormatTest, ARowOfOneNullIsNoEmptyLineInCsv)
{
    EXPECT_EQ(Shown(eAnswerFormat_Csv, "<R><Columns><Column Name='a'/></Columns><Rows>"
                                       "<Row><Value Null='true'/></Row><Row><Value>=1+1</Value></Row></Rows></R>"),
              "a\r\n\"\"\r\n=1+1\r\n");
}

TEST(AnswerFormatTest, JsonKeepsNumbersWithTheirDigits)
{
    EXPECT_EQ(Shown(eAnswerFormat_Json, kAnswerOfBirds), "[\n"
                                                         "{\"name\":\"heron\",\"size\":98.0},\n"
                                                         "{\"name\":\"owl\",\"size\":null},\n"
                                                         "{\"name\":\"\",\"size\":\"big, \\\"very\\\"\\nbig\"}\n"
                                                         "]\n");
    const std::string numbers =
        "<R><Columns><Column Name='n' Type='integer'/></Columns><Rows>"
        "<Row><Value>9007199254740993</Value></Row><Row><Value Type='real'>INF</Value></Row>"
        "<Row><Value Type='real'>1e999</Value></Row><Row><Value>[1]</Value></Row><Row><Value/></Row></Rows></R>";
    EXPECT_EQ(Shown(eAnswerFormat_Json, numbers), "[\n{\"n\":9007199254740993},\n{\"n\":\"INF\"},\n{\"n\":\"1e999\"},\n"
                                                  "{\"n\":\"[1]\"},\n{\"n\":\"\"}\n]\n");
}

TEST(AnswerFormatTest, RowsOfOtherLengthsAndColumnsOfOneName)
{
    const std::string answer = "<R><Columns><Column Name='a'/><Column Name='a'/><Column Name='a_2'/></Columns><Rows>"
                               "<Row><Value>1</Value></Row>"
                               "<Row><Value>1</Value><Value>2</Value><Value>3</Value><Value>4</Value></Row><Row/>"
                               "</Rows></R>";
    EXPECT_EQ(Shown(eAnswerFormat_Csv, answer), "a,a,a_2\r\n1\r\n1,2,3,4\r\n\r\n");
    EXPECT_EQ(Shown(eAnswerFormat_Json, answer), "[\n{\"a\":\"1\",\"a_2\":null,\"a_2_2\":null},\n"
                                                 "{\"a\":\"1\",\"a_2\":\"2\",\"a_2_2\":\"3\",\"column 4\":\"4\"},\n"
                                                 "{\"a\":null,\"a_2\":null,\"a_2_2\":null}\n]\n");
    EXPECT_EQ(Shown(eAnswerFormat_Table, answer), "a  a  a_2\n-  -  ---\n1\n1  2  3    4\n\n");
}

TEST(AnswerFormatTest, AsManyColumnsOfOneNameAsThereMayBeTakeLittleTime)
{
    std::string answer = "<R><Columns>";
    for (std::size_t i = 0; i < kMaxAnswerColumns; ++i)
        answer += "<Column Name='x'/>";
    const auto start = platform::SystemClock().Steady();
    const std::string shown = Shown(eAnswerFormat_Json, answer + "</Columns><Rows><Row/></Rows></R>");
    EXPECT_LT(platform::SystemClock().Steady() - start, std::chrono::seconds(5));
    EXPECT_TRUE(shown.ends_with(",\"x_9999\":null,\"x_10000\":null}\n]\n")) << shown.substr(shown.size() - 60);
}

TEST(AnswerFormatTest, SeveralTablesComeOneAfterTheOther)
{
    const std::string table = "<T><Columns><Column Name='a'/></Columns><Rows><Row><Value>1</Value></Row></Rows></T>";
    const std::string answer = "<R>" + table + "<Note>no table</Note><T><Rows/></T>" + table + "</R>";
    EXPECT_EQ(Shown(eAnswerFormat_Csv, answer), "a\r\n1\r\n\r\n\r\na\r\n1\r\n");
    EXPECT_EQ(Shown(eAnswerFormat_Json, answer), "[\n{\"a\":\"1\"}\n]\n[]\n[\n{\"a\":\"1\"}\n]\n");
    EXPECT_EQ(Shown(eAnswerFormat_Table, answer), "a\n-\n1\n\n\na\n-\n1\n");
}

TEST(AnswerFormatTest, AnAnswerWithoutATableIsOneOfItsElements)
{
    EXPECT_EQ(Shown(eAnswerFormat_Csv, "<Response>hello</Response>"), "Element,Value\r\nResponse,hello\r\n");
    EXPECT_EQ(Shown(eAnswerFormat_Csv, "<R> <T>box</T> <C Name='size'><Mean>1.5</Mean><None/></C> </R>"),
              "Element,Value\r\nT,box\r\nC[size]/Mean,1.5\r\nC[size]/None,\"\"\r\n");
    std::string many = "<R>";
    constexpr int count = 20'000;
    for (int i = 0; i < count; ++i)
        many += "<Element>with a text of some length, so that it is decided</Element>";
    const std::string shown = Shown(eAnswerFormat_Csv, many + "<Rows><Row><Value>x</Value></Row></Rows></R>");
    EXPECT_EQ(std::ranges::count(shown, '\n'), count + 2) << "too late for a table";
}

TEST(AnswerFormatTest, TextsInBase64AreTextsAndBlobsStay)
{
    const std::string answer = "<R><Columns><Column Name='a'/></Columns><Rows>"
                               "<Row><Value Type='text' Encoding='base64'>YRti</Value></Row>"
                               "<Row><Value Type='blob' Encoding='base64'>AAE=</Value></Row></Rows></R>";
    EXPECT_EQ(Shown(eAnswerFormat_Csv, answer), "a\r\na\x1b"
                                                "b\r\nAAE=\r\n");
    EXPECT_EQ(Shown(eAnswerFormat_Json, answer), "[\n{\"a\":\"a\\u001bb\"},\n{\"a\":\"AAE=\"}\n]\n");
    EXPECT_EQ(Shown(eAnswerFormat_Table, answer), "a\n----\na b\nAAE=\n") << "nothing moves the cursor";
}

TEST(AnswerFormatTest, NothingBehindTheFirstThousandRowsChangesTheColumns)
{
    std::string answer = "<R><Columns><Column Name='a'/><Column Name='b'/></Columns><Rows>";
    for (int i = 0; i < 1000; ++i)
        answer += "<Row><Value>1</Value><Value>2</Value></Row>";
    const std::string shown =
        Shown(eAnswerFormat_Table, answer + "<Row><Value>longer</Value><Value>2</Value></Row></Rows></R>");
    EXPECT_TRUE(shown.ends_with("1  2\n1  2\nlonger  2\n")) << shown.substr(shown.size() - 30);
}

TEST(AnswerFormatTest, WhatIsTooLargeOrBrokenIsTold)
{
    const auto why = [](const std::string& answer) {
        std::wstring error;
        const auto sink = MakeAnswerFormat(
            eAnswerFormat_Csv, [](std::string_view) { return true; }, 0);
        EXPECT_EQ(ReadAnswer(AnswerBytes(answer), L"x", *sink, error), eAnswerEnd_Failed);
        return platform::ToUtf8(error);
    };
    EXPECT_TRUE(why("<R><Rows><Row><Value>" + std::string(kMaxAnswerValue + 1, 'v')).starts_with("'x' has a value"));
    std::string columns = "<R><Rows><Row>";
    for (std::size_t i = 0; i <= kMaxAnswerColumns; ++i)
        columns += "<Value/>";
    EXPECT_TRUE(why(columns).starts_with("'x' has more than")) << why(columns);
    const auto named = [](std::size_t count) {
        std::string names = "<R><Columns>";
        for (std::size_t i = 0; i < count; ++i)
            names += "<Column Name='" + std::string(CXmlPieces::kMaxAttributeBytes, 'n') + "'/>";
        return names;
    };
    constexpr std::size_t full = kMaxAnswerNames / CXmlPieces::kMaxAttributeBytes;
    EXPECT_TRUE(why(named(full)).starts_with("'x' cannot be shown")) << "it has no end";
    EXPECT_TRUE(why(named(full + 1)).starts_with("'x' has columns with names of more than")) << why(named(full + 1));
    EXPECT_TRUE(why("<R>\n\n<Rows>").starts_with("'x' cannot be shown from line 3 on")) << why("<R>\n\n<Rows>");
}

TEST(AnswerFormatTest, AWriterThatFailsEndsTheReading)
{
    int count = 0;
    std::wstring error;
    const auto sink = MakeAnswerFormat(
        eAnswerFormat_Json, [&](std::string_view) { return ++count < 2; }, 0);
    EXPECT_EQ(ReadAnswer(AnswerBytes(kAnswerOfBirds), L"x", *sink, error), eAnswerEnd_Stopped);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(error, L"");
}

} // namespace
