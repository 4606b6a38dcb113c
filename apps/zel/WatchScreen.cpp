#include "apps/zel/WatchScreen.h"

#include "apps/common/ShownText.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace {

constexpr std::size_t kBarColumns = 20;
/// Below this the text matters more than the bar.
constexpr std::size_t kLeastForBar = 60;
/// A third at most, so that a long name leaves room for what is told of it.
constexpr std::size_t kNamePart = 3;

struct SRange {
    char32_t first;
    char32_t last;
};
constexpr SRange kWide[] = {{0x1100, 0x115f},   {0x2e80, 0x303e},  {0x3041, 0x4dbf},   {0x4e00, 0xa4cf},
                            {0xa960, 0xa97f},   {0xac00, 0xd7a3},  {0xf900, 0xfaff},   {0xfe30, 0xfe6f},
                            {0xff00, 0xff60},   {0xffe0, 0xffe6},  {0x1f300, 0x1f64f}, {0x1f680, 0x1f6ff},
                            {0x1f900, 0x1faff}, {0x20000, 0x3fffd}};
constexpr SRange kWithoutColumn[] = {{0x0300, 0x036f}, {0x0483, 0x0489}, {0x0591, 0x05bd}, {0x064b, 0x065f},
                                     {0x1ab0, 0x1aff}, {0x1dc0, 0x1dff}, {0x200b, 0x200d}, {0x20d0, 0x20ff},
                                     {0xfe00, 0xfe0f}, {0xfe20, 0xfe2f}, {0xfeff, 0xfeff}};

template <std::size_t Count>
bool IsIn(const SRange (&ranges)[Count], char32_t character)
{
    return std::ranges::any_of(
        ranges, [=](const SRange& range) { return range.first <= character && character <= range.last; });
}

std::size_t ColumnsOfCharacter(char32_t character)
{
    return IsIn(kWithoutColumn, character) ? 0 : IsIn(kWide, character) ? 2 : 1;
}

/// The character at a place, and how many units of the text it takes: two of them where the system has halves.
char32_t CharacterAt(const std::wstring& text, std::size_t at, std::size_t& units)
{
    const auto unit = [&](std::size_t index) { return static_cast<char32_t>(text[index]); };
    const auto isHalf = [](char32_t half, char32_t first) { return half >= first && half < first + 0x400; };
    units = 1;
    if (sizeof(wchar_t) != 2 || !isHalf(unit(at), 0xd800) || at + 1 == text.size() || !isHalf(unit(at + 1), 0xdc00))
        return unit(at);
    units = 2;
    return 0x10000 + ((unit(at) - 0xd800) << 10) + (unit(at + 1) - 0xdc00);
}

std::wstring BarText(const std::optional<std::int32_t>& percent)
{
    if (!percent)
        return std::wstring(kBarColumns + 9, L' ');
    const auto shown = static_cast<std::size_t>(std::clamp<std::int32_t>(*percent, 0, 100));
    const std::size_t filled = kBarColumns * shown / 100;
    std::wstring number = std::to_wstring(shown);
    number.insert(0, 3 - number.size(), L' ');
    return L"[" + std::wstring(filled, L'#') + std::wstring(kBarColumns - filled, L' ') + L"] " + number + L" % ";
}

std::wstring RowLine(const SWatchScreen::SRow& row, bool isChosen, std::size_t nameColumns, std::size_t width)
{
    const SRequestState& state = row.state;
    std::wstring line = (isChosen ? L"> " : L"  ") + FitColumns(ShownName(state.name), nameColumns) + L"  ";
    if (width >= kLeastForBar)
        line += BarText(state.percent);
    else if (state.percent)
        line += std::to_wstring(*state.percent) + L" % ";
    line += StatusWord(state.status);
    for (const std::wstring& text : {row.left, CommentText(state)})
        line += text.empty() ? text : L"  " + text;
    return FitColumns(line, width);
}

} // namespace

std::wstring FitColumns(const std::wstring& text, std::size_t columns)
{
    const std::wstring shown = OneLine(text);
    std::wstring fitted;
    std::size_t used = 0;
    for (std::size_t at = 0, units = 0; at < shown.size(); at += units) {
        const std::size_t more = ColumnsOfCharacter(CharacterAt(shown, at, units));
        if (used + more > columns)
            break;
        used += more;
        fitted.append(shown, at, units);
    }
    return fitted.append(columns - used, L' ');
}

std::size_t ColumnsOf(const std::wstring& text)
{
    std::size_t columns = 0;
    for (std::size_t at = 0, units = 0; at < text.size(); at += units)
        columns += ColumnsOfCharacter(CharacterAt(text, at, units));
    return columns;
}

std::size_t WatchRowCount(int rows)
{
    return static_cast<std::size_t>(std::max(rows - 2, 1));
}

void ScrollToChosen(SWatchScreen& screen, std::size_t rowCount)
{
    const std::size_t last = screen.rows.empty() ? 0 : screen.rows.size() - 1;
    screen.chosen = std::min(screen.chosen, last);
    const std::size_t lastFirst = screen.rows.size() > rowCount ? screen.rows.size() - rowCount : 0;
    const std::size_t least = screen.chosen + 1 > rowCount ? screen.chosen + 1 - rowCount : 0;
    screen.first = std::min(std::clamp(screen.first, least, screen.chosen), lastFirst);
}

std::vector<std::wstring> DrawWatch(const SWatchScreen& screen, int columns, int rows)
{
    const auto width = static_cast<std::size_t>(std::max(columns - 1, 1));
    const std::size_t rowCount = WatchRowCount(rows);
    const std::size_t end = std::min(screen.first + rowCount, screen.rows.size());
    std::size_t nameColumns = 0;
    for (std::size_t i = screen.first; i < end; ++i)
        nameColumns = std::max(nameColumns, ColumnsOf(ShownName(screen.rows[i].state.name)));
    nameColumns = std::min(nameColumns, std::max<std::size_t>(width / kNamePart, 1));
    std::vector<std::wstring> lines;
    if (rows > 2)
        lines.push_back(FitColumns(screen.head, width));
    for (std::size_t i = screen.first; i < end; ++i)
        lines.push_back(RowLine(screen.rows[i], i == screen.chosen, nameColumns, width));
    if (rows < 2)
        return lines;
    lines.resize(static_cast<std::size_t>(rows) - 1);
    lines.push_back(FitColumns(screen.foot, width));
    return lines;
}
