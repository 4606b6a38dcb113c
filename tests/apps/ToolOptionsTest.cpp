#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>

namespace {

class ToolOptionsTest : public CProgramTest {
protected:
    void ExpectUsageError(const std::vector<std::wstring>& arguments, const std::string& text) const
    {
        const SProgramResult result = Zel(arguments);
        EXPECT_EQ(result.code, 2) << result.errors;
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(result.errors.starts_with("zel: ")) << result.errors;
        EXPECT_TRUE(Contains(result.errors, text)) << result.errors;
        EXPECT_TRUE(Contains(result.errors, "--help")) << result.errors;
    }
};

TEST_F(ToolOptionsTest, HelpTellsCommandsAndExitCodes)
{
    const SProgramResult result = Zel({L"--help"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    for (const char* word : {"send", "status", "wait", "receive", "forget", "list", "cancel", "pause", "resume",
                             "listen", "properties", "--json", "ZEL_REQUEST_DIR", "Exit codes", "7 --timeout ran out"})
        EXPECT_TRUE(Contains(result.output, word)) << word << "\n" << result.output;
}

TEST_F(ToolOptionsTest, EveryCommandHasHelpOfItsOwn)
{
    const std::vector<std::pair<std::wstring, std::string>> words = {
        {L"send", "--move"},       {L"status", "NAME"},       {L"wait", "--timeout"},    {L"receive", "TARGET"},
        {L"forget", "--finished"}, {L"list", "--output-dir"}, {L"cancel", "NAME"},       {L"pause", "NAME"},
        {L"resume", "NAME"},       {L"listen", "--json"},     {L"properties", "--first"}};
    for (const auto& [command, word] : words) {
        const SProgramResult result = Zel({command, L"--help"});
        EXPECT_EQ(result.code, 0);
        EXPECT_TRUE(Contains(result.output, word)) << result.output;
        EXPECT_TRUE(Contains(result.output, "Exit codes")) << result.output;
    }
}

TEST_F(ToolOptionsTest, HelpIsACommandToo)
{
    const SProgramResult all = Zel({L"help"});
    EXPECT_EQ(all.code, 0);
    EXPECT_EQ(all.output, Zel({L"--help"}).output);
    const SProgramResult one = Zel({L"help", L"wait"});
    EXPECT_EQ(one.code, 0);
    EXPECT_EQ(one.output, Zel({L"wait", L"--help"}).output);
    ExpectUsageError({L"help", L"wiat"}, "not understood: wiat; did you mean wait?\n");
}

TEST_F(ToolOptionsTest, AMisspeltWordIsToldBeforeWhatIsMissing)
{
    ExpectUsageError({L"sned", L"a.drq"}, "zel: not understood: sned; did you mean send?\n");
    ExpectUsageError({L"receive", L"a.drq", L"--otput-dir=x"},
                     "not understood: --otput-dir; did you mean --output-dir?\n");
    ExpectUsageError({L"wait", L"--tiemout"}, "not understood: --tiemout; did you mean --timeout?\n");
    ExpectUsageError({L"wait", L"--bogus"}, "not understood: --bogus\n");
}

TEST_F(ToolOptionsTest, VersionIsOneLine)
{
    const SProgramResult result = Zel({L"--version"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, "zel " ZEL_VERSION "\n");
}

TEST_F(ToolOptionsTest, MistakesEndWithCode2)
{
    ExpectUsageError({}, "command is required");
    ExpectUsageError({L"frobnicate"}, "frobnicate");
    ExpectUsageError({L"list", L"--poll", L"soon"}, "--poll");
    ExpectUsageError({L"list", L"--poll", L"3600001"}, "--poll");
    ExpectUsageError({L"status"}, "NAME");
    ExpectUsageError({L"status", L"a.drq", L"--bogus"}, "--bogus");
    ExpectUsageError({L"receive", L"a.drq"}, "TARGET");
    ExpectUsageError({L"cancel"}, "NAME");
    ExpectUsageError({L"pause", L".."}, "'..'");
    ExpectUsageError({L"properties", L"box", L"size"}, "--first");
    ExpectUsageError({L"listen", L"a.drq"}, "a.drq");
    ExpectUsageError({L"wait", L"a.drq", L"--timeout", L"-1"}, "--timeout");
    ExpectUsageError({L"wait", L"a.drq", L"--timeout", L"soon"}, "--timeout");
    ExpectUsageError({L"status", L".."}, "'..'");
    ExpectUsageError({L"status", L"folder/"}, "name of a request");
}

TEST_F(ToolOptionsTest, EveryMistakeInEveryCommandIsOneSentenceAndOneHint)
{
    const std::vector<std::vector<std::wstring>> mistakes = {
        {L"send"},
        {L"send", L"a.drq", L"--name"},
        {L"send", L"a.txt"},
        {L"send", L"a.drq", L"--timeout", L"x"},
        {L"send", L"a.drq", L"b.drq", L"-o", L"-"},
        {L"status"},
        {L"status", L""},
        {L"wait"},
        {L"wait", L"a.drq", L"--timeout"},
        {L"wait", L"a.drq", L"--wait"},
        {L"receive"},
        {L"receive", L"a.drq"},
        {L"receive", L"a.drq", L"b.drq", L"-"},
        {L"receive", L"..", L"target"},
        {L"forget"},
        {L"forget", L"a.drq", L"--finished"},
        {L"forget", L"--finsihed"},
        {L"list", L"a.drq"},
        {L"list", L"--sort"},
        {L"list", L"--sort", L"colour"},
        {L"cancel"},
        {L"cancel", L"."},
        {L"pause"},
        {L"pause", L"a.drq", L"--bogus"},
        {L"resume"},
        {L"resume", L"a.drq", L"--json=maybe"},
        {L"listen", L"a.drq"},
        {L"properties"},
        {L"properties", L"box"},
        {L"properties", L"box", L"size", L"--id", L"x"},
        {L"properties", L"box", L"size", L"--id", L"99999999999999999999"},
        {L"server", L"now"},
        {L"server", L"--bogus"},
        {L"server", L"--timeout", L"1"},
        {L"new-plugin"},
        {L"new-plugin", L""},
        {L"new-plugin", L"1st"},
        {L"new-plugin", L"a", L"b"},
        {L"new-plugin", L"a", L"--json"},
        {L"run-task"},
        {L"run-task", L"a.so"},
        {L"run-task", L"", L"a.drq"},
        {L"run-task", L"a.so", L""},
        {L"run-task", L"a.so", L"a.drq", L"b.drq"},
        {L"run-task", L"a.so", L"a.drq", L"--repeat", L"x"},
        {L"run-task", L"a.so", L"a.drq", L"-o"},
        {L""},
        {L"help", L"colour"},
        {L"help", L"send", L"list"},
        {L"list", L"--server-timeout", L"-1"},
        {L"list", L"--request-dir"},
        {L"list", L"--request-dir", L""},
        {L"list", L"--output-dir="},
        {L"--output-dir=", L"list"},
        {L"send", L"--name=", L"a.drq", L"b.drq"},
        {L"list", L"--client-dir", L""},
        {L"list", L"--server-timeout", L"nan"},
        {L"list", L"--server-timeout", L"inf"},
        {L"list", L"--json=5"},
        {L"list", L"--version=1"},
        {L"send", L""},
        {L"send", L"a.drq", L"--name", L""},
        {L"send", L"a.drq", L"--output", L""},
        {L"send", L"a.drq", L"--unique=no"},
        {L"wait", L"a.drq", L"--timeout", L"NaN"},
        {L"receive", L"a.drq", L""},
        {L"properties", L"", L"size", L"--first"},
        {L"properties", L"box", L"", L"--first"},
        {L"properties", L"box", L"size", L"--name", L""},
        {L"run-task", L"a.so", L"a.drq", L"-o", L""},
        {L"help", L""},
    };
    for (const std::vector<std::wstring>& arguments : mistakes) {
        const SProgramResult result = Zel(arguments);
        const std::string shown = testing::PrintToString(arguments) + "\n" + result.errors;
        EXPECT_EQ(result.code, 2) << shown;
        EXPECT_EQ(result.output, "") << shown;
        EXPECT_TRUE(result.errors.starts_with("zel: ")) << shown;
        EXPECT_TRUE(result.errors.ends_with("\nRun with --help for more information.\n")) << shown;
        EXPECT_EQ(std::ranges::count(result.errors, '\n'), 2) << shown;
    }
}

TEST_F(ToolOptionsTest, AMistakeThatTheSystemFindsHasTheHintToo)
{
    const std::vector<std::pair<std::vector<std::wstring>, std::string>> mistakes = {
        {{L"send", InHome(L"none.drq")}, "none.drq' cannot be read: "},
        {{L"send", MakeEcho(L"a.drq", L"x"), L"-o", InHome(L"none/x")}, "x' cannot be created: "},
        {{L"new-plugin", InHome(L"none/word-count")}, "word-count' cannot be written: "},
        {{L"new-plugin", m_strHome + L"/../" + platform::FileNameOf(m_strHome)}, "' cannot be written: "},
        {{L"run-task", InHome(L"none.so"), L"a.drq"}, "none.so does not exist"},
        {{L"list", L"--client-dir", InHome(L"none")}, "none' does not exist"},
    };
    for (const auto& [arguments, words] : mistakes) {
        const SProgramResult result = Zel(arguments);
        EXPECT_EQ(result.code, 1) << result.errors;
        EXPECT_TRUE(Contains(result.errors, words)) << result.errors;
        EXPECT_TRUE(result.errors.ends_with("\nRun with --help for more information.\n")) << result.errors;
        EXPECT_EQ(std::ranges::count(result.errors, '\n'), 2) << result.errors;
    }
}

TEST_F(ToolOptionsTest, WhatIsAllowedIsTold)
{
    ExpectUsageError({L"wait", L"a.drq", L"--timeout", L"abc"},
                     "--timeout cannot be abc: it takes a number from 0 on\n");
    ExpectUsageError({L"list", L"--poll", L"-1"}, "--poll cannot be -1: it takes a number from 0 to 3600000\n");
    ExpectUsageError({L"list", L"--sort", L"colour"},
                     "--sort cannot be colour: it takes one of name, status, position, age, size, owner\n");
    ExpectUsageError({L"wait", L"a.drq", L"--timeout", L"nan"},
                     "--timeout cannot be nan: it takes a number from 0 on\n");
    ExpectUsageError({L"send", L"a.drq", L"--name", L""}, "--name needs a value\n");
    ExpectUsageError({L"list", L"--json=5"}, "--json takes no value\n");
    ExpectUsageError({L"forget", L"a.drq", L"--finished"}, "NAME cannot be used together with --finished\n");
}

TEST_F(ToolOptionsTest, ControlCharactersOfANameDoNotReachTheTerminal)
{
    const std::wstring name = L"a\x1b[31m\nb";
    const std::vector<std::vector<std::wstring>> commands = {{L"send", name},
                                                             {L"send", L"a.drq", L"--name", name},
                                                             {L"new-plugin", name},
                                                             {name},
                                                             {L"list", name},
                                                             {L"list", L"--" + name},
                                                             {L"list", L"--sort", name},
                                                             {L"list", L"--client-dir", InHome(name)},
                                                             {L"run-task", name, name},
                                                             {L"receive", name, InHome(L"x")}};
    for (const std::vector<std::wstring>& arguments : commands) {
        const SProgramResult result = Zel(arguments);
        const std::string shown = testing::PrintToString(arguments) + "\n" + result.errors + result.output;
        EXPECT_NE(result.code, 0) << shown;
        EXPECT_FALSE(Contains(result.errors + result.output, "\x1b")) << shown;
        EXPECT_FALSE(Contains(result.errors + result.output, "\nb")) << shown;
    }
    ExpectUsageError({L"send", name}, "'a\\x1b[31m\\x0ab' cannot be the name of a request");
    ExpectUsageError({name}, "not understood: \"a\\x1b[31m\\x0ab\"\n");
}

TEST_F(ToolOptionsTest, DirectoriesMustBeGiven)
{
    platform::SProcessOptions nothing;
    nothing.environment = {{L"ZEL_REQUEST_DIR", L""}, {L"ZEL_OUTPUT_DIR", L""}};
    const SProgramResult noRequests = RunProgram(L"zel", {L"list", L"--output-dir", m_strOutput}, nothing);
    EXPECT_EQ(noRequests.code, 2);
    EXPECT_TRUE(Contains(noRequests.errors, "ZEL_REQUEST_DIR")) << noRequests.errors;
    const SProgramResult noOutput = RunProgram(L"zel", {L"list", L"--request-dir", m_strRequests}, nothing);
    EXPECT_EQ(noOutput.code, 2);
    EXPECT_TRUE(Contains(noOutput.errors, "ZEL_OUTPUT_DIR")) << noOutput.errors;
}

TEST_F(ToolOptionsTest, DirectoriesThatAreNotThereEndWithCode1AndAreNamed)
{
    const std::wstring missing = m_root / L"missing";
    for (const wchar_t* option : {L"--request-dir", L"--output-dir", L"--client-dir"}) {
        const SProgramResult result = Zel({L"list", option, missing});
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, "missing' does not exist")) << result.errors;
        const SProgramResult file = Zel({L"list", option, MakeEcho(L"a.drq", L"x")});
        EXPECT_EQ(file.code, 1);
        EXPECT_TRUE(Contains(file.errors, "a.drq' is not a directory\n")) << file.errors;
    }
}

TEST_F(ToolOptionsTest, OptionsAreTakenBeforeAndAfterTheCommandAndWinOverTheEnvironment)
{
    const std::wstring other = m_root / L"other";
    ASSERT_EQ(platform::Files().MakeDirectory(other), platform::eOsError_None);
    Write(platform::JoinPath(other, L"a.drq"), "");
    for (const SProgramResult& result :
         {Zel({L"--request-dir", other, L"list", L"--json"}), Zel({L"--json", L"list", L"--request-dir", other}),
          Zel({L"list", L"--json", L"--request-dir", platform::JoinPath(other, L"")})}) {
        ASSERT_EQ(result.code, 0) << result.errors;
        ASSERT_EQ(result.Objects().size(), 1U);
        EXPECT_EQ(result.Objects()[0]["name"], "a.drq");
    }
}

} // namespace
