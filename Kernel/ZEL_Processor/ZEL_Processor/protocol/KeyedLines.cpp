#include "KeyedLines.h"

#include "platform/Text.h"

#include <algorithm>

std::string KeyedLines::Line(std::string_view key, const CString& value)
{
    std::string line(key);
    line += '\t';
    for (const char character : platform::ToUtf8(value)) {
        switch (character) {
        case '\n': line += "\\n"; break;
        case '\t': line += "\\t"; break;
        case '\\': line += "\\\\"; break;
        default: line += character;
        }
    }
    return line + '\n';
}

CString KeyedLines::ValueOf(std::string_view value)
{
    std::string text;
    for (std::size_t index = 0; index < value.size(); ++index) {
        const bool isEscape = value[index] == '\\' && index + 1 < value.size();
        const char character = value[isEscape ? ++index : index];
        text += !isEscape ? character : character == 'n' ? '\n' : character == 't' ? '\t' : character;
    }
    return platform::FromUtf8(text);
}

bool KeyedLines::Read(std::string_view text, std::string_view firstLine, std::size_t maxBytes,
                      const std::function<void(std::string_view key, std::string_view value)>& take)
{
    if (text.size() > maxBytes || !text.starts_with(firstLine) || !text.ends_with(kLastLine))
        return false;
    text.remove_prefix(firstLine.size());
    text.remove_suffix(std::min(text.size(), kLastLine.size()));
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        const std::size_t tabulator = line.find('\t');
        if (tabulator != std::string_view::npos)
            take(line.substr(0, tabulator), line.substr(tabulator + 1));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
    }
    return true;
}
