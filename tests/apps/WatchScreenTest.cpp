#include "apps/zel/WatchScreen.h"

#include <gtest/gtest.h>

namespace {

SWatchScreen ScreenOf(std::size_t count)
{
    SWatchScreen screen;
    screen.head = L"head";
    screen.foot = L"foot";
    for (std::size_t i = 0; i < count; ++i) {
        SWatchScreen::SRow& row = screen.rows.emplace_back();
        row.state.name = L"r" + std::to_wstring(i) + L".drq";
        row.state.status = eRequestStatus_Calculating;
        row.state.percent = 50;
        row.state.comment = L"half done";
    }
    return screen;
}

void ExpectFits(const SWatchScreen& screen, int columns, int rows)
{
    const std::vector<std::wstring> lines = DrawWatch(screen, columns, rows);
    EXPECT_LE(lines.size(), static_cast<std::size_t>(rows));
    for (const std::wstring& line : lines)
        EXPECT_LT(ColumnsOf(line), static_cast<std::size_t>(columns));
}

TEST(WatchScreen, ARowHasMarkNameBarStatusTimeAndComment)
{
    SWatchScreen screen = ScreenOf(2);
    screen.rows[0].left = L"5 s left";
    const std::vector<std::wstring> lines = DrawWatch(screen, 100, 5);
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0].substr(0, 5), L"head ");
    EXPECT_TRUE(lines[1].starts_with(L"> r0.drq  [##########          ]  50 % Calculating  5 s left  half done"))
        << std::string(lines[1].begin(), lines[1].end());
    EXPECT_TRUE(lines[2].starts_with(L"  r1.drq  ["));
    EXPECT_TRUE(lines[3].empty());
    EXPECT_EQ(lines[4].substr(0, 5), L"foot ");
}

TEST(WatchScreen, ATinyTerminalHasTheChosenRequestWhateverElseFits)
{
    SWatchScreen screen = ScreenOf(3);
    screen.chosen = 2;
    ScrollToChosen(screen, WatchRowCount(3));
    const std::vector<std::wstring> lines = DrawWatch(screen, 10, 3);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(lines[1].starts_with(L"> r2.")) << "the name is cut to a third";
    for (const auto& [columns, rows] : {std::pair(10, 3), {10, 2}, {10, 1}, {2, 1}, {2, 3}, {60, 3}, {200, 50}})
        ExpectFits(screen, columns, rows);
    EXPECT_EQ(DrawWatch(screen, 10, 1).size(), 1U);
    EXPECT_TRUE(DrawWatch(SWatchScreen(), 10, 1).empty());
}

TEST(WatchScreen, ScrollsAsLittleAsIsNeeded)
{
    SWatchScreen screen = ScreenOf(10);
    screen.chosen = 4;
    ScrollToChosen(screen, 3);
    EXPECT_EQ(screen.first, 2U);
    screen.chosen = 3;
    ScrollToChosen(screen, 3);
    EXPECT_EQ(screen.first, 2U) << "it is seen";
    screen.chosen = 1;
    ScrollToChosen(screen, 3);
    EXPECT_EQ(screen.first, 1U);
    screen.chosen = 99;
    ScrollToChosen(screen, 3);
    EXPECT_EQ(screen.chosen, 9U);
    EXPECT_EQ(screen.first, 7U);
    ScrollToChosen(screen, 20);
    EXPECT_EQ(screen.first, 0U) << "no empty rows where others would fit";
}

TEST(WatchScreen, WhatStrangersWriteMovesNoCursor)
{
    SWatchScreen screen = ScreenOf(1);
    screen.rows[0].state.name = L"a\x1b[2J.drq";
    screen.rows[0].state.comment = L"x\x1b]0;y\x07\r\nz\x202e";
    const std::wstring line = DrawWatch(screen, 120, 3)[1];
    EXPECT_EQ(line.find_first_of(L"\x1b\x07\r\n\x202e"), line.npos);
    EXPECT_NE(line.find(L"\"a\\x1b[2J.drq\""), line.npos);
}

TEST(WatchScreen, WideCharactersTakeTwoColumnsAndAccentsNone)
{
    EXPECT_EQ(FitColumns(L"\x6f22\x5b57", 5), L"\x6f22\x5b57 ");
    EXPECT_EQ(FitColumns(L"\x6f22\x5b57", 3), L"\x6f22 ") << "no half of one";
    EXPECT_EQ(ColumnsOf(L"e\x0301"), 1U);
    EXPECT_EQ(ColumnsOf(L"\U0001f600"), 2U) << "one character, whatever the system makes of it";
    EXPECT_EQ(FitColumns(L"a\U0001f600", 2), L"a ");
    SWatchScreen screen = ScreenOf(1);
    screen.rows[0].state.name = std::wstring(50, L'\x6f22');
    screen.rows[0].state.comment = std::wstring(500, L'\x6f22');
    for (const int columns : {10, 11, 80, 81})
        ExpectFits(screen, columns, 3);
}

} // namespace
