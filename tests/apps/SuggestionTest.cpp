#include "apps/common/Suggestion.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::wstring> kWords = {L"send", L"status", L"wait", L"resume", L"receive", L"--timeout"};

TEST(SuggestionTest, OneSlipOfAFingerIsForgiven)
{
    for (const wchar_t* slip : {L"sned", L"sen", L"sendd", L"sent", L"ssend"})
        EXPECT_EQ(NearestWord(slip, kWords), L"send") << slip;
    EXPECT_EQ(NearestWord(L"--tiemout", kWords), L"--timeout");
    EXPECT_EQ(NearestWord(L"recieve", kWords), L"receive");
}

TEST(SuggestionTest, AnotherWordIsNone)
{
    for (const wchar_t* other : {L"", L"x", L"frobnicate", L"--bogus", L"destroy"})
        EXPECT_EQ(NearestWord(other, kWords), L"") << other;
    EXPECT_EQ(NearestWord(std::wstring(100'000, L's'), {std::wstring(99'999, L's')}), L"")
        << "no work for what is no slip";
    EXPECT_EQ(NearestWord(L"send", {}), L"");
}

TEST(SuggestionTest, OfTwoThatAreAsNearTheFirstIsTaken)
{
    EXPECT_EQ(NearestWord(L"wart", {L"want", L"wait"}), L"want");
}

} // namespace
