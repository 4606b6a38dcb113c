#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TextTables.h"

#include "CommonTexts.h"
#include "RegsvrTexts.h"
#include "ServerTexts.h"
#include "ToolTexts.h"

namespace {

constexpr const wchar_t* kGerman = L"de_DE.UTF-8";
constexpr const wchar_t* kFrench = L"fr_FR.UTF-8";

platform::SProcessOptions Speaking(const wchar_t* lang, const wchar_t* language = L"")
{
    platform::SProcessOptions options;
    options.environment = LocaleVariables(lang, language);
    return options;
}

/// The programs in the user's language. Whether the machine has the locale does not matter.
class ProgramLanguageTest : public CProgramTest {
protected:
    [[nodiscard]] SProgramResult ZelIn(const wchar_t* lang, std::vector<std::wstring> arguments,
                                       const wchar_t* language = L"") const
    {
        const std::vector<std::wstring> directories = DirectoryArguments();
        arguments.insert(arguments.end(), directories.begin(), directories.end());
        return RunProgram(L"zel", arguments, Speaking(lang, language));
    }
};

TEST_F(ProgramLanguageTest, StatusesAreInTheUsersLanguage)
{
    EXPECT_EQ(ZelIn(kGerman, {L"status", L"a.drq"}).output,
              "a.drq: Nicht angefordert: Der Server kennt keinen Auftrag mit diesem Namen.\n");
    EXPECT_EQ(ZelIn(kFrench, {L"status", L"a.drq"}).output,
              "a.drq: Non demand\u00e9e\u00a0: le serveur ne conna\u00eet aucune requ\u00eate de ce nom.\n");
    EXPECT_EQ(ZelIn(L"en_GB.UTF-8", {L"status", L"a.drq"}).output,
              "a.drq: Not requested: the server knows of no request with this name.\n");
    Write(InRequests(L"a.drq"), "");
    const std::string list = ZelIn(kGerman, {L"list"}).output;
    EXPECT_TRUE(list.starts_with("Name   Status  Pos  Gr\u00f6\u00dfe  Alter  Seit ")) << list;
    EXPECT_TRUE(list.ends_with("  Wartet darauf, dass der Server den Auftrag annimmt.\n")) << list;
}

TEST_F(ProgramLanguageTest, LettersAreUtf8WhateverTheLocale)
{
    for (const wchar_t* const locale : {L"de_DE.ISO-8859-1", L"de"}) {
        const SProgramResult result = ZelIn(locale, {L"send", L"no-such.drq", L"missing/x.drq"});
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(result.errors.starts_with("zel: 'no-such.drq' kann nicht gelesen werden: ")) << result.errors;
        EXPECT_TRUE(ZelIn(locale, {L"--help"}).output.starts_with("Sendet Auftr\u00e4ge an einen Server"));
    }
}

TEST_F(ProgramLanguageTest, MistakesAreTold)
{
    const SProgramResult german = ZelIn(kGerman, {L"status", L".."});
    EXPECT_EQ(german.code, 2);
    EXPECT_EQ(german.errors, "zel: '..' ist kein Name eines Auftrags\nMehr dazu mit --help.\n");
    EXPECT_EQ(ZelIn(kGerman, {L"status", L"--bogus", L"a.drq"}).errors,
              "zel: nicht verstanden: --bogus\nMehr dazu mit --help.\n");
    EXPECT_EQ(ZelIn(kGerman, {L"wait", L"a.drq", L"--timeout", L"bald"}).errors,
              "zel: --timeout kann nicht bald sein: m\xC3\xB6glich ist eine Zahl ab 0\nMehr dazu mit --help.\n");
    const SProgramResult french = ZelIn(kFrench, {L"send", L"a.txt"});
    EXPECT_EQ(french.code, 2);
    EXPECT_EQ(
        french.errors,
        "zel: 'a.txt' ne peut pas \u00eatre le nom d'une requ\u00eate\u00a0: un serveur ne prend que les fichiers "
        "en .drq ou .xml\u00a0; --name donne un autre nom \u00e0 la requ\u00eate\n"
        "Pour en savoir plus, lancez la commande avec --help.\n");
}

TEST_F(ProgramLanguageTest, HelpHasNoEnglishLeft)
{
    for (const wchar_t* const command : {L"", L"send", L"status", L"wait", L"receive", L"list", L"cancel", L"pause",
                                         L"resume", L"listen", L"properties"}) {
        std::vector<std::wstring> arguments{L"--help"};
        if (*command != L'\0')
            arguments.insert(arguments.begin(), command);
        const SProgramResult german = ZelIn(kGerman, arguments);
        EXPECT_EQ(german.code, 0);
        for (const char* const word : {"Aufruf: zel", "OPTIONEN", "Optionen:", "Gemeinsame Optionen:", "Exit-Codes:",
                                       "Diese Hilfe ausgeben und enden"})
            EXPECT_TRUE(Contains(german.output, word)) << word << "\n" << german.output;
        for (const char* const word : {"Usage", "Options", "Positionals", "REQUIRED", "Subcommands", " the ", "Print"})
            EXPECT_FALSE(Contains(german.output, word)) << word << "\n" << german.output;
    }
    EXPECT_TRUE(Contains(ZelIn(kFrench, {L"--help"}).output, "Utilisation: zel [OPTIONS] [COMMANDE]"));
}

TEST_F(ProgramLanguageTest, WhatProgramsReadIsInNoLanguage)
{
    const SProgramResult result = ZelIn(kGerman, {L"status", L"a.drq", L"--json"});
    EXPECT_EQ(result.code, 0);
    const std::vector<nlohmann::json> objects = result.Objects();
    ASSERT_EQ(objects.size(), 1U);
    EXPECT_EQ(objects[0]["statusName"], "eRequestStatus_NotRequested");
    EXPECT_EQ(objects[0]["status"], 4);
    EXPECT_EQ(ZelIn(kGerman, {L"wait", L"a.drq", L"--quiet"}).code, 5);
}

TEST_F(ProgramLanguageTest, TheLanguageIsFoundAsOtherProgramsFindIt)
{
    const auto isGerman = [this](const wchar_t* lang, const wchar_t* language) {
        return Contains(ZelIn(lang, {L"status", L".."}, language).errors, "kein Name");
    };
    EXPECT_TRUE(isGerman(L"cs_CZ.UTF-8", L"cs:de:fr"));
    EXPECT_FALSE(isGerman(kGerman, L"en:de"));
    EXPECT_FALSE(isGerman(L"C", L"de"));
    EXPECT_FALSE(isGerman(L"cs_CZ.UTF-8", L""));
}

TEST_F(ProgramLanguageTest, CommentsAreInTheServersLanguage)
{
    CRunningProgram server = StartServer({}, Speaking(kGerman));
    const SProgramResult result = ZelIn(L"C", {L"send", MakeEcho(L"a.drq", L"x"), L"--wait"});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "a.drq: Done\n");
    StopServer(server);
}

TEST_F(ProgramLanguageTest, TheServerSpeaksIt)
{
    const SProgramResult help = RunProgram(L"zel-server", {L"--help"}, Speaking(kGerman));
    EXPECT_EQ(help.code, 0);
    EXPECT_TRUE(help.output.starts_with("Bedient Auftr\u00e4ge: ")) << help.output;
    for (const char* const word : {"Usage", "Options", "REQUIRED", " the ", "Print"})
        EXPECT_FALSE(Contains(help.output, word)) << word << "\n" << help.output;

    const SProgramResult same =
        RunProgram(L"zel-server", {L"--request-dir", m_strOutput, L"--output-dir", m_strOutput}, Speaking(kFrench));
    EXPECT_EQ(same.code, 1);
    const std::string output = platform::ToUtf8(m_strOutput);
    EXPECT_TRUE(Contains(same.errors, "le r\u00e9pertoire de requ\u00eates '" + output +
                                          "' et le r\u00e9pertoire de sortie '" + output +
                                          "' sont le m\u00eame r\u00e9pertoire\n"))
        << same.errors;
}

TEST_F(ProgramLanguageTest, TheRegistrarSpeaksIt)
{
    const SProgramResult help = RunProgram(L"zel-regsvr", {L"--help"}, Speaking(kGerman));
    EXPECT_EQ(help.code, 0);
    EXPECT_TRUE(help.output.starts_with("Registriert Plug-ins ")) << help.output;
    const SProgramResult mistake = RunProgram(L"zel-regsvr", {}, Speaking(kFrench));
    EXPECT_EQ(mistake.code, 2);
    EXPECT_TRUE(mistake.errors.starts_with("zel-regsvr: indiquez un module ou --list\n")) << mistake.errors;
}

TEST(ProgramTextsTest, LanguagesFitTogether)
{
    ExpectLanguagesFit(CommonTexts::kModule);
    ExpectLanguagesFit(ToolTexts::kModule);
    ExpectLanguagesFit(ServerTexts::kModule);
    ExpectLanguagesFit(RegsvrTexts::kModule);
}

} // namespace
