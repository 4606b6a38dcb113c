#include "apps/zel/ListTable.h"

#include "framework/Language.h"
#include "platform/Text.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

namespace {

class ListTableTest : public testing::Test {
protected:
    ListTableTest() { WQ_SetLanguage(L"en"); }

    [[nodiscard]] static SRequestState State(const std::wstring& name, const std::wstring& comment = {})
    {
        SRequestState state;
        state.name = name;
        state.status = eRequestStatus_Calculating;
        state.percent = 7;
        state.comment = comment;
        state.age = 240;
        state.files = SRequestFiles{.position = 0, .size = 1234, .owner = L"ada"};
        return state;
    }
    [[nodiscard]] static std::vector<std::wstring> Lines(const std::wstring& table)
    {
        std::vector<std::wstring> lines;
        std::wistringstream stream(table);
        for (std::wstring line; std::getline(stream, line);)
            lines.push_back(line);
        return lines;
    }
};

TEST_F(ListTableTest, WhatIsNotATerminalIsNotCut)
{
    const std::wstring longName = std::wstring(150, L'n') + L".drq";
    const std::vector<std::wstring> lines =
        Lines(ListTable({State(L"a.drq", L"half"), State(longName, std::wstring(200, L'c'))}, 0));
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(lines[2].starts_with(longName));
    EXPECT_TRUE(lines[2].ends_with(std::wstring(200, L'c')));
    EXPECT_EQ(lines[1].find(L"half"), lines[0].find(L"Comment"));
    EXPECT_EQ(lines[1].find(L"Calculating"), lines[0].find(L"Status"));
}

TEST_F(ListTableTest, NoLineIsLongerThanTheTerminalAndTheCommentGoesFirst)
{
    for (std::size_t width = 1; width < 200; ++width) {
        for (const std::wstring& line :
             Lines(ListTable({State(L"a-rather-long-name.drq", std::wstring(60, L'c'))}, width)))
            EXPECT_LE(line.size(), width);
    }
    const std::vector<std::wstring> lines = Lines(ListTable({State(L"a.drq", std::wstring(60, L'c'))}, 60));
    EXPECT_TRUE(lines[1].starts_with(L"a.drq  Calculating  7    0  1234 B  4 min  ada    ccc"))
        << platform::ToUtf8(lines[1]);
    EXPECT_TRUE(lines[1].ends_with(L"c\u2026"));
}

TEST_F(ListTableTest, ColumnsThatNobodyNeedsAndEmptyListsAreNotThere)
{
    EXPECT_EQ(ListTable({}, 0), L"");
    SRequestState state;
    state.name = L"a\nb.drq";
    state.status = eRequestStatus_Done;
    EXPECT_EQ(ListTable({state}, 0), L"Name          Status\n\"a\\x0ab.drq\"  Done\n");
}

TEST_F(ListTableTest, SizesHaveFourDigitsAtMost)
{
    EXPECT_EQ(ByteCountText(0), L"0 B");
    EXPECT_EQ(ByteCountText(9'999), L"9999 B");
    EXPECT_EQ(ByteCountText(10'000), L"10 kB");
    EXPECT_EQ(ByteCountText(10'000'000), L"10 MB");
    EXPECT_EQ(ByteCountText(12'345'678'901), L"12 GB");
}

TEST_F(ListTableTest, WhatHasNoValueComesLastAndWhatIsAlikeStays)
{
    SRequestState none;
    none.name = L"none";
    SRequestState next = State(L"next");
    next.files->position = 1;
    next.files->size = 9'999;
    next.files->owner = L"bob";
    next.age = 10;
    const auto order = [&](eListOrder by) {
        std::vector<SRequestState> states = {none, next, State(L"runs")};
        SortList(states, by);
        std::wstring names;
        for (const SRequestState& state : states)
            names += state.name + L" ";
        return names;
    };
    EXPECT_EQ(order(eListOrder_Position), L"runs next none ");
    EXPECT_EQ(order(eListOrder_Age), L"runs next none ");
    EXPECT_EQ(order(eListOrder_Size), L"next runs none ");
    EXPECT_EQ(order(eListOrder_Owner), L"none runs next ");
    EXPECT_EQ(order(eListOrder_Name), L"none next runs ");
}

} // namespace
