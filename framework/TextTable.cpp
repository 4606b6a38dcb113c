#include "framework/TextTable.h"

#include "framework/EmbeddedTexts.h"
#include "framework/NeverDestroyed.h"
#include "platform/Text.h"

#include <charconv>

namespace {

std::string Unescape(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        ++i;
        switch (text[i]) {
        case 'n': result += '\n'; break;
        case 't': result += '\t'; break;
        case '\\': result += '\\'; break;
        default: // no escape: a path in a text keeps its backslashes
            result += '\\';
            result += text[i];
        }
    }
    return result;
}

} // namespace

CTextTable::CTextTable(std::string_view resource)
{
    while (!resource.empty()) {
        const std::size_t end = resource.find('\n');
        std::string_view line = resource.substr(0, end);
        if (!line.empty() && line.back() == '\r') // a checkout may have turned the line ends
            line.remove_suffix(1);
        AddLine(line);
        resource.remove_prefix(end == std::string_view::npos ? resource.size() : end + 1);
    }
}

void CTextTable::AddLine(std::string_view line)
{
    if (line.empty() || line.front() == '#')
        return;
    const std::size_t first = line.find('\t');
    const std::size_t second = first == std::string_view::npos ? first : line.find('\t', first + 1);
    if (second == std::string_view::npos)
        return;
    unsigned id = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + first, id);
    if (error != std::errc() || end != line.data() + first)
        return;
    STextEntry& entry = m_entries[id];
    entry.codeName = line.substr(first + 1, second - first - 1);
    entry.text = platform::FromUtf8(Unescape(line.substr(second + 1)));
}

const STextEntry* CTextTable::FindEntry(unsigned id) const
{
    const auto found = m_entries.find(id);
    return found == m_entries.end() ? nullptr : &found->second;
}

const CTextTable* CTextTable::Find(std::string_view moduleName)
{
    if (moduleName != "ZEL_Processor")
        return nullptr;
    static CNeverDestroyed<CTextTable> table(EmbeddedTexts());
    return &table.Get();
}
