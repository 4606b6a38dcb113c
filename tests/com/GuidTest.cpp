#include "com/Guid.h"

#include <gtest/gtest.h>

#include <map>
#include <unordered_set>

namespace {

constexpr GUID kGuid = {0x80D84198, 0x37D5, 0x4BB3, {0xB2, 0x54, 0x91, 0x46, 0x0E, 0x9F, 0x8F, 0xFC}};
const std::wstring kText = L"{80D84198-37D5-4BB3-B254-91460E9F8FFC}";

TEST(Guid, IsPrintedInUpperCaseAndBraces)
{
    EXPECT_EQ(GuidToText(kGuid), kText);
    EXPECT_EQ(GuidToText(GUID_NULL), L"{00000000-0000-0000-0000-000000000000}");
}

TEST(Guid, IsReadInEitherCase)
{
    GUID guid{};
    EXPECT_TRUE(GuidFromText(kText, guid));
    EXPECT_EQ(guid, kGuid);
    guid = GUID{};
    EXPECT_TRUE(GuidFromText(L"{80d84198-37d5-4bb3-b254-91460e9f8ffc}", guid));
    EXPECT_EQ(guid, kGuid);
}

TEST(Guid, EveryOtherFormIsRefusedAndLeavesTheNullId)
{
    for (const std::wstring& text :
         {std::wstring(), std::wstring(L"xyz"), kText.substr(1, 36), kText + L" ", L" " + kText, kText.substr(0, 37),
          kText.substr(1), std::wstring(L"{80D84198-37D5-4BB3-B254-91460E9F8FFG}"),
          std::wstring(L"{80D8419837D5-4BB3-B254-91460E9F8FFC--}"),
          std::wstring(L"(80D84198-37D5-4BB3-B254-91460E9F8FFC)"),
          std::wstring(L"{80D84198-37D5-4BB3-B254+91460E9F8FFC}"),
          std::wstring(L"{-0D84198-37D5-4BB3-B254-91460E9F8FFC}"),
          std::wstring(L"{80D84198 37D5 4BB3 B254 91460E9F8FFC}"),
          std::wstring(L"{80D84198-37D5-4BB3-B254-91460E9F8FF\0}", 38)}) {
        GUID guid = kGuid;
        EXPECT_FALSE(GuidFromText(text, guid)) << GuidToText(guid).size();
        EXPECT_EQ(guid, GUID_NULL);
    }
}

TEST(Guid, EveryCharacterOfTheTextCounts)
{
    for (std::size_t i = 0; i < kText.size(); ++i) {
        std::wstring text = kText;
        text[i] = L'g';
        GUID guid = kGuid;
        EXPECT_FALSE(GuidFromText(text, guid)) << i;
        text[i] = static_cast<wchar_t>(kText[i] + 0x100); // its low byte is the right character
        EXPECT_FALSE(GuidFromText(text, guid)) << i;
    }
}

TEST(Guid, NewOnesDifferAndSurviveTheText)
{
    std::unordered_set<GUID, SGuidHash> seen;
    for (int i = 0; i < 1000; ++i) {
        GUID guid{};
        ASSERT_EQ(CoCreateGuid(&guid), S_OK);
        EXPECT_TRUE(seen.insert(guid).second);
        GUID read{};
        ASSERT_TRUE(GuidFromText(GuidToText(guid), read));
        EXPECT_EQ(read, guid);
        EXPECT_EQ(guid.Data3 >> 12, 4) << "version 4";
    }
}

TEST(Guid, OrderIsThatOfTheText)
{
    std::map<GUID, int, SGuidLess> ordered;
    std::map<std::wstring, int> texts;
    for (int i = 0; i < 200; ++i) {
        GUID guid{};
        ASSERT_EQ(CoCreateGuid(&guid), S_OK);
        ordered[guid] = i;
        texts[GuidToText(guid)] = i;
    }
    ASSERT_EQ(ordered.size(), texts.size());
    auto text = texts.begin();
    for (const auto& [guid, number] : ordered)
        EXPECT_EQ((text++)->second, number);
}

} // namespace
