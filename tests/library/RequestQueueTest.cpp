#include "server/RequestQueue.h"

#include <gtest/gtest.h>

namespace {

std::wstring Order(CRequestQueue& queue)
{
    std::wstring order;
    for (TSRequestItem item; queue.TakeNext(item);)
        order += item.m_strFile;
    return order;
}

TEST(RequestQueueTest, FirstInIsFirstOut)
{
    CRequestQueue queue(false);
    EXPECT_TRUE(queue.IsEmpty());
    for (const wchar_t* file : {L"a", L"b", L"c"})
        queue.Append({file, 0, file[0] == L'b' ? "x" : "y"});
    queue.PutNext({L"n", 0, "y"});
    EXPECT_EQ(Order(queue), L"nabc");
    EXPECT_TRUE(queue.IsEmpty());
}

TEST(RequestQueueTest, OwnersTakeTurns)
{
    CRequestQueue queue(true);
    for (const wchar_t* file : {L"1", L"2", L"3"})
        queue.Append({file, 0, "many"});
    queue.Append({L"a", 0, "few"});
    queue.Append({L"x", 0, "other"});
    queue.Append({L"b", 0, "few"});
    EXPECT_EQ(Order(queue), L"1ax2b3");
}

TEST(RequestQueueTest, WhatIsPutNextComesBeforeAllTurns)
{
    CRequestQueue queue(true);
    queue.Append({L"1", 0, "x"});
    queue.Append({L"a", 0, "y"});
    queue.PutNext({L"n", 0, "y"});
    EXPECT_EQ(Order(queue), L"n1a");
}

TEST(RequestQueueTest, AnOwnerWhoComesBackWaitsForTheOthers)
{
    CRequestQueue queue(true);
    queue.Append({L"1", 0, "x"});
    queue.Append({L"a", 0, "y"});
    TSRequestItem item;
    ASSERT_TRUE(queue.TakeNext(item));
    queue.Append({L"2", 0, "x"});
    EXPECT_EQ(Order(queue), L"a2");
}

TEST(RequestQueueTest, ItemsAreFoundByTheirPath)
{
    CRequestQueue queue(true);
    queue.Append({L"a", 3, "x"});
    queue.Append({L"b", 0, "x"});
    TSRequestItem item;
    EXPECT_FALSE(queue.Take(L"A", item)) << "names differ by letter case";
    EXPECT_TRUE(queue.Contains(L"a"));
    ASSERT_TRUE(queue.Take(L"a", item));
    EXPECT_EQ(item.m_strFile, L"a");
    EXPECT_EQ(item.m_nRetries, 3);
    EXPECT_EQ(item.m_strOwner, "x");
    EXPECT_FALSE(queue.Contains(L"a"));
    EXPECT_EQ(Order(queue), L"b");
}

TEST(RequestQueueTest, OnePathMayWaitTwice)
{
    CRequestQueue queue(false);
    queue.Append({L"a", 1, ""});
    queue.Append({L"a", 2, ""});
    TSRequestItem item;
    EXPECT_TRUE(queue.Take(L"a", item));
    EXPECT_TRUE(queue.Contains(L"a"));
    EXPECT_TRUE(queue.Take(L"a", item));
    EXPECT_FALSE(queue.Take(L"a", item));
    EXPECT_TRUE(queue.IsEmpty());
}

TEST(RequestQueueTest, CountsTheItemsOfEachOwnerWithAndWithoutTurns)
{
    for (const bool takesTurns : {false, true}) {
        CRequestQueue queue(takesTurns);
        queue.Append({L"a", 0, "x"});
        queue.Append({L"b", 0, "x"});
        queue.PutNext({L"c", 0, "y"});
        EXPECT_EQ(queue.CountOf("x"), 2U);
        EXPECT_EQ(queue.CountOf("y"), 1U);
        EXPECT_EQ(queue.CountOf("z"), 0U);
        EXPECT_EQ(Order(queue), L"cab");
        EXPECT_EQ(queue.CountOf("x"), 0U);
    }
}

TEST(RequestQueueTest, TheLastOfAHundredThousandIsFoundAsSoonAsTheFirst)
{
    constexpr int kItems = 100'000;
    CRequestQueue queue(true);
    for (int index = 0; index < kItems; ++index)
        queue.Append({L"/a/path/as/long/as/they/are/Queue/" + std::to_wstring(index), 0, std::to_string(index % 7)});
    // A search from the front would compare five billion paths, which takes minutes.
    TSRequestItem item;
    for (int index = kItems; index-- > 0;)
        ASSERT_TRUE(queue.Take(L"/a/path/as/long/as/they/are/Queue/" + std::to_wstring(index), item));
    EXPECT_TRUE(queue.IsEmpty());
}

} // namespace
