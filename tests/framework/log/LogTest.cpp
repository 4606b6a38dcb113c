#include "framework/Log.h"

#include "framework/CrashReport.h"
#include "framework/DefaultHost.h"
#include "framework/LogOptions.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/framework/DigitsShape.h"
#include "tests/framework/ScratchFolder.h"
#include "tests/support/CallbackLogger.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

using namespace Brel::Log;
using testsupport::MakeCallbackLogger;
using testsupport::SLogLine;

/// The default log in a file of its own, and not on the screen.
class LogTest : public testing::Test {
protected:
    ~LogTest() override { EXPECT_TRUE(Configure({})); }

    bool Start(eLogLevel level = eLogLevel_Info, std::uint64_t maxFileSize = 0) const
    {
        SLogOptions options;
        options.maxFileSize = maxFileSize;
        options.level = level;
        options.console = false;
        options.file = m_folder.PathOf(m_strName);
        return Configure(options);
    }
    void Log(eLogLevel level, std::wstring_view text) const { Write(*m_pLogger, level, ZEL_SOURCE_LOCATION, text); }
    [[nodiscard]] std::string Content() const { return m_folder.Content(m_strName); }
    [[nodiscard]] std::vector<std::string> Lines() const
    {
        std::istringstream stream(Content());
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line);
        return lines;
    }

    CScratchFolder m_folder;
    std::wstring m_strName = L"server.log";
    CWQ_DefaultHost m_host;
    std::shared_ptr<Logger> m_pLogger = m_host.GetLogger("LogTest");
};

TEST_F(LogTest, ALineHasTimeLevelLoggerThreadTextAndPlace)
{
    ASSERT_TRUE(Start());
    Log(eLogLevel_Warning, L"something");
    EXPECT_EQ(DigitsShape(Content()), "#-#-#T#:#:#.#Z warning  [LogTest] [#] something (LogTest.cpp:#)\n");
    EXPECT_EQ(Content().find('Z'), std::string_view("2024-05-01T12:00:00.123").size());
}

TEST_F(LogTest, BracesAndPercentSignsAreText)
{
    ASSERT_TRUE(Start());
    Log(eLogLevel_Info, L"{} {0} {x} {{ %s %v %%");
    EXPECT_NE(Content().find(" {} {0} {x} {{ %s %v %% ("), std::string::npos) << Content();
}

TEST_F(LogTest, AnUnknownPlaceIsLeftOut)
{
    ASSERT_TRUE(Start());
    Write(*m_pLogger, eLogLevel_Info, {}, L"from nowhere");
    EXPECT_TRUE(Content().ends_with(" from nowhere\n")) << Content();
}

TEST_F(LogTest, OnlyTheNameOfTheSourceFileIsShown)
{
    ASSERT_TRUE(Start());
    Write(*m_pLogger, eLogLevel_Info, {"a/b/C.cpp", 5, "f"}, L"one");
    Write(*m_pLogger, eLogLevel_Info, {"a\\b\\D.cpp", 6, "f"}, L"two");
    EXPECT_NE(Content().find("one (C.cpp:5)\n"), std::string::npos);
    EXPECT_NE(Content().find("two (D.cpp:6)\n"), std::string::npos);
}

TEST_F(LogTest, LinesBelowTheLevelAreNotWritten)
{
    ASSERT_TRUE(Start(eLogLevel_Warning));
    EXPECT_FALSE(IsEnabled(*m_pLogger, eLogLevel_Info));
    EXPECT_TRUE(IsEnabled(*m_pLogger, eLogLevel_Warning));
    Log(eLogLevel_Info, L"hidden");
    Log(eLogLevel_Warning, L"shown");
    ASSERT_EQ(Lines().size(), 1U);
    EXPECT_NE(Lines()[0].find("shown"), std::string::npos);
}

TEST_F(LogTest, WhatIsWrittenAlwaysIsWrittenAtAnyLevel)
{
    ASSERT_TRUE(Start(eLogLevel_Critical));
    WriteAlways(*m_pLogger, eLogLevel_Info, ZEL_SOURCE_LOCATION, L"{} shown");
    EXPECT_EQ(DigitsShape(Content()), "#-#-#T#:#:#.#Z info     [LogTest] [#] {} shown (LogTest.cpp:#)\n");
}

TEST_F(LogTest, TheLevelIsThatOfExistingAndOfNewLoggers)
{
    ASSERT_TRUE(Start(eLogLevel_Trace));
    EXPECT_TRUE(IsEnabled(*m_pLogger, eLogLevel_Trace));
    EXPECT_TRUE(IsEnabled(*m_host.GetLogger("LogTest.MadeForTrace"), eLogLevel_Trace));
    ASSERT_TRUE(Start(eLogLevel_Critical));
    EXPECT_FALSE(IsEnabled(*m_pLogger, eLogLevel_Error));
    EXPECT_FALSE(IsEnabled(*m_host.GetLogger("LogTest.MadeForCritical"), eLogLevel_Error));
}

TEST_F(LogTest, FurtherLinesAndControlCharactersCannotPassForLinesOfTheLog)
{
    ASSERT_TRUE(Start());
    Log(eLogLevel_Info, L"one\r\ntwo\nthree\tx\x1b[31m\x7f\x9b\r.");
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(lines[0].ends_with(" one")) << lines[0];
    EXPECT_EQ(lines[1], "    | two");
    EXPECT_TRUE(lines[2].starts_with("    | three\tx\\x1B[31m\\x7F\\x9B\\x0D. (")) << lines[2];
}

TEST_F(LogTest, TextIsWrittenAsUtf8AndBytesThatAreNoneAreEscaped)
{
    ASSERT_TRUE(Start());
    Log(eLogLevel_Info, platform::FromUtf8("\xC4\x8D \xF0\x9F\x98\x80 \xFF."));
    EXPECT_NE(Content().find(" \xC4\x8D \xF0\x9F\x98\x80 \\xFF. ("), std::string::npos) << Content();
}

TEST_F(LogTest, AFileIsAppendedTo)
{
    ASSERT_TRUE(Start());
    Log(eLogLevel_Info, L"first");
    ASSERT_TRUE(Start());
    Log(eLogLevel_Info, L"second");
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].find("first"), std::string::npos);
    EXPECT_NE(lines[1].find("second"), std::string::npos);
}

TEST_F(LogTest, EveryLevelIsInTheFileWhenWriteReturns)
{
    ASSERT_TRUE(Start(eLogLevel_Trace));
    for (const eLogLevel level : {eLogLevel_Trace, eLogLevel_Debug, eLogLevel_Info, eLogLevel_Critical}) {
        const std::wstring text = L"level " + std::to_wstring(level);
        Log(level, text);
        EXPECT_NE(Content().find(platform::ToUtf8(text)), std::string::npos);
    }
}

TEST_F(LogTest, TheFileMayHaveAnyName)
{
    m_strName = L"z\u00e1znam \u010d\u00edslo 1.log";
    ASSERT_TRUE(Start());
    Log(eLogLevel_Info, L"here");
    EXPECT_EQ(m_folder.Names(), std::vector<std::wstring>{m_strName});
    EXPECT_EQ(Lines().size(), 1U);
}

TEST_F(LogTest, AFullFileIsSetAsideAndFiveOldOnesAreKept)
{
    ASSERT_TRUE(Start(eLogLevel_Info, 1000));
    const std::wstring filler(600, L'.'); // two lines are too much for one file
    for (int line = 0; line < 8; ++line)
        Log(eLogLevel_Info, L"line " + std::to_wstring(line) + filler);
    EXPECT_NE(Content().find("line 7"), std::string::npos);
    for (int old = 1; old <= 5; ++old)
        EXPECT_NE(m_folder.Content(m_strName + L"." + std::to_wstring(old)).find("line " + std::to_string(7 - old)),
                  std::string::npos)
            << old;
    EXPECT_EQ(m_folder.Names().size(), 6U);
}

TEST_F(LogTest, AFileFromBeforeCountsToTheSize)
{
    ASSERT_TRUE(Start());
    Log(eLogLevel_Info, std::wstring(900, L'.'));
    ASSERT_TRUE(Start(eLogLevel_Info, 1000));
    Log(eLogLevel_Info, L"new");
    EXPECT_EQ(Lines().size(), 1U);
    EXPECT_EQ(m_folder.Names().size(), 2U);
}

TEST_F(LogTest, ALineThatIsLongerThanAFileIsWhole)
{
    ASSERT_TRUE(Start(eLogLevel_Info, 100));
    Log(eLogLevel_Info, std::wstring(5000, L'.'));
    EXPECT_GT(Content().size(), 5000U);
    EXPECT_EQ(m_folder.Names().size(), 1U);
}

TEST_F(LogTest, AFileThatCannotBeSetAsideIsWrittenOn)
{
    // Folders in the places of the old files: nothing can be renamed to a folder that is not empty.
    for (int old = 1; old <= 5; ++old)
        std::filesystem::create_directories(
            testsupport::StandardPath(m_folder.PathOf(m_strName + L"." + std::to_wstring(old))) / "full");
    ASSERT_TRUE(Start(eLogLevel_Info, 1000));
    const std::wstring filler(600, L'.'); // two lines are too much for one file
    Log(eLogLevel_Info, L"first" + filler);
    Log(eLogLevel_Info, L"second" + filler);
    EXPECT_EQ(Lines().size(), 2U);

    ASSERT_GT(std::filesystem::remove_all(testsupport::StandardPath(m_folder.PathOf(m_strName + L".1"))), 0U);
    Log(eLogLevel_Info, L"short");
    EXPECT_EQ(Lines().size(), 3U) << "not tried again for each line";
    Log(eLogLevel_Info, L"third" + filler);
    EXPECT_EQ(Lines().size(), 1U) << "tried again when as much was added";
    EXPECT_NE(m_folder.Content(m_strName + L".1").find("second"), std::string::npos);
}

TEST_F(LogTest, AFileThatCannotBeOpenedIsNamedAndChangesNothing)
{
    ASSERT_TRUE(Start());
    SLogOptions options;
    options.level = eLogLevel_Critical;
    options.file = platform::JoinPath(m_folder.PathOf(L"no such folder"), L"server.log");
    std::wstring error;
    EXPECT_FALSE(Configure(options, &error));
    EXPECT_NE(error.find(options.file), std::wstring::npos);
    EXPECT_GT(error.size(), options.file.size() + 30);
    Log(eLogLevel_Info, L"still here");
    EXPECT_EQ(Lines().size(), 1U);
}

TEST_F(LogTest, LinesOfManyThreadsStayWhole)
{
    ASSERT_TRUE(Start());
    constexpr int kThreads = 8;
    constexpr int kLines = 200;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < kThreads; ++thread)
            threads.emplace_back([this, thread] {
                const std::wstring text(100, static_cast<wchar_t>(L'a' + thread));
                for (int line = 0; line < kLines; ++line)
                    Log(eLogLevel_Info, text);
            });
    }
    const auto lines = Lines();
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(kThreads) * kLines);
    for (const std::string& line : lines) {
        const std::string text(100, line.at(line.find(']', line.find(']') + 1) + 2));
        ASSERT_EQ(DigitsShape(line), "#-#-#T#:#:#.#Z info     [LogTest] [#] " + text + " (LogTest.cpp:#)");
    }
}

int WriteLinesAndWait(const std::vector<std::wstring>& arguments)
{
    SLogOptions options;
    options.level = eLogLevel_Trace;
    options.console = false;
    options.file = arguments.at(0);
    if (!Configure(options))
        return 1;
    Write(*Get("Child"), eLogLevel_Trace, {}, L"the last words");
    testsupport::TellParent(L"written");
    testsupport::WaitForParent();
    return 0;
}
const testsupport::CChildPart writeLinesAndWait(L"write-lines-and-wait", &WriteLinesAndWait);

TEST_F(LogTest, LinesOfAKilledProcessAreInTheFile)
{
    auto child = testsupport::StartChild(L"write-lines-and-wait", {m_folder.PathOf(m_strName)});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"written"));
    child.Kill();
    EXPECT_TRUE(Content().ends_with(" the last words\n")) << Content();
}

TEST_F(LogTest, ASinkIsHandedEachLineOfItsLevel)
{
    std::vector<std::string> lines;
    SLogOptions options;
    options.console = false;
    options.level = eLogLevel_Warning;
    options.sink = [&lines](const Brel::Log::SLogLine& line) {
        lines.push_back(std::to_string(line.level) + " " + std::string(line.logger) + " " + std::string(line.text) +
                        " " + line.place.file + ":" + std::to_string(line.place.line));
    };
    ASSERT_TRUE(Configure(options));
    Write(*Get("Mine"), eLogLevel_Info, {}, L"not this");
    Write(*Get("Mine"), eLogLevel_Error, {"File.cpp", 17, "f"}, L"this {}");
    EXPECT_EQ(lines, std::vector<std::string>{"4 Mine this {} File.cpp:17"});
    ASSERT_TRUE(Configure({}));
    Write(*Get("Mine"), eLogLevel_Error, {}, L"nor this");
    EXPECT_EQ(lines.size(), 1U);
}

TEST(CallbackLoggerTest, HandsOverTheLineAsItIs)
{
    std::vector<SLogLine> lines;
    const auto logger =
        MakeCallbackLogger("Mine", eLogLevel_Debug, [&](const SLogLine& line) { lines.push_back(line); });
    Write(*logger, eLogLevel_Error, {"File.cpp", 17, "Function"}, L"a\nb {}\x1b");
    Write(*logger, eLogLevel_Trace, {}, L"below the level");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].logger, "Mine");
    EXPECT_EQ(lines[0].level, eLogLevel_Error);
    EXPECT_EQ(lines[0].file, "File.cpp");
    EXPECT_EQ(lines[0].line, 17);
    EXPECT_EQ(lines[0].function, "Function");
    EXPECT_EQ(lines[0].text, L"a\nb {}\x1b");
    EXPECT_EQ(lines[0].request, L"");
}

TEST(CallbackLoggerTest, NamesTheRequestOfTheWritingThread)
{
    std::vector<SLogLine> lines;
    const auto logger =
        MakeCallbackLogger("Mine", eLogLevel_Debug, [&](const SLogLine& line) { lines.push_back(line); });
    const MOXCrashRpt::CScopedSubject subject(L"/queue/a.drq");
    Write(*logger, eLogLevel_Info, {}, L"here");
    std::thread([&] { Write(*logger, eLogLevel_Info, {}, L"elsewhere"); }).join();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].request, L"a.drq");
    EXPECT_EQ(lines[1].request, L"");
}

TEST(CallbackLoggerTest, AnExceptionOfTheCallbackEndsThere)
{
    const auto logger = MakeCallbackLogger("Mine", eLogLevel_Debug,
                                           [](const SLogLine&) { throw std::runtime_error("no room for lines"); });
    EXPECT_NO_THROW(Write(*logger, eLogLevel_Error, {}, L"text"));
}

TEST(LogPlaceTest, TheMacroNamesTheLineItStandsIn)
{
    const platform::SSourceLocation location = ZEL_SOURCE_LOCATION;
    EXPECT_EQ(location.line, __LINE__ - 1);
    EXPECT_NE(std::string(location.file).find("LogTest.cpp"), std::string::npos);
    EXPECT_NE(std::string(location.function).find("TestBody"), std::string::npos);
}

} // namespace
