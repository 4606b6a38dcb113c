#include "framework/archive/XMLName.h"

#include <gtest/gtest.h>

namespace {

std::wstring Wide(std::wstring_view text, std::uint32_t mode)
{
    return CWQ_XMLName(text, mode).GetText();
}

std::wstring Narrow(std::string_view text, std::uint32_t mode)
{
    return CWQ_XMLName(text, mode).GetText();
}

} // namespace

TEST(XMLName, TheTwoExamples)
{
    EXPECT_EQ(Wide(L"1 a", 0), L"XE.31.20a");
    EXPECT_EQ(Narrow("1 a", 0), L"XE.31.20a");
    EXPECT_EQ(Wide(L"a.b", 1), L"a.2eb");
    EXPECT_EQ(Narrow("a.b", 1), L"a.2eb");
}

TEST(XMLName, AnEmptyTextGivesAnEmptyName)
{
    for (const std::uint32_t mode : {0U, 1U, 2U, 3U}) {
        EXPECT_EQ(Wide(L"", mode), L"");
        EXPECT_EQ(Narrow("", mode), L"");
    }
}

TEST(XMLName, ModeZeroTakesLettersUnderscoreAndLaterDigits)
{
    EXPECT_EQ(Wide(L"azAZ_09", 0), L"azAZ_09");
    EXPECT_EQ(Wide(L"_", 0), L"_");
    EXPECT_EQ(Wide(L"a-b:c", 0), L"a.2db.3ac");
    EXPECT_EQ(Wide(L"@[`{/:", 0), L"XE.40.5b.60.7b.2f.3a"); // the neighbours of the valid ones
}

TEST(XMLName, OtherModesTakeWhatIsPrintableButTheDot)
{
    EXPECT_EQ(Wide(L"!1-<", 1), L"!1-<");
    EXPECT_EQ(Wide(L" a\x1F", 1), L"XE.20a.1f");
    EXPECT_EQ(Wide(L".a", 1), L"XE.2ea");
    EXPECT_EQ(Wide(L"a.b c", 7), L"a.2eb.20c");
    EXPECT_EQ(Wide(L"a.b c", 0xFFFFFFFFU), L"a.2eb.20c");
}

TEST(XMLName, ModeTwoTakesEverything)
{
    EXPECT_EQ(Wide(L"1 .\u00e4\U0001F600", 2), L"1 .\u00e4\U0001F600");
    EXPECT_EQ(Narrow("1 .", 2), L"1 .");
}

TEST(XMLName, BytesAbove127CountAsControlCharacters)
{
    EXPECT_EQ(Narrow("a\xC3\xA4", 1), L"a.c3.a4");
    EXPECT_EQ(Narrow("\x80", 1), L"XE.80");
    EXPECT_EQ(Narrow("\x7F", 1), L"\x7F");
}

TEST(XMLName, WideCharactersAreSignedUnitsOnEverySystem)
{
    EXPECT_EQ(Wide(L"\u00e4", 1), L"\u00e4");
    EXPECT_EQ(Wide(L"\u00e4", 0), L"XE.e4");
    EXPECT_EQ(Wide(L"\u7FFF", 1), L"\u7FFF");
    EXPECT_EQ(Wide(L"\u8001", 1), L"XE.01");
    EXPECT_EQ(Wide(L"a\U0001F600", 1), L"a.3d.00"); // two units
}

TEST(XMLName, TheLengthFollowsFromTheInvalidCharacters)
{
    const std::wstring text = L"9 lives. And more";
    std::size_t invalid = 0;
    for (const wchar_t character : text)
        invalid += character == L' ' || character == L'.' ? 1U : 0U;
    EXPECT_EQ(Wide(text, 1).size(), text.size() + 2 * invalid);
    EXPECT_EQ(Wide(text, 0).size(), text.size() + 2 * (invalid + 1) + 2);
}

TEST(XMLName, KeepsItsMode)
{
    EXPECT_EQ(CWQ_XMLName(L"a", 7).GetMode(), 7U);
}
