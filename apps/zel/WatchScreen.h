#pragma once

#include "apps/common/RequestState.h"

#include <cstddef>
#include <string>
#include <vector>

/// What `zel watch` has to show on a terminal.
struct SWatchScreen {
    struct SRow {
        SRequestState state;
        std::wstring left; ///< how long it takes, in words; empty while that is not known
    };
    std::wstring head;      ///< counts
    std::vector<SRow> rows; ///< in the order in which they are shown
    std::size_t chosen = 0; ///< a row
    std::size_t first = 0;  ///< the row at the top
    std::wstring foot;      ///< what was answered, or which keys there are
};

/// How many rows of requests fit: all but head and foot, at least one.
[[nodiscard]] std::size_t WatchRowCount(int rows);
/// Scrolls as little as possible so that the chosen row, which is one that there is then, is seen.
void ScrollToChosen(SWatchScreen& screen, std::size_t rowCount);
/// The lines of a terminal of this size; the last column stays free. Head and foot are left out where they do not fit.
[[nodiscard]] std::vector<std::wstring> DrawWatch(const SWatchScreen& screen, int columns, int rows);

/// The text in exactly so many columns: cut, or with blanks behind. Characters of East Asia and pictures take two
/// columns, accents that stand alone none; control characters are blanks.
[[nodiscard]] std::wstring FitColumns(const std::wstring& text, std::size_t columns);
[[nodiscard]] std::size_t ColumnsOf(const std::wstring& text);
