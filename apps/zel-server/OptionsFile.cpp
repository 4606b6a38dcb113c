#include "apps/zel-server/OptionsFile.h"

#include "platform/Text.h"

#include <algorithm>
#include <utility>

namespace OptionsFile {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view Trimmed(std::string_view text)
{
    const std::size_t first = std::min(text.find_first_not_of(kBlanks), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

bool IsControl(char character)
{
    const auto code = static_cast<unsigned char>(character);
    return (code < 0x20 && character != '\t') || code == 0x7F;
}

std::string_view WithoutComment(std::string_view text)
{
    for (std::size_t at = text.find('#'); at != std::string_view::npos; at = text.find('#', at + 1)) {
        if (at == 0 || kBlanks.find(text[at - 1]) != std::string_view::npos)
            return text.substr(0, at);
    }
    return text;
}

eMistake ParseValue(std::string_view text, std::string& value)
{
    text = Trimmed(text);
    if (!text.starts_with('"')) {
        value = Trimmed(WithoutComment(text));
        return eMistake_None;
    }
    const std::size_t end = text.find('"', 1);
    if (end == std::string_view::npos || !Trimmed(WithoutComment(text.substr(end + 1))).empty())
        return eMistake_Quotes;
    value = text.substr(1, end - 1);
    return eMistake_None;
}

eMistake ParseLine(std::string_view text, SLine& line)
{
    if (text.size() > kLongestLine)
        return eMistake_TooLong;
    if (std::ranges::any_of(text, IsControl))
        return eMistake_ControlCharacter;
    if (platform::HasLoneSurrogates(platform::FromUtf8(text)))
        return eMistake_NotUtf8;
    if (Trimmed(WithoutComment(text)).empty())
        return eMistake_None;
    const std::size_t separator = text.find('=');
    if (separator == std::string_view::npos)
        return eMistake_NoOption;
    line.name = Trimmed(text.substr(0, separator));
    // A comment in which an equals sign stands is none of a value.
    if (line.name.empty() || WithoutComment(line.name).size() != line.name.size())
        return eMistake_NoOption;
    return ParseValue(text.substr(separator + 1), line.value);
}

} // namespace

SContent Parse(std::string_view bytes)
{
    SContent content;
    if (bytes.starts_with(kByteOrderMark))
        bytes.remove_prefix(kByteOrderMark.size());
    for (std::size_t number = 1; !bytes.empty(); ++number) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        std::string_view text = bytes.substr(0, end);
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
        if (text.ends_with('\r'))
            text.remove_suffix(1);
        SLine line;
        line.number = number;
        content.mistake = ParseLine(text, line);
        if (content.mistake != eMistake_None) {
            content.mistakeLine = number;
            return content;
        }
        if (!line.name.empty())
            content.lines.push_back(std::move(line));
    }
    return content;
}

} // namespace OptionsFile
