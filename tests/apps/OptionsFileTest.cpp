#include "apps/zel-server/OptionsFile.h"

#include <gtest/gtest.h>

namespace OptionsFile {
namespace {

/// The one line of a text; an empty one when there is none, or more.
SLine LineOf(std::string_view text)
{
    const SContent content = Parse(text);
    EXPECT_EQ(content.mistake, eMistake_None) << text;
    return content.lines.size() == 1 ? content.lines[0] : SLine();
}

TEST(OptionsFileTest, ALineIsANameAndAValueWithoutTheBlanksAroundThem)
{
    const SLine line{1, "log-file", "/srv/a b.log"};
    EXPECT_EQ(LineOf("log-file=/srv/a b.log"), line);
    EXPECT_EQ(LineOf(" \tlog-file \t=  /srv/a b.log \t"), line);
    EXPECT_EQ(LineOf("log-file = /srv/a b.log\n"), line);
    EXPECT_EQ(LineOf("log-file = /srv/a b.log\r\n"), line);
    EXPECT_EQ(LineOf("\xEF\xBB\xBFlog-file = /srv/a b.log"), line);
}

TEST(OptionsFileTest, LinesAreCountedWhateverIsInThem)
{
    const std::vector<SLine> lines = {{3, "resume", "true"}, {5, "keep", "7"}};
    EXPECT_EQ(Parse("# one\n\nresume = true\n   # four\nkeep = 7").lines, lines);
    EXPECT_EQ(Parse("# one\r\n\r\nresume = true\r\n   # four\r\nkeep = 7\r\n").lines, lines);
}

TEST(OptionsFileTest, ACommentBeginsTheLineOrStandsBehindABlank)
{
    EXPECT_EQ(LineOf("keep = 7 # days").value, "7");
    EXPECT_EQ(LineOf("keep = 7\t# a = b").value, "7");
    EXPECT_EQ(LineOf("log-file = /srv/a#1.log").value, "/srv/a#1.log");
    EXPECT_EQ(LineOf("keep = # days").value, "");
    EXPECT_EQ(Parse("# a = b").lines.size(), 0U);
}

TEST(OptionsFileTest, InQuotesEverythingStandsForItself)
{
    EXPECT_EQ(LineOf("log-file = \" a #1 \\ = .log \" # where").value, " a #1 \\ = .log ");
    EXPECT_EQ(LineOf("log-file = \"\"").value, "");
    EXPECT_EQ(LineOf("log-file = a\"b").value, "a\"b");
    for (const char* const text : {"log-file = \"a", "log-file = \"", "log-file = \"a\" b", "log-file = \"a\"b\""})
        EXPECT_EQ(Parse(text).mistake, eMistake_Quotes) << text;
}

TEST(OptionsFileTest, AValueMayHaveEqualsSigns)
{
    EXPECT_EQ(LineOf("xml-limit = depth=30"), (SLine{1, "xml-limit", "depth=30"}));
}

TEST(OptionsFileTest, WhatIsNoOptionIsAMistakeOfItsLineAndEndsTheReading)
{
    for (const char* const wrong : {"resume", "= true", "  =", "[server]", "resume # = true"}) {
        const SContent content = Parse("keep = 7\n" + std::string(wrong) + "\nlog-level = debug\n");
        EXPECT_EQ(content.mistake, eMistake_NoOption) << wrong;
        EXPECT_EQ(content.mistakeLine, 2U) << wrong;
        EXPECT_EQ(content.lines.size(), 1U) << wrong;
    }
}

TEST(OptionsFileTest, OnlyTextInUtf8IsTaken)
{
    EXPECT_EQ(LineOf("log-file = /srv/\xC3\xA4\xF0\x9F\x98\x80").value, "/srv/\xC3\xA4\xF0\x9F\x98\x80");
    EXPECT_EQ(Parse("log-file = /srv/\xE4").mistake, eMistake_NotUtf8);
    EXPECT_EQ(Parse("# \xE4\n").mistake, eMistake_NotUtf8);
    EXPECT_EQ(Parse("log-file = /srv/\xED\xA0\x80").mistake, eMistake_NotUtf8) << "a surrogate";
    for (const std::string_view control :
         {std::string_view("\0", 1), std::string_view("\x1B"), std::string_view("\x7F"), std::string_view("\r")}) {
        const std::string text = "log-file = a" + std::string(control) + "b\n";
        EXPECT_EQ(Parse(text).mistake, eMistake_ControlCharacter) << static_cast<int>(control[0]);
    }
    constexpr std::string_view wide("k\0=\0"
                                    "7\0\n\0",
                                    8);
    EXPECT_EQ(Parse(wide).mistakeLine, 1U);
}

TEST(OptionsFileTest, ALineHasALimit)
{
    const std::string name = "log-file = ";
    EXPECT_EQ(LineOf(name + std::string(kLongestLine - name.size(), 'x')).value.size(), kLongestLine - name.size());
    const SContent content = Parse("keep = 7\n" + name + std::string(kLongestLine - name.size() + 1, 'x'));
    EXPECT_EQ(content.mistake, eMistake_TooLong);
    EXPECT_EQ(content.mistakeLine, 2U);
}

TEST(OptionsFileTest, NothingIsNoOption)
{
    for (const char* const text : {"", "\n\n", "\xEF\xBB\xBF", "\r\n", "#"}) {
        EXPECT_EQ(Parse(text).mistake, eMistake_None) << text;
        EXPECT_EQ(Parse(text).lines.size(), 0U) << text;
    }
}

} // namespace
} // namespace OptionsFile
