#include "plugins/script/ScriptOutput.h"

#include "tests/plugins/PluginHarness.h"
#include "tests/plugins/StringSink.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace plugintest;

namespace {

struct STaken {
    std::vector<std::wstring> reports;
    std::string response;
};

/// The output in pieces of so many bytes.
STaken Take(const std::string& output, std::size_t piece, bool responds = true)
{
    CRecordingProgress progress;
    testsupport::CStringSink sink;
    CScriptOutput taking(progress, responds ? &sink : nullptr);
    for (std::size_t at = 0; at < output.size(); at += piece)
        EXPECT_TRUE(taking.Take(std::string_view(output).substr(at, piece)));
    EXPECT_TRUE(taking.Finish());
    EXPECT_EQ(taking.ResponseLength(), sink.All().size());
    return {progress.Reports(), sink.All()};
}

using Reports = std::vector<std::wstring>;

} // namespace

TEST(ScriptOutput, LinesOfProgressAtTheBeginningAreToldAndTheRestIsTheResponse)
{
    const std::string output = "progress 0\nprogress 40 half way\r\n<Response>\nprogress 50 is text\n</Response>";
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, output.size()}) {
        const STaken taken = Take(output, piece);
        EXPECT_EQ(taken.reports, (Reports{L"range 0 100", L"pos 0", L"pos 40", L"comment half way"})) << piece;
        EXPECT_EQ(taken.response, "<Response>\nprogress 50 is text\n</Response>") << piece;
    }
}

TEST(ScriptOutput, WhatIsNoLineOfProgressBeginsTheResponse)
{
    for (const std::string line : {"progressive 4", "progress", "progress 101", "progress -1", "progress four",
                                   "progress 4x", "\n", "Progress 4", "progress 99999999999999999999"}) {
        for (const std::string end : {"", "\n", "\n<x/>\n"}) {
            const STaken taken = Take(line + end, 3);
            EXPECT_EQ(taken.response, line + end);
            EXPECT_EQ(taken.reports, Reports{L"range 0 100"}) << line;
        }
    }
}

TEST(ScriptOutput, ALineThatIsTooLongForProgressIsTheResponse)
{
    const std::string line = "progress 4 " + std::string(5000, 'x') + "\n";
    for (const std::size_t piece : {std::size_t{100}, line.size()})
        EXPECT_EQ(Take(line, piece).response, line);
}

TEST(ScriptOutput, ALastLineWithoutAnEndIsProgressToo)
{
    EXPECT_EQ(Take("progress 100", 5).reports, (Reports{L"range 0 100", L"pos 100"}));
}

TEST(ScriptOutput, WithAResponseElsewhereItIsLinesAlone)
{
    const std::string output = "starting\nprogress 10\n" + std::string(10'000, 'x') + "\nprogress 20 on\nprogress " +
                               std::string(9000, '1') + "\nprogress 30";
    for (const std::size_t piece : {std::size_t{1}, std::size_t{999}, output.size()}) {
        EXPECT_EQ(Take(output, piece, false).reports,
                  (Reports{L"range 0 100", L"pos 10", L"pos 20", L"comment on", L"pos 30"}))
            << piece;
    }
}

TEST(ScriptOutput, AResponseThatCannotBeWrittenIsToldAtOnce)
{
    CRecordingProgress progress;
    testsupport::CStringSink sink(0);
    CScriptOutput output(progress, &sink);
    EXPECT_TRUE(output.Take("progress 1\n"));
    EXPECT_FALSE(output.Take("<Response>"));
}
