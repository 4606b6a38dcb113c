#pragma once

#include "framework/texts/TextTable.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// The placeholders of a text in their order: "%s", "%d", "%%".
[[nodiscard]] inline std::vector<std::wstring> PlaceholdersOf(const std::wstring& text)
{
    std::vector<std::wstring> found;
    for (std::size_t at = text.find(L'%'); at != std::wstring::npos && at + 1 < text.size();) {
        const std::size_t end = text.find_first_not_of(L"l", at + 1);
        found.push_back(text.substr(at, end == std::wstring::npos ? end : end + 1 - at));
        at = text.find(L'%', at + found.back().size());
    }
    return found;
}

/// What a text begins and ends with where another one is put beside it: blanks, line ends, a colon.
[[nodiscard]] inline std::pair<std::wstring, std::wstring> EdgesOf(const std::wstring& text)
{
    constexpr const wchar_t* kEdges = L" \n:";
    const std::size_t first = text.find_first_not_of(kEdges);
    const std::size_t last = text.find_last_not_of(kEdges);
    return first == std::wstring::npos ? std::pair(text, text)
                                       : std::pair(text.substr(0, first), text.substr(last + 1));
}

/// Every line of a resource that is no comment has become a text, none twice, none empty, none with a byte that is no
/// UTF-8.
inline void ExpectWellFormed(const STextResource& resource, const CTextTable& table)
{
    std::size_t lines = 0;
    for (std::size_t begin = 0; begin < resource.bytes.size();) {
        const std::size_t end = std::min(resource.bytes.find('\n', begin), resource.bytes.size());
        lines += end != begin && resource.bytes[begin] != '#' && resource.bytes[begin] != '\r' ? 1U : 0U;
        begin = end + 1;
    }
    EXPECT_EQ(lines, table.Entries().size());
    EXPECT_FALSE(platform::HasLoneSurrogates(platform::FromUtf8(resource.bytes)));
    for (const auto& [id, entry] : table.Entries())
        EXPECT_NE(entry.text.find_first_not_of(L" \t\n"), std::wstring::npos) << "empty text " << id;
}

/// The table has the texts of the English one, under the same code names, each with the same placeholders and edges.
inline void ExpectSameShape(const CTextTable& english, const CTextTable& table)
{
    for (const auto& [id, entry] : table.Entries())
        EXPECT_NE(english.FindEntry(id), nullptr) << "no English text " << id;
    for (const auto& [id, entry] : english.Entries()) {
        const STextEntry* const other = table.FindEntry(id);
        ASSERT_NE(other, nullptr) << "no text " << id << " " << entry.codeName;
        EXPECT_EQ(other->codeName, entry.codeName);
        EXPECT_EQ(PlaceholdersOf(other->text), PlaceholdersOf(entry.text))
            << id << " " << platform::ToUtf8(other->text);
        EXPECT_EQ(EdgesOf(other->text), EdgesOf(entry.text)) << id << " " << platform::ToUtf8(other->text);
    }
}

/// All languages of a module are complete and fit together.
inline void ExpectLanguagesFit(const STextModule& module)
{
    CTextTable::Register(module);
    EXPECT_EQ(CTextTable::Languages(module.name), (std::vector<std::string>{"de", "en", "fr"}));
    const CTextTable* const english = CTextTable::Find(module.name, CTextTable::kFallbackLanguage);
    ASSERT_NE(english, nullptr);
    EXPECT_FALSE(english->Entries().empty());
    for (const STextResource& resource : module.languages) {
        SCOPED_TRACE(std::string(module.name) + ", " + std::string(resource.language));
        const CTextTable table(resource.bytes);
        ExpectWellFormed(resource, table);
        ExpectSameShape(*english, table);
    }
}
