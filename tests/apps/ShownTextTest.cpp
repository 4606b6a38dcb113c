#include "apps/common/ShownText.h"

#include "ToolTexts.h"

#include <gtest/gtest.h>

TEST(ShownTextTest, NamesWithControlCharactersAreQuoted)
{
    EXPECT_EQ(ShownName(L"a \"b\".drq"), L"a \"b\".drq");
    EXPECT_EQ(ShownName(L"a\n\"b\\.drq"), L"\"a\\x0a\\\"b\\\\.drq\"");
    EXPECT_EQ(ShownName(L"\x1b[2J\x9b.drq"), L"\"\\x1b[2J\\x9b.drq\"");
    EXPECT_EQ(ShownName(L"a\u202eqrd.exe"), L"\"a\\x202eqrd.exe\"") << "or it reads as another one";
}

TEST(ShownTextTest, ATextShowsTheControlCharactersOfItsArgumentsAlone)
{
    EXPECT_EQ(ShownText(ToolTexts::IDS_NO_RESPONSE, {L"a \"b\\.drq"}),
              WQ_ModuleText(ToolTexts::IDS_NO_RESPONSE, {L"a \"b\\.drq"}));
    EXPECT_EQ(ShownText(ToolTexts::IDS_NO_RESPONSE, {L"a\\\n\x1b.drq"}),
              WQ_ModuleText(ToolTexts::IDS_NO_RESPONSE, {L"a\\\\\\x0a\\x1b.drq"}));
}

TEST(ShownTextTest, LinesAreKeptOrJoined)
{
    EXPECT_EQ(Printable(L"a\n\tb\x1b[2J\r\u00e4"), L"a\n\tb\\x1b[2J\\x0d\u00e4");
    EXPECT_EQ(OneLine(L"a\n\tb\x1b[2J\u00e4"), L"a  b [2J\u00e4");
}
