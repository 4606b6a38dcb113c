#include "server/PackedText.h"

#include <gtest/gtest.h>

TEST(PackedTextTest, AnyTextComesBackAsItWas)
{
    for (const std::wstring& text :
         {std::wstring(), std::wstring(L"request-1.drq"), std::wstring(L"\x7F"), std::wstring(L"\x80"),
          std::wstring(L"M\u00FCller.drq"), std::wstring(L"\xDCFF.drq"), std::wstring(L"\xD800x"),
          std::wstring(L"\U0001F600"), std::wstring(1, L'\0'), std::wstring(L"a\0b", 3)})
        EXPECT_EQ(PackedText::Unpack(PackedText::Pack(text)), text);
}

TEST(PackedTextTest, AnAsciiTextTakesAByteForEachCharacter)
{
    EXPECT_EQ(PackedText::Pack(L"request-1.drq"), "request-1.drq");
}
