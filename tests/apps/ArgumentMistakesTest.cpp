#include "apps/common/ArgumentMistakes.h"

#include "framework/Language.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

namespace {

class ArgumentMistakesTest : public testing::Test {
protected:
    ArgumentMistakesTest() { WQ_SetLanguage(L"en"); }
};

TEST_F(ArgumentMistakesTest, EachIsInOurWords)
{
    EXPECT_EQ(MistakeText("The following argument was not expected: --bogus"), L"not understood: --bogus");
    EXPECT_EQ(MistakeText("The following arguments were not expected: a b"), L"not understood: a b");
    EXPECT_EQ(MistakeText("Could not convert: --timeout = soon"), L"--timeout cannot be soon");
    EXPECT_EQ(MistakeText("--timeout: Value -1 not in range 0.000000 to 5.000000"), L"--timeout cannot be -1");
    EXPECT_EQ(MistakeText("--output-dir: 1 required DIR missing"), L"--output-dir needs a value");
    EXPECT_EQ(MistakeText("--output-dir: At Most 1 required but received 2"), L"--output-dir is given more than once");
    EXPECT_EQ(MistakeText("--request-dir is required"), L"--request-dir is missing");
    EXPECT_EQ(MistakeText("--log-size requires --log-file"), L"--log-size needs --log-file");
    EXPECT_EQ(MistakeText("--list excludes --user"), L"--list cannot be used together with --user");
}

TEST_F(ArgumentMistakesTest, AnythingElseIsAsTheParserSaysIt)
{
    for (const char* text : {"", "something new", "x is required by y", "--a: Value 1", "Could not convert: --a"})
        EXPECT_EQ(platform::ToUtf8(MistakeText(text)), text);
}

} // namespace
