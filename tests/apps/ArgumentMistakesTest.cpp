#include "apps/common/ArgumentMistakes.h"

#include "framework/Language.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>
#include <limits>

namespace {

class ArgumentMistakesTest : public testing::Test {
protected:
    ArgumentMistakesTest() { WQ_SetLanguage(L"en"); }
};

/// What the parser itself says of arguments to options such as the programs have.
std::string Said(const std::vector<std::string>& arguments)
{
    std::string text;
    double number = 0;
    CLI::App app;
    app.add_option("--output-dir", text)->type_name("DIR");
    app.add_option("--request-dir", text)->required();
    app.add_option("--timeout", number)->check(CLI::Range(0.0, 5.0));
    app.add_option("--wait", number)->check(CLI::Range(0.5, std::numeric_limits<double>::max()));
    app.add_option("--sort", text)->check(CLI::IsMember(std::vector<std::string>{"name", "age"}));
    app.add_option("--log-size", number)->needs(app.add_option("--log-file", text));
    app.add_flag("--plain")->disable_flag_override();
    app.add_flag("--list")->excludes(app.add_flag("--user"));
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& error) {
        return error.what();
    }
    return "no mistake";
}

TEST_F(ArgumentMistakesTest, EachIsInOurWords)
{
    const std::vector<std::pair<std::vector<std::string>, std::wstring>> mistakes = {
        {{"--request-dir", "a", "--bogus"}, L"not understood: --bogus"},
        {{"--request-dir", "a", "b", "c"}, L"not understood: c b"}, // the parser's order
        {{"--request-dir", "a", "--timeout", "soon"}, L"--timeout cannot be soon: it takes a number from 0 to 5"},
        {{"--request-dir", "a", "--timeout", "-1"}, L"--timeout cannot be -1: it takes a number from 0 to 5"},
        {{"--request-dir", "a", "--wait", "-1"}, L"--wait cannot be -1: it takes a number from 0.5 on"},
        {{"--request-dir", "a", "--wait", ""}, L"--wait cannot be \"\": it takes a number from 0.5 on"},
        {{"--request-dir", "a", "--sort", "x\n"}, L"--sort cannot be \"x\\x0a\": it takes one of name, age"},
        {{"--request-dir", "a", "--output-dir"}, L"--output-dir needs a value"},
        {{"--request-dir", "a", "--output-dir", "b", "--output-dir", "c"}, L"--output-dir is given more than once"},
        {{}, L"--request-dir is missing"},
        {{"--request-dir", "a", "--plain=1"}, L"--plain takes no value"},
        {{"--request-dir", "a", "--log-size", "1"}, L"--log-size needs --log-file"},
        {{"--request-dir", "a", "--list", "--user"}, L"--list cannot be used together with --user"}};
    for (const auto& [arguments, words] : mistakes)
        EXPECT_EQ(MistakeText(Said(arguments)), words) << Said(arguments);
}

TEST_F(ArgumentMistakesTest, AnythingElseIsAsTheParserSaysIt)
{
    for (const char* text : {"", "something new", "x is required by y", "--a: Value 1", "Could not convert: --a"})
        EXPECT_EQ(platform::ToUtf8(MistakeText(text)), text);
}

} // namespace
