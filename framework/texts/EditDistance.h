#pragma once

#include "platform/Export.h"

#include <cstddef>
#include <string_view>

/// So many single changes make one word of the other: a letter added, left out or changed, or two neighbours swapped.
/// Takes time as the product of the lengths; no less than the longer length when one has more than 100 letters.
[[nodiscard]] ZEL_FRAMEWORK_API std::size_t EditDistance(std::wstring_view from, std::wstring_view to);
