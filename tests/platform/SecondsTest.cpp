#include "platform/Seconds.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

TEST(Seconds, MayHaveThreePlaces)
{
    milliseconds time(-1);
    for (const auto& [text, count] : {std::pair{"0", 0},
                                      {"1", 1000},
                                      {"300", 300'000},
                                      {"0.2", 200},
                                      {"0.25", 250},
                                      {"0.001", 1},
                                      {"1.050", 1050},
                                      {"007", 7000}}) {
        EXPECT_TRUE(ParseSeconds(text, time)) << text;
        EXPECT_EQ(time, milliseconds(count)) << text;
    }
    EXPECT_TRUE(ParseSeconds("1000000000.000", time));
    EXPECT_EQ(time, kMostSeconds);
}

TEST(Seconds, NothingElseIsOne)
{
    milliseconds time;
    for (const char* text : {"",           ".",
                             ".5",         "1.",
                             "0.0001",     "-1",
                             "-0",         "+1",
                             " 1",         "1 ",
                             "1,5",        "1e3",
                             "0x1",        "nan",
                             "inf",        "1.2.3",
                             "1.-5",       "1000000000.001",
                             "1000000001", "99999999999999999999"})
        EXPECT_FALSE(ParseSeconds(text, time)) << text;
}

TEST(Seconds, AreWrittenAsTheyAreRead)
{
    for (const wchar_t* text : {L"0", L"1", L"300", L"0.2", L"0.25", L"0.001", L"10.05", L"1000000000"}) {
        milliseconds time;
        const std::wstring wide(text);
        ASSERT_TRUE(ParseSeconds(std::string(wide.begin(), wide.end()), time));
        EXPECT_EQ(SecondsText(time), wide);
    }
}

} // namespace
