#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// What a file of options is made of: lines "name = value" with the names that options have on the command line. Blanks
/// around name and value do not count. "#" at the beginning of a line or behind a blank begins a comment; a value with
/// " #" in it, or with blanks at its ends, stands in double quotes, in which nothing has a meaning, backslashes
/// included. UTF-8, with or without a byte-order mark; lines may end as Windows has it.
namespace OptionsFile {

constexpr std::size_t kLargestFile = 1 << 20;
/// In bytes; a path has 32,767 characters at most.
constexpr std::size_t kLongestLine = 1 << 16;

struct SLine {
    std::size_t number = 0; ///< from 1
    std::string name;
    std::string value; ///< empty only when nothing stands there

    bool operator==(const SLine&) const = default;
};

enum eMistake {
    eMistake_None,
    eMistake_TooLong,
    eMistake_NotUtf8,
    eMistake_ControlCharacter,
    eMistake_NoOption, ///< no "=", or no name before it
    eMistake_Quotes,   ///< not closed, or something stands behind them
};

struct SContent {
    std::vector<SLine> lines; ///< all, or those before the mistake
    eMistake mistake = eMistake_None;
    std::size_t mistakeLine = 0;
};

/// Reads no further than the first mistake. Time and memory are in proportion to the bytes.
[[nodiscard]] SContent Parse(std::string_view bytes);

} // namespace OptionsFile
