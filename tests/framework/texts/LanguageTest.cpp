#include "framework/Language.h"

#include "framework/Services.h"
#include "framework/texts/TextModule.h"
#include "platform/Text.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

namespace {

constexpr char kHalf[] = "1\tIDS_ONE\tone %s\n2\tIDS_TWO\ttwo\n";
constexpr char kHalfGerman[] = "1\tIDS_ONE\teins %s\n";
constexpr STextResource kHalfLanguages[] = {{"en", {kHalf, sizeof kHalf - 1}},
                                            {"de", {kHalfGerman, sizeof kHalfGerman - 1}}};
/// German, but not all of it, and no French.
constexpr STextModule kHalfModule{"LanguageTest", kHalfLanguages};
constexpr STextCode IDS_ONE{1, "IDS_ONE", &kHalfModule};
constexpr STextCode IDS_TWO{2, "IDS_TWO", &kHalfModule};
constexpr STextCode IDS_NONE{3, "IDS_NONE", &kHalfModule};

/// Gives the choice of the language back at the end; the environment of the tests says English.
class LanguageChoiceTest : public testing::Test {
protected:
    ~LanguageChoiceTest() override { WQ_SetLanguage(L""); }

    static std::wstring LanguageWith(const std::wstring& lang, const std::wstring& list = {})
    {
        const CScopedEnvironment environment(LocaleVariables(lang, list));
        WQ_SetLanguage(L"");
        return WQ_FindLanguage();
    }
    static std::wstring LanguageChosen(const std::wstring& language)
    {
        WQ_SetLanguage(language);
        return WQ_FindLanguage();
    }

    CRecordingHost m_host;
};

TEST_F(LanguageChoiceTest, TheEnvironmentChooses)
{
    EXPECT_EQ(LanguageWith(L"de_DE.UTF-8"), L"de");
    EXPECT_EQ(LanguageWith(L"fr_CA"), L"fr");
    EXPECT_EQ(LanguageWith(L"de-AT"), L"de");
    EXPECT_EQ(LanguageWith(L"DE_de@euro"), L"de");
    EXPECT_EQ(LanguageWith(L"en_US.UTF-8"), L"en");
    for (const wchar_t* const locale : {L"C", L"POSIX", L"C.UTF-8", L"cs_CZ.UTF-8", L"_", L"d", L"deu"})
        EXPECT_EQ(LanguageWith(locale), L"en") << platform::ToUtf8(locale);
}

TEST_F(LanguageChoiceTest, TheFirstOfTheListThatHasTextsCounts)
{
    EXPECT_EQ(LanguageWith(L"cs_CZ.UTF-8", L"sk:fr:de"), L"fr");
    EXPECT_EQ(LanguageWith(L"de_DE.UTF-8", L"en:fr"), L"en");
    EXPECT_EQ(LanguageWith(L"de_DE.UTF-8", L"sk:cs"), L"en");
}

TEST_F(LanguageChoiceTest, TheChoiceIsKept)
{
    EXPECT_EQ(LanguageWith(L"de_DE.UTF-8"), L"de"); // when this returns, the environment is back as it was
    EXPECT_EQ(WQ_FindLanguage(), L"de");
}

TEST_F(LanguageChoiceTest, TheHostsChoiceCountsMoreThanTheEnvironment)
{
    const CScopedEnvironment environment(LocaleVariables(L"fr_FR.UTF-8"));
    EXPECT_EQ(LanguageChosen(L"de"), L"de");
    EXPECT_EQ(LanguageChosen(L"de_CH.UTF-8"), L"de");
    EXPECT_EQ(LanguageChosen(L"cs"), L"en");
    EXPECT_EQ(LanguageChosen(L""), L"fr");
}

TEST_F(LanguageChoiceTest, TextsAreInTheLanguage)
{
    WQ_SetLanguage(L"de");
    EXPECT_EQ(RootApp_RSC_CStr(116, "IDS_DONE"), L"Erledigt.");
    WQ_SetLanguage(L"fr");
    EXPECT_EQ(RootApp_RSC_CStr(116, "IDS_DONE"), L"Termin\u00e9.");
    WQ_SetLanguage(L"en");
    EXPECT_EQ(RootApp_RSC_CStr(116, "IDS_DONE"), L"Done.");
}

TEST_F(LanguageChoiceTest, AModulesTextTakesItsArgumentsInItsLanguage)
{
    WQ_SetLanguage(L"de");
    EXPECT_EQ(WQ_ModuleText(IDS_ONE, {L"x"}), L"eins x");
    EXPECT_STREQ(CWQ_SetResource::Current(), "");
}

TEST_F(LanguageChoiceTest, AModuleWithoutTheLanguageSpeaksEnglish)
{
    WQ_SetLanguage(L"fr");
    EXPECT_EQ(WQ_ModuleText(IDS_ONE, {L"x"}), L"one x"); // and nothing is logged
    EXPECT_EQ(WQ_ModuleText(IDS_TWO), L"two");
}

TEST_F(LanguageChoiceTest, ATextThatALanguageLacksIsEnglishAndIsLoggedOnce)
{
    WQ_SetLanguage(L"de");
    EXPECT_EQ(WQ_ModuleText(IDS_TWO), L"two");
    EXPECT_EQ(WQ_ModuleText(IDS_TWO), L"two");
    m_host.ExpectLogLine(L"Text IDS_TWO (2) is missing in the language 'de'.");
    EXPECT_TRUE(m_host.TakeLogLines().empty());
}

TEST_F(LanguageChoiceTest, ATextThatAllLanguagesLackNamesItselfAndIsLoggedOnce)
{
    WQ_SetLanguage(L"de");
    EXPECT_EQ(WQ_ModuleText(IDS_NONE), L"Text IDS_NONE (3) is missing.");
    EXPECT_EQ(WQ_ModuleText(IDS_NONE), L"Text IDS_NONE (3) is missing.");
    const auto lines = m_host.TakeLogLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, Brel::Log::eLogLevel_Warning);
    EXPECT_EQ(lines[0].logger, "ZelProcessor");
    EXPECT_EQ(lines[0].text, L"Text IDS_NONE (3) is missing.");
}

} // namespace
