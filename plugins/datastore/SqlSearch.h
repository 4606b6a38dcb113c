#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// Looks for a text in others, in a time that grows with their lengths and not with the product of them. The needle
/// must not be empty, must live as long as this, and must be shorter than 4 GiB.
class CSqlSearch {
public:
    explicit CSqlSearch(std::string_view needle) : m_needle(needle) {}

    /// Where the needle begins next; the length of the text when nowhere.
    [[nodiscard]] std::size_t Find(std::string_view text, std::size_t from);

private:
    [[nodiscard]] std::size_t FindInEveryCase(std::string_view text, std::size_t from);
    void FindBorders();

    const std::string_view m_needle;
    /// For each length of a beginning of the needle, less one: the longest shorter beginning that it ends with.
    std::vector<std::uint32_t> m_borders;
};
