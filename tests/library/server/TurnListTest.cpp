#include "server/TurnList.h"

#include <gtest/gtest.h>

namespace {

std::wstring Order(CTurnList& list)
{
    std::wstring order;
    for (TSRequestItem item; list.TakeNext(item);)
        order += item.m_strFile;
    return order;
}

TEST(TurnListTest, FirstInIsFirstOut)
{
    CTurnList list(false);
    EXPECT_TRUE(list.IsEmpty());
    for (const wchar_t* file : {L"a", L"b", L"c"})
        list.Append({file, 0, file[0] == L'b' ? "x" : "y"});
    list.PutNext({L"n", 0, "y"});
    EXPECT_EQ(Order(list), L"nabc");
    EXPECT_TRUE(list.IsEmpty());
}

TEST(TurnListTest, OwnersTakeTurns)
{
    CTurnList list(true);
    for (const wchar_t* file : {L"1", L"2", L"3"})
        list.Append({file, 0, "many"});
    list.Append({L"a", 0, "few"});
    list.Append({L"x", 0, "other"});
    list.Append({L"b", 0, "few"});
    EXPECT_EQ(Order(list), L"1ax2b3");
}

/// Of an owner, a priority and a client.
TSRequestItem Item(const wchar_t* file, std::string owner, int priority, std::string client = {})
{
    return {file, 0, std::move(owner), 0, false, false, priority, std::move(client)};
}

TEST(TurnListTest, TheMoreUrgentComesFirstAndEqualsInTheirOrder)
{
    CTurnList list(false);
    list.Append(Item(L"1", "x", 0));
    list.Append(Item(L"l", "x", -100));
    list.Append(Item(L"2", "y", 0));
    list.Append(Item(L"h", "y", 100));
    list.PutNext(Item(L"n", "x", -100));
    EXPECT_EQ(Order(list), L"nh12l");
}

CTurnList WithPriorities()
{
    CTurnList list(false);
    for (const auto& [file, priority] : {std::pair(L"h", 100), {L"1", 0}, {L"2", 0}, {L"l", -100}})
        list.Append(Item(file, "x", priority));
    return list;
}

TEST(TurnListTest, WhatIsMovedComesFirstOrLastWhateverThePriority)
{
    CTurnList list = WithPriorities();
    EXPECT_EQ(list.Move(L"l", eRequestPlace_First, {}), CTurnList::eMoved_Yes);
    EXPECT_EQ(list.Move(L"2", eRequestPlace_First, {}), CTurnList::eMoved_Yes);
    EXPECT_EQ(list.Move(L"h", eRequestPlace_Last, {}), CTurnList::eMoved_Yes);
    EXPECT_TRUE(list.Contains(L"2"));
    list.Append(Item(L"3", "x", 1));
    EXPECT_EQ(Order(list), L"2l31h");
    EXPECT_TRUE(list.IsEmpty());
}

TEST(TurnListTest, WhatIsMovedBeforeAnotherTakesItsPlace)
{
    for (const wchar_t* moved : {L"h", L"l", L"1"}) {
        CTurnList list = WithPriorities();
        EXPECT_EQ(list.Move(moved, eRequestPlace_Before, L"2"), CTurnList::eMoved_Yes);
        std::wstring rest = L"h12l";
        rest.erase(rest.find(moved), 1);
        rest.insert(rest.find(L'2'), moved);
        EXPECT_EQ(Order(list), rest);
    }
    CTurnList list = WithPriorities();
    EXPECT_EQ(list.Move(L"2", eRequestPlace_Before, L"2"), CTurnList::eMoved_Yes);
    EXPECT_EQ(Order(list), L"h12l");
}

TEST(TurnListTest, AMoveKeepsWhatTheRequestIs)
{
    CTurnList list(false);
    list.Append(Item(L"a", "x", 7, "me"));
    list.Append(Item(L"b", "y", 9));
    EXPECT_EQ(list.Move(L"a", eRequestPlace_First, {}), CTurnList::eMoved_Yes);
    EXPECT_EQ(list.CountOf("x"), 1U);
    TSRequestItem item;
    ASSERT_TRUE(list.TakeNext(item));
    EXPECT_EQ(item.m_strFile, L"a");
    EXPECT_EQ(item.m_strOwner, "x");
    EXPECT_EQ(item.m_nPriority, 7);
}

TEST(TurnListTest, AMoveStaysInItsTurnUnlessItIsBeforeAll)
{
    CTurnList list(true);
    for (const wchar_t* file : {L"1", L"2", L"3"})
        list.Append({file, 0, "many"});
    list.Append({L"a", 0, "few"});
    EXPECT_EQ(list.Move(L"a", eRequestPlace_Before, L"1"), CTurnList::eMoved_OtherTurn);
    EXPECT_EQ(list.Move(L"1", eRequestPlace_Last, {}), CTurnList::eMoved_Yes);
    EXPECT_EQ(list.Move(L"a", eRequestPlace_First, {}), CTurnList::eMoved_Yes);
    EXPECT_EQ(Order(list), L"a231") << "who is first is so among all";
}

TEST(TurnListTest, WhereItIsFairAMoveStaysWithItsClient)
{
    CTurnList list(false, true);
    list.Append(Item(L"1", "x", 0, "batch"));
    list.Append(Item(L"2", "x", 0, "batch"));
    list.Append(Item(L"a", "x", 0, "one"));
    EXPECT_EQ(list.Move(L"a", eRequestPlace_Before, L"1"), CTurnList::eMoved_OtherTurn);
    EXPECT_EQ(list.Move(L"2", eRequestPlace_Before, L"1"), CTurnList::eMoved_Yes);
    EXPECT_EQ(Order(list), L"2a1");
}

TEST(TurnListTest, WhatDoesNotWaitIsNotMovedAndNothingIsMovedBeforeIt)
{
    CTurnList list = WithPriorities();
    EXPECT_EQ(list.Move(L"x", eRequestPlace_First, {}), CTurnList::eMoved_NotThere);
    EXPECT_EQ(list.Move(L"1", eRequestPlace_Before, L"x"), CTurnList::eMoved_NoOther);
    EXPECT_EQ(Order(list), L"h12l");
}

TEST(TurnListTest, APriorityCountsAmongTheRequestsOfItsOwner)
{
    CTurnList list(true);
    for (const wchar_t* file : {L"1", L"2", L"3"})
        list.Append(Item(file, "urgent", 100));
    list.Append(Item(L"a", "other", 0));
    list.Append(Item(L"b", "other", 1));
    EXPECT_EQ(Order(list), L"1b2a3");
}

TEST(TurnListTest, WhatIsPutBackIsBehindAllThatWaitWhateverItsPriority)
{
    for (const bool takesTurns : {false, true}) {
        CTurnList list(takesTurns);
        list.PutBack(Item(L"u", "x", 100));
        list.Append(Item(L"1", "x", 0));
        list.Append(Item(L"l", "x", -1));
        TSRequestItem urgent;
        ASSERT_TRUE(list.TakeNext(urgent));
        EXPECT_EQ(urgent.m_strFile, L"u") << "nothing else waited";
        list.PutBack(urgent);
        list.Append(Item(L"2", "x", -1));
        EXPECT_EQ(Order(list), L"1lu2");
        list.PutBack(urgent);
        list.Append(Item(L"3", "x", 99));
        EXPECT_EQ(Order(list), L"u3") << "it is as urgent as it was";
    }
}

TEST(TurnListTest, TheClientsOfEqualRequestsTakeTurnsWhenItIsFair)
{
    for (const bool takesTurns : {false, true}) {
        CTurnList list(takesTurns, true);
        for (const wchar_t* file : {L"1", L"2", L"3"})
            list.Append(Item(file, "x", 0, "batch"));
        list.Append(Item(L"a", "x", 0, "person"));
        list.Append(Item(L"h", "x", 1, "batch"));
        list.Append(Item(L"b", "x", 0, "person"));
        EXPECT_EQ(Order(list), L"h1a2b3");
    }
}

/// How many are taken before this one.
int TakenBefore(CTurnList& list, const std::wstring& file)
{
    int count = 0;
    for (TSRequestItem item; list.TakeNext(item) && item.m_strFile != file;)
        ++count;
    return count;
}

constexpr int kMany = 5'000;

CTurnList WithMany(bool takesTurns, bool isFair)
{
    CTurnList list(takesTurns, isFair);
    for (int index = 0; index < kMany; ++index)
        list.Append(Item(std::to_wstring(index).c_str(), "x", 0, "batch"));
    return list;
}

TEST(TurnListTest, TheMoreUrgentIsNextHoweverManyWait)
{
    for (const bool takesTurns : {false, true}) {
        CTurnList list = WithMany(takesTurns, false);
        list.Append(Item(L"plain", "x", 0));
        list.Append(Item(L"urgent", "x", 10));
        EXPECT_EQ(TakenBefore(list, L"urgent"), 0);
        EXPECT_EQ(TakenBefore(list, L"plain"), kMany);
    }
}

TEST(TurnListTest, WhereItIsFairAClientWaitsForOneOfAnotherHoweverManyThatOneHas)
{
    for (const bool takesTurns : {false, true}) {
        CTurnList list = WithMany(takesTurns, true);
        for (const wchar_t* file : {L"a", L"b"}) {
            list.Append(Item(file, "x", 0, "person"));
            EXPECT_LE(TakenBefore(list, file), 1);
        }
        EXPECT_TRUE(list.Contains(L"2"));
    }
}

TEST(TurnListTest, WithoutANameTheOwnerIsTheClient)
{
    CTurnList fair(false, true);
    CTurnList plain(false);
    for (CTurnList* list : {&fair, &plain}) {
        for (const wchar_t* file : {L"1", L"2"})
            list->Append(Item(file, "many", 0));
        list->Append(Item(L"a", "few", 0));
    }
    EXPECT_EQ(Order(fair), L"1a2");
    EXPECT_EQ(Order(plain), L"12a");
}

TEST(TurnListTest, WhatWasTakenComesBackAsItWas)
{
    CTurnList list(false, true);
    TSRequestItem item = Item(L"a", "x", -5, "me");
    for (const bool isNext : {true, false}) {
        isNext ? list.PutNext(item) : list.Append(item);
        ASSERT_TRUE(list.Take(L"a", item));
        EXPECT_EQ(item.m_nPriority, -5);
        EXPECT_EQ(item.m_strClient, "me");
        EXPECT_EQ(item.m_strOwner, "x");
    }
}

TEST(TurnListTest, WhatIsPutNextComesBeforeAllTurns)
{
    CTurnList list(true);
    list.Append({L"1", 0, "x"});
    list.Append({L"a", 0, "y"});
    list.PutNext({L"n", 0, "y"});
    EXPECT_EQ(Order(list), L"n1a");
}

TEST(TurnListTest, AnOwnerWhoComesBackWaitsForTheOthers)
{
    CTurnList list(true);
    list.Append({L"1", 0, "x"});
    list.Append({L"a", 0, "y"});
    TSRequestItem item;
    ASSERT_TRUE(list.TakeNext(item));
    list.Append({L"2", 0, "x"});
    EXPECT_EQ(Order(list), L"a2");
}

TEST(TurnListTest, ItemsAreFoundByTheirPath)
{
    CTurnList list(true);
    list.Append({L"a", 3, "x"});
    list.Append({L"b", 0, "x"});
    TSRequestItem item;
    EXPECT_FALSE(list.Take(L"A", item)) << "names differ by letter case";
    EXPECT_TRUE(list.Contains(L"a"));
    ASSERT_TRUE(list.Take(L"a", item));
    EXPECT_EQ(item.m_strFile, L"a");
    EXPECT_EQ(item.m_nRetries, 3);
    EXPECT_EQ(item.m_strOwner, "x");
    EXPECT_FALSE(list.Contains(L"a"));
    EXPECT_EQ(Order(list), L"b");
}

TEST(TurnListTest, OnePathMayWaitTwice)
{
    CTurnList list(false);
    list.Append({L"a", 1, ""});
    list.Append({L"a", 2, ""});
    TSRequestItem item;
    EXPECT_TRUE(list.Take(L"a", item));
    EXPECT_TRUE(list.Contains(L"a"));
    EXPECT_TRUE(list.Take(L"a", item));
    EXPECT_FALSE(list.Take(L"a", item));
    EXPECT_TRUE(list.IsEmpty());
}

TEST(TurnListTest, CountsTheItemsOfEachOwnerWithAndWithoutTurns)
{
    for (const bool takesTurns : {false, true}) {
        CTurnList list(takesTurns);
        list.Append({L"a", 0, "x"});
        list.Append({L"b", 0, "x"});
        list.PutNext({L"c", 0, "y"});
        EXPECT_EQ(list.CountOf("x"), 2U);
        EXPECT_EQ(list.CountOf("y"), 1U);
        EXPECT_EQ(list.CountOf("z"), 0U);
        EXPECT_EQ(Order(list), L"cab");
        EXPECT_EQ(list.CountOf("x"), 0U);
    }
}

TEST(TurnListTest, TheFirstOnesAreThoseThatAreTakenNext)
{
    for (const bool takesTurns : {false, true}) {
        for (const bool isFair : {false, true}) {
            CTurnList list(takesTurns, isFair);
            int number = 0;
            for (const char* owner : {"x", "y", "x", "z", "x", "y"}) {
                const auto name = std::to_wstring(number);
                list.Append(Item(name.c_str(), owner, number % 2, number % 3 == 0 ? "a" : "b"));
                ++number;
            }
            std::wstring first;
            for (const TSRequestItem& item : list.First(10))
                first += item.m_strFile;
            EXPECT_EQ(list.First(2).size(), 2U);
            EXPECT_EQ(list.First(1).front().m_strFile, first.substr(0, 1));
            EXPECT_EQ(list.Count(), 6U);
            EXPECT_EQ(first, Order(list)) << takesTurns << isFair;
        }
    }
}

TEST(TurnListTest, TheLastOfAHundredThousandIsFoundAsSoonAsTheFirst)
{
    constexpr int kItems = 100'000;
    CTurnList list(true);
    for (int index = 0; index < kItems; ++index)
        list.Append({L"/a/path/as/long/as/they/are/Queue/" + std::to_wstring(index), 0, std::to_string(index % 7)});
    // A search from the front would compare five billion paths, which takes minutes.
    TSRequestItem item;
    for (int index = kItems; index-- > 0;)
        ASSERT_TRUE(list.Take(L"/a/path/as/long/as/they/are/Queue/" + std::to_wstring(index), item));
    EXPECT_TRUE(list.IsEmpty());
}

} // namespace
