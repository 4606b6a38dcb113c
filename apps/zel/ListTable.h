#pragma once

#include "apps/common/RequestState.h"

#include <cstddef>
#include <string>
#include <vector>

/// Requests in columns for people, under a line with the columns' names, each line with a line end. Lines are not
/// longer than width where that is not 0: comments are cut first, then names. Nothing for no requests.
[[nodiscard]] std::wstring ListTable(const std::vector<SRequestState>& states, std::size_t width);

/// "1.5 MB": a number of bytes, in the user's language.
[[nodiscard]] std::wstring ByteCountText(std::uint64_t bytes);

enum eListOrder {
    eListOrder_Name,
    eListOrder_Status,
    eListOrder_Position, ///< what runs, then what waits in the order of running, then the others
    eListOrder_Age,      ///< the oldest first
    eListOrder_Size,     ///< the largest first
    eListOrder_Owner,
};
/// Those that are alike stay in their order.
void SortList(std::vector<SRequestState>& states, eListOrder order);
