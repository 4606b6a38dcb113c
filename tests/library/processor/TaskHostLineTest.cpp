#include "processor/TaskHostLine.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

using Words = std::vector<CString>;

TEST(TaskHostLineTest, WhatIsJoinedComesBackAsItWas)
{
    for (const Words& words : {Words{L"end"}, Words{L""}, Words{L"", L"", L""}, Words{L"run", L"/a b/c;d%e.drq", L""},
                               Words{L"comment", L"two\nlines\r\n\twith \u20ac and " + CString(1, L'\0') + L"."},
                               Words{CString(1, static_cast<wchar_t>(0xD800)) + L"x", L"%41%"}}) {
        const CString line = TaskHostLine::Join(words);
        EXPECT_EQ(line.find_first_of(L"\n\r"), CString::npos);
        Words split;
        EXPECT_TRUE(TaskHostLine::Split(line, split));
        EXPECT_EQ(split, words);
    }
}

TEST(TaskHostLineTest, ALineThatWasCutOffIsNone)
{
    const CString line = TaskHostLine::Join({L"status", L"13", L"ready; or not %"});
    Words words;
    for (std::size_t length = 0; length < line.size(); ++length)
        EXPECT_FALSE(TaskHostLine::Split(line.substr(0, length), words)) << length;
    EXPECT_TRUE(TaskHostLine::Split(line, words));
    EXPECT_FALSE(TaskHostLine::Split(line + L";", words));
    EXPECT_FALSE(TaskHostLine::Split(line + L"x", words));
}

TEST(TaskHostLineTest, WhatNobodyJoinedIsRefused)
{
    Words words;
    for (const wchar_t* line : {L"%;", L"%%;", L"%x%;", L"%F%;", L"%1;", L"a\tb;", L"a\u20ac;", L"%1111111111%;", L""})
        EXPECT_FALSE(TaskHostLine::Split(line, words)) << std::string(line, line + CString(line).size());
}

TEST(TaskHostLineTest, TheLongestTextFitsIntoALine)
{
    const CString text(TaskHostLine::kLongestText, static_cast<wchar_t>(0xFFFF));
    EXPECT_LT(TaskHostLine::Join({L"status", L"13", text}).size(), TaskHostLine::kLongest);
}

TEST(TaskHostLineTest, ANumberIsAllOfAWord)
{
    for (const std::int64_t number :
         {std::int64_t{0}, std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()})
        EXPECT_EQ(TaskHostLine::NumberOf(TaskHostLine::TextOf(number)), number);
    for (const wchar_t* word : {L"", L"-", L"1x", L" 1", L"+1", L"9223372036854775808", L"\u0661"})
        EXPECT_FALSE(TaskHostLine::NumberOf(word));
}

} // namespace
