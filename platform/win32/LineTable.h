#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace platform::win32 {

struct SSourceLine {
    std::string file; ///< its name without directories
    std::uint64_t line = 0;
};

/// The source line of an address, from the line programs that the compiler writes (DWARF 2 to 5). lines and texts are
/// the sections .debug_line and .debug_line_str. Whatever they hold, the search ends and stays inside of them.
[[nodiscard]] std::optional<SSourceLine> FindSourceLine(std::span<const std::byte> lines,
                                                        std::span<const std::byte> texts, std::uint64_t address);

} // namespace platform::win32
