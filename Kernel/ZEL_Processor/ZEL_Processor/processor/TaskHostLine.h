#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/// The lines between a server and a process that runs tasks for it: words, each in plain characters whatever it holds,
/// and an end, without which a line is one that was cut off. docs/isolation.md lists them.
namespace TaskHostLine {

/// Of a line, in bytes; a longer one is none of ours.
constexpr std::size_t kLongest = std::size_t{1} << 20;
/// Of a text for people that goes into one; what does not fit is left out.
constexpr std::size_t kLongestText = 64 * 1024;

[[nodiscard]] CString Join(const std::vector<CString>& words);
/// False for what Join has not made.
[[nodiscard]] bool Split(const CString& line, std::vector<CString>& words);

[[nodiscard]] std::optional<std::int64_t> NumberOf(const CString& word);
[[nodiscard]] inline CString TextOf(std::int64_t number)
{
    return std::to_wstring(number);
}

} // namespace TaskHostLine
