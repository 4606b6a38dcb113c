#pragma once

#include <string>
#include <vector>

/// The word that was probably meant: the one that takes the fewest letters added, left out, changed or swapped. Empty
/// when none is near; more than a third of the letters is another word.
[[nodiscard]] std::wstring NearestWord(const std::wstring& given, const std::vector<std::wstring>& words);
