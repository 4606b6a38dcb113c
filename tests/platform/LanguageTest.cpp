#include "platform/Language.h"

#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using Names = std::vector<std::wstring>;

TEST(LanguageTest, TheFirstVariableThatIsSetCounts)
{
    const CScopedEnvironment none(LocaleVariables(L""));
    const CScopedEnvironment lang(L"LANG", L"fr_FR.UTF-8");
    EXPECT_EQ(PreferredLanguages(), Names{L"fr_FR.UTF-8"});
    const CScopedEnvironment messages(L"LC_MESSAGES", L"de_AT");
    EXPECT_EQ(PreferredLanguages(), Names{L"de_AT"});
    const CScopedEnvironment all(L"LC_ALL", L"cs_CZ");
    EXPECT_EQ(PreferredLanguages(), Names{L"cs_CZ"});
}

TEST(LanguageTest, TheListTakesThePlaceOfALocale)
{
    const CScopedEnvironment environment(LocaleVariables(L"cs_CZ.UTF-8", L":sk::de:"));
    EXPECT_EQ(PreferredLanguages(), (Names{L"sk", L"de"}));
    const CScopedEnvironment nothing(L"LANGUAGE", L":");
    EXPECT_EQ(PreferredLanguages(), Names{L"cs_CZ.UTF-8"});
}

TEST(LanguageTest, NothingTakesThePlaceOfTheLocalesWithoutALanguage)
{
    for (const wchar_t* const locale : {L"C", L"POSIX"}) {
        const CScopedEnvironment environment(LocaleVariables(locale, L"de"));
        EXPECT_EQ(PreferredLanguages(), Names{locale});
    }
    const CScopedEnvironment environment(LocaleVariables(L"C.UTF-8", L"de"));
    EXPECT_EQ(PreferredLanguages(), Names{L"de"});
}

TEST(LanguageTest, WithoutVariablesTheDesktopIsAsked)
{
    const CScopedEnvironment environment(LocaleVariables(L""));
    const Names languages = PreferredLanguages();
    EXPECT_EQ(languages.empty(), std::wstring(ModuleExtension()) != L".dll"); // only Windows has one without variables
    for (const std::wstring& language : languages) {
        EXPECT_GE(language.size(), 2U);
        EXPECT_EQ(language.find(L'\0'), std::wstring::npos);
    }
    const CScopedEnvironment list(L"LANGUAGE", L"de");
    EXPECT_EQ(PreferredLanguages(), languages.empty() ? Names() : Names{L"de"});
}

} // namespace
} // namespace platform
