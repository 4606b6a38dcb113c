#include "platform/Text.h"

#include <gtest/gtest.h>

#include <random>

namespace platform {
namespace {

TEST(TextTest, Utf8OfEveryLength)
{
    EXPECT_EQ(ToUtf8(L"A\u00e9\u20ac\U0001F600"), "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(FromUtf8("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), L"A\u00e9\u20ac\U0001F600");
    EXPECT_EQ(ToUtf8(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(FromUtf8(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
    EXPECT_TRUE(ToUtf8(L"").empty());
}

TEST(TextTest, BoundariesOfUtf8AreKept)
{
    for (const char* bytes : {"\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
                              "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        const std::wstring text = FromUtf8(bytes);
        EXPECT_FALSE(HasLoneSurrogates(text)) << bytes;
        EXPECT_EQ(ToUtf8(text), bytes);
    }
}

TEST(TextTest, BytesThatAreNoUtf8BecomeLoneSurrogates)
{
    EXPECT_EQ(FromUtf8("a\xFF"), std::wstring({L'a', wchar_t{0xDCFF}}));
    EXPECT_EQ(FromUtf8("\x80"), std::wstring({wchar_t{0xDC80}}));
    EXPECT_EQ(FromUtf8("\xE2\x82"), std::wstring({wchar_t{0xDCE2}, wchar_t{0xDC82}})) << "cut off";
    EXPECT_EQ(FromUtf8("\xC0\xAF"), std::wstring({wchar_t{0xDCC0}, wchar_t{0xDCAF}})) << "overlong";
    EXPECT_EQ(FromUtf8("\xED\xA0\x80"), std::wstring({wchar_t{0xDCED}, wchar_t{0xDCA0}, wchar_t{0xDC80}}))
        << "surrogate";
    EXPECT_EQ(FromUtf8("\xF4\x90\x80\x80").size(), 4U) << "beyond Unicode";
    EXPECT_EQ(FromUtf8("\xC3x"), std::wstring({wchar_t{0xDCC3}, L'x'}))
        << "the byte after a bad one is read on its own";
}

TEST(TextTest, AnyBytesSurviveTheRoundTrip)
{
    std::mt19937 random(1);
    // Lead and continuation bytes are frequent, so that valid, cut and overlong sequences come about.
    constexpr unsigned char pool[] = {0x00, 'a',  0x7F, 0x80, 0x8F, 0x90, 0xA0, 0xBF,
                                      0xC0, 0xC2, 0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0xFF};
    for (int round = 0; round < 20'000; ++round) {
        std::string bytes;
        for (std::size_t length = random() % 12; bytes.size() < length;)
            bytes.push_back(static_cast<char>(pool[random() % sizeof pool]));
        ASSERT_EQ(ToUtf8(FromUtf8(bytes)), bytes);
    }
}

TEST(TextTest, OtherLoneSurrogatesAreReplaced)
{
    EXPECT_EQ(ToUtf8(std::wstring({wchar_t{0xD800}})), "\xEF\xBF\xBD");
    EXPECT_EQ(ToUtf8(std::wstring({wchar_t{0xDC7F}})), "\xEF\xBF\xBD");
    EXPECT_EQ(ToUtf8(std::wstring({wchar_t{0xDD00}, L'x'})), "\xEF\xBF\xBDx");
}

TEST(TextTest, PairsOfSurrogatesAreOneCharacterOnEveryTarget)
{
    const std::wstring pair({wchar_t{0xD83D}, wchar_t{0xDE00}});
    EXPECT_EQ(ToUtf8(pair), "\xF0\x9F\x98\x80");
    EXPECT_FALSE(HasLoneSurrogates(pair));
}

TEST(TextTest, LoneSurrogatesAreFound)
{
    EXPECT_FALSE(HasLoneSurrogates(L"plain \u20ac \U0001F600"));
    EXPECT_TRUE(HasLoneSurrogates(FromUtf8("a\xFF")));
    EXPECT_TRUE(HasLoneSurrogates(std::wstring({wchar_t{0xDC00}, wchar_t{0xD800}}))) << "the wrong way round";
}

TEST(TextTest, Utf16LeBytes)
{
    EXPECT_EQ(ToUtf16Le(L"A\u20ac\U0001F600"), std::string("A\0\xAC\x20\x3D\xD8\x00\xDE", 8));
    EXPECT_EQ(FromUtf16Le(std::string_view("A\0\xAC\x20\x3D\xD8\x00\xDE", 8)), L"A\u20ac\U0001F600");
    EXPECT_EQ(FromUtf16Le(std::string_view("A\0B", 3)), L"A") << "an odd byte is dropped";
    EXPECT_TRUE(FromUtf16Le("A").empty());
}

TEST(TextTest, Utf16LeKeepsLoneSurrogates)
{
    const std::string bytes("\x00\xD8\x41\x00\xFF\xDC\x00\xD8", 8);
    EXPECT_EQ(FromUtf16Le(bytes), std::wstring({wchar_t{0xD800}, L'A', wchar_t{0xDCFF}, wchar_t{0xD800}}));
    EXPECT_EQ(ToUtf16Le(FromUtf16Le(bytes)), bytes);
}

TEST(TextTest, WhatMovesTheCursorOrTurnsTheTextIsAControl)
{
    for (const wchar_t control :
         std::wstring(L"\0\n\x1b\x1f\x7f\x9f\u061c\u200e\u200f\u2028\u2029\u202a\u202e\u2066\u2069", 15))
        EXPECT_TRUE(IsControl(control)) << std::hex << static_cast<unsigned>(control);
    for (const wchar_t plain : std::wstring(L" ~\u00a0\u00e4\u061b\u200d\u2010\u2027\u202f\u2065\u206a\u4e2d"))
        EXPECT_FALSE(IsControl(plain)) << std::hex << static_cast<unsigned>(plain);
}

TEST(TextTest, ComparisonWithoutCaseGoesBeyondAscii)
{
    EXPECT_TRUE(EqualsNoCase(L"Request.XML", L"rEQUEST.xml"));
    EXPECT_TRUE(EqualsNoCase(L"\u00c4\u0416\u03a9", L"\u00e4\u0436\u03c9"));
    EXPECT_TRUE(EqualsNoCase(L"\u03c3", L"\u03c2")) << "both small sigmas";
    EXPECT_TRUE(EqualsNoCase(L"\u0100\u0101", L"\u0101\u0100"));
    EXPECT_FALSE(EqualsNoCase(L"\u0131", L"i")) << "a dotless i is another letter, in whatever locale";
    EXPECT_FALSE(EqualsNoCase(L"\u00df", L"ss")) << "simple folding keeps the number of characters";
    EXPECT_FALSE(EqualsNoCase(L"a", L"ab"));
    EXPECT_FALSE(EqualsNoCase(L"[", L"{"));
    EXPECT_TRUE(EqualsNoCase(L"", L""));
}

} // namespace
} // namespace platform
