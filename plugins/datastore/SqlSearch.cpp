#include "plugins/datastore/SqlSearch.h"

#include <algorithm>

std::size_t CSqlSearch::Find(std::string_view text, std::size_t from)
{
    // What is in texts is found fastest by its first byte. When more is compared than read, it is a text made for that.
    constexpr std::size_t kWorthwhile = 4;
    const std::size_t start = from;
    std::size_t compared = 0;
    while (from + m_needle.size() <= text.size()) {
        const std::size_t found = std::min(text.find(m_needle.front(), from), text.size());
        if (found + m_needle.size() > text.size())
            break;
        const auto end =
            std::mismatch(m_needle.begin(), m_needle.end(), text.begin() + static_cast<std::ptrdiff_t>(found));
        if (end.first == m_needle.end())
            return found;
        from = found + 1;
        compared += static_cast<std::size_t>(end.first - m_needle.begin());
        if (compared > kWorthwhile * (from - start + m_needle.size()))
            return FindInEveryCase(text, from);
    }
    return text.size();
}

std::size_t CSqlSearch::FindInEveryCase(std::string_view text, std::size_t from)
{
    FindBorders();
    std::size_t matched = 0;
    for (std::size_t at = from; at < text.size(); ++at) {
        while (matched != 0 && text[at] != m_needle[matched])
            matched = m_borders[matched - 1];
        if (text[at] == m_needle[matched])
            ++matched;
        if (matched == m_needle.size())
            return at + 1 - matched;
    }
    return text.size();
}

void CSqlSearch::FindBorders()
{
    if (!m_borders.empty())
        return;
    m_borders.assign(m_needle.size(), 0);
    std::uint32_t matched = 0;
    for (std::size_t at = 1; at < m_needle.size(); ++at) {
        while (matched != 0 && m_needle[at] != m_needle[matched])
            matched = m_borders[matched - 1];
        if (m_needle[at] == m_needle[matched])
            ++matched;
        m_borders[at] = matched;
    }
}
