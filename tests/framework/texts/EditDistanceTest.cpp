#include "framework/texts/EditDistance.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(EditDistanceTest, EachChangeCountsOnce)
{
    EXPECT_EQ(EditDistance(L"", L""), 0U);
    EXPECT_EQ(EditDistance(L"", L"abc"), 3U);
    EXPECT_EQ(EditDistance(L"abc", L""), 3U);
    EXPECT_EQ(EditDistance(L"Query", L"Query"), 0U);
    EXPECT_EQ(EditDistance(L"Query", L"Qery"), 1U);
    EXPECT_EQ(EditDistance(L"Query", L"Queery"), 1U);
    EXPECT_EQ(EditDistance(L"Query", L"Quary"), 1U);
    EXPECT_EQ(EditDistance(L"Query", L"query"), 1U);
    EXPECT_EQ(EditDistance(L"Query", L"Qurey"), 1U) << "neighbours that are swapped";
    EXPECT_EQ(EditDistance(L"kitten", L"sitting"), 3U);
}

TEST(EditDistanceTest, WhatIsLongIsFarAwayWithoutWork)
{
    const std::wstring longText(1'000'000, L'a');
    EXPECT_EQ(EditDistance(longText, L"a"), longText.size());
    EXPECT_EQ(EditDistance(L"a", longText), longText.size());
    EXPECT_EQ(EditDistance(longText, longText), 0U);
    EXPECT_EQ(EditDistance(std::wstring(100, L'a'), std::wstring(99, L'a')), 1U);
}

} // namespace
