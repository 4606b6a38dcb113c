#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/apps/ProgramFixture.h"

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
    for (const char* word : {"send", "status", "wait", "receive", "list", "cancel", "pause", "resume", "listen",
                             "properties", "--json", "ZEL_REQUEST_DIR", "Exit codes", "7 --timeout ran out"})
        EXPECT_TRUE(Contains(result.output, word)) << word << "\n" << result.output;
}

TEST_F(ToolOptionsTest, EveryCommandHasHelpOfItsOwn)
{
    const std::vector<std::pair<std::wstring, std::string>> words = {
        {L"send", "--move"},       {L"status", "NAME"},       {L"wait", "--timeout"}, {L"receive", "TARGET"},
        {L"list", "--output-dir"}, {L"cancel", "NAME"},       {L"pause", "NAME"},     {L"resume", "NAME"},
        {L"listen", "--json"},     {L"properties", "--first"}};
    for (const auto& [command, word] : words) {
        const SProgramResult result = Zel({command, L"--help"});
        EXPECT_EQ(result.code, 0);
        EXPECT_TRUE(Contains(result.output, word)) << result.output;
        EXPECT_TRUE(Contains(result.output, "Exit codes")) << result.output;
    }
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
