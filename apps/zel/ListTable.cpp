#include "apps/zel/ListTable.h"

#include "apps/common/ShownText.h"

#include "ToolTexts.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/xchar.h>
#include <limits>

namespace {

enum eColumn {
    eColumn_Name,
    eColumn_Status,
    eColumn_Percent,
    eColumn_Position,
    eColumn_Slot,
    eColumn_Size,
    eColumn_Age,
    eColumn_Since,
    eColumn_Owner,
    eColumn_Comment,
    eColumn_Count
};
using Cells = std::array<std::wstring, eColumn_Count>;
using Widths = std::array<std::size_t, eColumn_Count>;

constexpr std::size_t kColumnGap = 2;
/// A name is not cut below this.
constexpr std::size_t kLeastName = 12;

bool IsNumber(std::size_t column)
{
    return column == eColumn_Percent || column == eColumn_Position || column == eColumn_Slot ||
           column == eColumn_Size || column == eColumn_Age;
}

/// In the user's time zone, to the minute.
std::wstring SinceText(std::int64_t time)
{
    try {
        return fmt::format(L"{:%Y-%m-%d %H:%M}", fmt::localtime(static_cast<std::time_t>(time)));
    } catch (const fmt::format_error&) {
        return {};
    }
}

Cells HeadCells()
{
    const STextCode* const codes[] = {&ToolTexts::IDS_COLUMN_NAME,    &ToolTexts::IDS_COLUMN_STATUS,
                                      &ToolTexts::IDS_COLUMN_PERCENT, &ToolTexts::IDS_COLUMN_POSITION,
                                      &ToolTexts::IDS_COLUMN_SLOT,    &ToolTexts::IDS_COLUMN_SIZE,
                                      &ToolTexts::IDS_COLUMN_AGE,     &ToolTexts::IDS_COLUMN_SINCE,
                                      &ToolTexts::IDS_COLUMN_OWNER,   &ToolTexts::IDS_COLUMN_COMMENT};
    Cells cells;
    std::ranges::transform(codes, cells.begin(), [](const STextCode* code) { return WQ_ModuleText(*code); });
    return cells;
}

Cells CellsOf(const SRequestState& state)
{
    Cells cells;
    cells[eColumn_Name] = ShownName(state.name);
    cells[eColumn_Status] = StatusWord(state.status);
    if (state.percent && state.status != eRequestStatus_Done)
        cells[eColumn_Percent] = std::to_wstring(*state.percent);
    cells[eColumn_Comment] = CommentText(state);
    if (state.age)
        cells[eColumn_Age] = AgeText(*state.age);
    if (state.stage && state.stage->slot)
        cells[eColumn_Slot] = std::to_wstring(*state.stage->slot);
    if (state.stage && state.stage->since)
        cells[eColumn_Since] = SinceText(*state.stage->since);
    if (!state.files)
        return cells;
    if (state.files->position)
        cells[eColumn_Position] = std::to_wstring(*state.files->position);
    if (state.files->size)
        cells[eColumn_Size] = ByteCountText(*state.files->size);
    cells[eColumn_Owner] = OneLine(state.files->owner);
    return cells;
}

std::wstring Cut(const std::wstring& text, std::size_t length)
{
    constexpr const wchar_t* kMore = L"\u2026";
    return text.size() <= length ? text : length == 0 ? std::wstring() : text.substr(0, length - 1) + kMore;
}

std::size_t LengthOf(const Widths& widths)
{
    std::size_t length = 0;
    for (const std::size_t width : widths)
        length += width == 0 ? 0 : width + kColumnGap;
    return length == 0 ? 0 : length - kColumnGap;
}

/// Takes from a column what is too much, but leaves so much of it.
void Shrink(Widths& widths, eColumn column, std::size_t least, std::size_t width)
{
    const std::size_t length = LengthOf(widths);
    if (length > width)
        widths[column] =
            std::max(std::min(least, widths[column]), widths[column] - std::min(widths[column], length - width));
}

std::wstring TableLine(const Cells& cells, const Widths& widths, std::size_t width)
{
    std::wstring line;
    for (std::size_t column = 0; column < cells.size(); ++column) {
        if (widths[column] == 0)
            continue;
        const std::wstring cell = Cut(cells[column], widths[column]);
        const std::wstring blanks(widths[column] - cell.size(), L' ');
        line +=
            (line.empty() ? L"" : std::wstring(kColumnGap, L' ')) + (IsNumber(column) ? blanks + cell : cell + blanks);
    }
    line.resize(line.find_last_not_of(L' ') + 1);
    return Cut(line, width) + L"\n";
}

} // namespace

std::wstring ListTable(const std::vector<SRequestState>& states, std::size_t width)
{
    if (states.empty())
        return {};
    std::vector<Cells> lines = {HeadCells()};
    std::ranges::transform(states, std::back_inserter(lines), CellsOf);
    Widths widths{};
    for (std::size_t column = 0; column < widths.size(); ++column) {
        // What no request has needs no column.
        const auto length = [column](const Cells& cells) { return cells[column].size(); };
        const std::size_t longest = length(*std::ranges::max_element(lines.begin() + 1, lines.end(), {}, length));
        widths[column] = longest == 0 ? 0 : std::max(longest, length(lines.front()));
    }
    if (width != 0) {
        Shrink(widths, eColumn_Comment, 0, width);
        Shrink(widths, eColumn_Name, kLeastName, width);
    }
    std::wstring table;
    for (const Cells& cells : lines)
        table += TableLine(cells, widths, width == 0 ? std::numeric_limits<std::size_t>::max() : width);
    return table;
}

std::wstring ByteCountText(std::uint64_t bytes)
{
    constexpr std::uint64_t thousand = 1000;
    const STextCode* const units[] = {&ToolTexts::IDS_SIZE_BYTES, &ToolTexts::IDS_SIZE_KB, &ToolTexts::IDS_SIZE_MB,
                                      &ToolTexts::IDS_SIZE_GB};
    std::size_t unit = 0;
    std::uint64_t whole = bytes;
    while (whole >= 10 * thousand && unit + 1 < std::size(units)) {
        whole /= thousand;
        ++unit;
    }
    return WQ_ModuleText(*units[unit], {std::to_wstring(whole)});
}

void SortList(std::vector<SRequestState>& states, eListOrder order)
{
    constexpr std::int64_t last = std::numeric_limits<std::int64_t>::max();
    const auto key = [order](const SRequestState& state) -> std::int64_t {
        switch (order) {
        case eListOrder_Status: return state.status;
        case eListOrder_Position: return state.files && state.files->position ? *state.files->position : last;
        case eListOrder_Age: return state.age ? -*state.age : last;
        case eListOrder_Size:
            return state.files && state.files->size ? -static_cast<std::int64_t>(*state.files->size) : last;
        case eListOrder_Name:
        case eListOrder_Owner: break;
        }
        return 0;
    };
    const auto text = [order](const SRequestState& state) {
        return order == eListOrder_Owner && state.files ? state.files->owner : std::wstring();
    };
    std::ranges::stable_sort(states, [&](const SRequestState& left, const SRequestState& right) {
        return std::pair(key(left), text(left)) < std::pair(key(right), text(right));
    });
}
