#include "apps/zel-server/FileArguments.h"

#include "apps/zel-server/OptionsFile.h"
#include "apps/zel-server/ServerOptions.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

class FileArgumentsTest : public CProgramTest {
protected:
    FileArgumentsTest() { Write(m_strFile, ""); }

    /// The options of a file with this text and of the arguments beside it.
    [[nodiscard]] SServerOptions Parsed(const std::string& text, std::vector<std::wstring> arguments) const
    {
        Write(m_strFile, text);
        arguments.insert(arguments.end(), {L"--config", m_strFile});
        SServerOptions options;
        EXPECT_EQ(ParseServerOptions(arguments, options), std::nullopt) << text;
        return options;
    }
    /// What the program says of a file with this text, with the directories beside it.
    [[nodiscard]] SProgramResult Checked(const std::string& text, std::vector<std::wstring> arguments = {},
                                         const std::wstring& language = L"en") const
    {
        Write(m_strFile, text);
        const std::vector<std::wstring> directories = DirectoryArguments();
        arguments.insert(arguments.end(), directories.begin(), directories.end());
        arguments.insert(arguments.end(), {L"--config", m_strFile, L"--check-config"});
        platform::SProcessOptions options;
        options.environment = {{L"LC_ALL", L"en_US.UTF-8"}, {L"LANGUAGE", language}};
        return RunProgram(L"zel-server", arguments, options);
    }
    [[nodiscard]] std::string At(int line) const
    {
        return "'" + platform::ToUtf8(m_strFile) + "', line " + std::to_string(line) + ": ";
    }

    const std::wstring m_strFile = m_root / L"zel-server.conf";
};

TEST_F(FileArgumentsTest, AFileHasTheOptionsOfTheCommandLine)
{
    const SServerOptions options = Parsed("# A server.\r\n"
                                          "request-dir = requests\r\n"
                                          "output-dir = output\r\n"
                                          "patience = 0.25\r\n"
                                          "resume = true\r\n"
                                          "fair = false\r\n"
                                          "components = one\r\n"
                                          "components = two #2\r\n"
                                          "xml-limit = depth=30\r\n"
                                          "xml-limit = bytes=5000\r\n"
                                          "log-level = debug\r\n"
                                          "interrupted = fail\r\n"
                                          "max-queued = 0\r\n",
                                          {});
    EXPECT_EQ(options.requestDir, m_root / L"requests");
    EXPECT_EQ(options.outputDir, m_root / L"output");
    EXPECT_EQ(options.patience, std::chrono::milliseconds(250));
    EXPECT_TRUE(options.resume);
    EXPECT_FALSE(options.fair);
    EXPECT_EQ(options.componentFolders, (std::vector<std::wstring>{m_root / L"one", m_root / L"two"}));
    EXPECT_EQ(options.xmlLimits.depth, 30U);
    EXPECT_EQ(options.xmlLimits.bytes, 5000U);
    EXPECT_EQ(options.logLevel, Brel::Log::eLogLevel_Debug);
    EXPECT_EQ(options.interrupted, eInterrupted_Fail);
    EXPECT_EQ(options.maxQueued, 0U);
    EXPECT_EQ(options.configFile, m_strFile);
}

TEST_F(FileArgumentsTest, WhatTheCommandLineNamesCountsFromThereAlone)
{
    const SServerOptions options =
        Parsed("request-dir = a\noutput-dir = b\nkeep = 7\nmax-queued = 5\n"
               "components = of-the-file\nxml-limit = depth=30\n",
               {L"--output-dir", m_strOutput, L"--keep=9", L"--components", m_strHome, L"--xml-limit", L"bytes=5000"});
    EXPECT_EQ(options.outputDir, m_strOutput);
    EXPECT_EQ(options.keepDays, 9U);
    EXPECT_EQ(options.componentFolders, std::vector<std::wstring>{m_strHome});
    EXPECT_EQ(options.xmlLimits.bytes, 5000U);
    EXPECT_EQ(options.xmlLimits.depth, SXmlLimits().depth);
    EXPECT_EQ(options.requestDir, m_root / L"a");
    EXPECT_EQ(options.maxQueued, 5U);
}

TEST_F(FileArgumentsTest, AbsolutePathsStayAndRelativeOnesAreOfTheFilesFolder)
{
    const SServerOptions options =
        Parsed("request-dir = " + platform::ToUtf8(m_strRequests) + "\noutput-dir = deep/er\nlog-file = \" a\"\n", {});
    EXPECT_EQ(options.requestDir, m_strRequests);
    EXPECT_EQ(platform::DirectoryOf(platform::DirectoryOf(options.outputDir)), platform::DirectoryOf(m_strFile));
    EXPECT_EQ(options.logFile, m_root / L" a");
}

TEST_F(FileArgumentsTest, AFileThatIsRightIsSaidToBeAndNothingIsDone)
{
    const SProgramResult result = Checked("create-dirs = true\nlog-file = logs/none/server.log\n");
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output,
              "zel-server: the options of '" + platform::ToUtf8(m_strFile) + "' and of the command line are good\n");
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    EXPECT_EQ(ServerResult({L"--check-config"}).code, 2) << "of no file";
}

TEST_F(FileArgumentsTest, AMistakeIsToldWithFileLineAndReason)
{
    const std::pair<const char*, const char*> mistakes[] = {
        {"patiense = 1", "not understood: patiense; did you mean patience?"},
        {"--resume = true", "not understood: --resume; did you mean resume?"},
        {"h = true", "not understood: h"},
        {"patience = soon", "--patience: must be a number from 0 to"},
        {"poll = -4", "--poll cannot be -4: it takes a number from 0 to 3600000"},
        {"log-level = loud", "'loud' is none of trace, debug"},
        {"xml-limit = depth=3000", "depth must be a whole number from 1 to 2000"},
        {"keep =", "keep needs a value"},
        {"keep = \"\"", "keep needs a value"},
        {"resume = yes", "resume is true or false, it cannot be yes"},
        {"resume = false", "resume is given more than once"},
        {"resume", "the line is no option: name = value"},
        {"log-file = \"a", "the value must end with the second quotation mark"},
        {"log-file = \xE4", "the line is not UTF-8"},
        {"log-file = a\x01", "the line has a control character"},
        {"log-size = 3", "--log-size needs --log-file"},
        {"log-file = output/server.log", "whose files are deleted at each start"},
    };
    for (const auto& [line, reason] : mistakes) {
        const SProgramResult result = Checked("# one\nresume = true\n" + std::string(line) + "\n");
        EXPECT_EQ(result.code, 2) << line;
        EXPECT_EQ(result.output, "") << line;
        EXPECT_TRUE(Contains(result.errors, "zel-server: " + At(3))) << line << "\n" << result.errors;
        EXPECT_TRUE(Contains(result.errors, reason)) << line << "\n" << result.errors;
    }
}

TEST_F(FileArgumentsTest, WhatIsDoneOnceIsForTheCommandLineAlone)
{
    for (const char* const name :
         {"config", "check", "check-config", "help", "version", "json", "service", "service-name"}) {
        const SProgramResult result = Checked(std::string(name) + " = true\n");
        EXPECT_EQ(result.code, 2) << name;
        EXPECT_TRUE(Contains(result.errors, At(1) + name + " is for the command line alone")) << result.errors;
    }
}

TEST_F(FileArgumentsTest, AMistakeInAnOptionThatTheCommandLineNamesIsToldAllTheSame)
{
    EXPECT_EQ(Checked("keep = 1\n", {L"--keep=9"}).code, 0);
    EXPECT_EQ(Checked("keep = soon\n", {L"--keep=9"}).code, 2);
    // Where an option comes from the command line, its mistake is not the file's.
    const SProgramResult result = Checked("log-size = 3\n", {L"--log-size=4"});
    EXPECT_EQ(result.code, 2);
    EXPECT_TRUE(Contains(result.errors, "zel-server: --log-size needs --log-file")) << result.errors;
}

TEST_F(FileArgumentsTest, WhatIsMissingInBothIsToldAsEver)
{
    Write(m_strFile, "request-dir = requests\n");
    const SProgramResult result = ServerResult({L"--config", m_strFile});
    EXPECT_EQ(result.code, 2);
    EXPECT_TRUE(Contains(result.errors, "zel-server: --output-dir is missing")) << result.errors;
}

TEST_F(FileArgumentsTest, AFileThatCanNotBeReadIsNamedWithTheReason)
{
    const std::pair<std::wstring, std::string> files[] = {
        {m_root / L"none.conf", "none.conf' cannot be read: "},
        {m_root / L"no" + platform::kPathSeparator + L"none.conf", "none.conf' cannot be read: "},
        {m_strHome, "is a directory, a pipe or a device"}};
    for (const auto& [file, reason] : files) {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--config", file});
        const SProgramResult result = ServerResult(arguments);
        EXPECT_EQ(result.code, 2) << reason;
        EXPECT_TRUE(Contains(result.errors, "zel-server: the file of options '" + platform::ToUtf8(file)))
            << result.errors;
        EXPECT_TRUE(Contains(result.errors, reason)) << result.errors;
    }
}

TEST_F(FileArgumentsTest, AFileAndALineHaveALimit)
{
    const std::string end = "keep = 7\n";
    std::string text;
    while (text.size() + OptionsFile::kLongestLine <= OptionsFile::kLargestFile)
        text += "#" + std::string(OptionsFile::kLongestLine - 2, 'x') + "\n";
    text.replace(text.size() - end.size(), end.size(), "\n" + end.substr(0, end.size() - 1));
    ASSERT_EQ(text.size(), OptionsFile::kLargestFile);
    EXPECT_EQ(Parsed(text, DirectoryArguments()).keepDays, 7U);
    const SProgramResult large = Checked(text + "\n");
    EXPECT_EQ(large.code, 2);
    EXPECT_TRUE(Contains(large.errors, "has more than 1048576 bytes")) << large.errors;
    const SProgramResult longLine = Checked("\nlog-file = " + std::string(OptionsFile::kLongestLine, 'x') + "\n");
    EXPECT_EQ(longLine.code, 2);
    EXPECT_TRUE(Contains(longLine.errors, At(2) + "the line has more than 65536 bytes")) << longLine.errors;
}

TEST_F(FileArgumentsTest, MistakesAreToldInTheUsersLanguage)
{
    EXPECT_TRUE(Contains(Checked("resume = x\n", {}, L"de").errors,
                         "zel-server.conf', Zeile 1: resume ist true oder false und kann nicht x sein"));
    EXPECT_TRUE(Contains(Checked("resume = x\n", {}, L"fr").errors,
                         "zel-server.conf', ligne 1 : resume vaut true ou false et ne peut pas être x"));
}

TEST_F(FileArgumentsTest, TheFileComesBeforeTheVariableOfAnOption)
{
    Write(m_strFile, "query-time-limit = 17\n");
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--check", L"--config", m_strFile});
    platform::SProcessOptions options;
    options.environment = {{L"ZEL_QUERY_TIME_LIMIT", L"23"}};
    const SProgramResult result = RunProgram(L"zel-server", arguments, options);
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_TRUE(Contains(result.output, "--query-time-limit 17 ")) << result.output;
}

TEST_F(FileArgumentsTest, AServiceIsStartedWithTheFileAndWhatWasNamedBesideIt)
{
    const std::wstring log = m_root / L"server.log";
    const SServerOptions options =
        Parsed("request-dir = requests\noutput-dir = output\nkeep = 7\nlog-file = server.log\n",
               {L"--service", L"install", L"--max-queued", L"5", L"--fair"});
    std::vector<std::wstring> arguments = ServiceArguments(options);
    SServerOptions started;
    ASSERT_EQ(ParseServerOptions(arguments, started), std::nullopt);
    EXPECT_EQ(started.service, eServiceAction_Run);
    EXPECT_TRUE(started.resume);
    EXPECT_TRUE(started.fair);
    EXPECT_EQ(started.maxQueued, 5U);
    EXPECT_EQ(started.keepDays, 7U);
    // What stands in the file is that of the start.
    Write(m_strFile, "request-dir = requests\noutput-dir = output\nlog-level = debug\nlog-file = server.log\n");
    started = {};
    ASSERT_EQ(ParseServerOptions(arguments, started), std::nullopt);
    EXPECT_EQ(started.keepDays, 0U);
    EXPECT_EQ(started.logLevel, Brel::Log::eLogLevel_Debug);
    EXPECT_EQ(started.logFile, log);
}

TEST_F(FileArgumentsTest, AServiceIsRemovedWithoutItsFile)
{
    SServerOptions options;
    EXPECT_EQ(ParseServerOptions({L"--service", L"remove", L"--config", m_root / L"none.conf"}, options), std::nullopt);
    EXPECT_EQ(options.service, eServiceAction_Remove);
}

} // namespace
