#include "apps/zel/RunningOrder.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

namespace {

std::string Order(std::vector<SWaitingRequest> requests, void (*sort)(std::vector<SWaitingRequest>&))
{
    sort(requests);
    std::wstring names;
    for (const SWaitingRequest& request : requests)
        names += request.name;
    return platform::ToUtf8(names);
}

TEST(RunningOrderTest, WithoutTurnsWhatCameFirstIsFirst)
{
    EXPECT_EQ(Order({{L"c", 3, "ada", 100}, {L"a", 1, "bob", -1}, {L"b", 1, "ada", 5}}, &SortByArrival), "abc");
}

TEST(RunningOrderTest, AmongTheRequestsOfOneUserThePriorityCountsBeforeTheArrival)
{
    EXPECT_EQ(
        Order({{L"c", 1, "ada", 0}, {L"a", 9, "ada", 5}, {L"d", 0, "ada", -5}, {L"b", 8, "ada", 0}}, &SortByTurns),
        "acbd");
    EXPECT_EQ(Order({}, &SortByTurns), "");
}

TEST(RunningOrderTest, UsersTakeTurnsWhateverTheirRequestsSay)
{
    // bob came first, with a batch of which one is urgent; eve says that all of hers are.
    EXPECT_EQ(Order({{L"1", 1, "bob", 0},
                     {L"2", 2, "bob", 0},
                     {L"3", 3, "bob", 7},
                     {L"x", 4, "ada", 0},
                     {L"6", 5, "eve", 100},
                     {L"7", 6, "eve", 100}},
                    &SortByTurns),
              "3x6172");
}

} // namespace
