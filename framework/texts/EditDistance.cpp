#include "framework/texts/EditDistance.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

/// Longer ones are no slips of a finger.
constexpr std::size_t kMaxLength = 100;

} // namespace

std::size_t EditDistance(std::wstring_view from, std::wstring_view to)
{
    if (from == to)
        return 0;
    if (std::max(from.size(), to.size()) > kMaxLength)
        return std::max(from.size(), to.size());
    std::vector<std::size_t> twoAbove;
    std::vector<std::size_t> above(to.size() + 1);
    for (std::size_t column = 0; column <= to.size(); ++column)
        above[column] = column;
    for (std::size_t row = 1; row <= from.size(); ++row) {
        std::vector<std::size_t> current(to.size() + 1, row);
        for (std::size_t column = 1; column <= to.size(); ++column) {
            const std::size_t changed = above[column - 1] + (from[row - 1] == to[column - 1] ? 0 : 1);
            current[column] = std::min({above[column] + 1, current[column - 1] + 1, changed});
            if (row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1])
                current[column] = std::min(current[column], twoAbove[column - 2] + 1);
        }
        twoAbove = std::exchange(above, std::move(current));
    }
    return above[to.size()];
}
