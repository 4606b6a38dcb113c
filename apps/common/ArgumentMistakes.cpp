#include "apps/common/ArgumentMistakes.h"

#include "apps/common/ShownText.h"
#include "platform/Text.h"

#include "CommonTexts.h"

#include <optional>
#include <string_view>
#include <vector>

namespace {

/// The parser tells what is wrong in English words only: its errors have no other members.
struct SMistake {
    std::string_view pattern; ///< in the parser's words; %s is anything
    const STextCode& text;    ///< takes as many of these as it needs
};
const SMistake kMistakes[] = {
    {"The following argument was not expected: %s", CommonTexts::IDS_NOT_UNDERSTOOD},
    {"The following arguments were not expected: %s", CommonTexts::IDS_NOT_UNDERSTOOD},
    {"Could not convert: %s = %s", CommonTexts::IDS_OPTION_CANNOT_BE}, // a flag: numbers have a range
    {"%s: Value %s not in range %s to %s", CommonTexts::IDS_OPTION_OUT_OF_RANGE},
    {"%s: %s not in {%s}", CommonTexts::IDS_OPTION_NOT_AMONG},
    {"%s: %s required %s missing", CommonTexts::IDS_OPTION_NEEDS_VALUE},
    {"%s: At Most 1 required but received %s", CommonTexts::IDS_OPTION_TWICE},
    {"%s was given a disallowed flag override", CommonTexts::IDS_OPTION_TAKES_NO_VALUE},
    {"%s is required", CommonTexts::IDS_OPTION_MISSING},
    {"%s requires %s", CommonTexts::IDS_OPTION_NEEDS},
    {"%s excludes %s", CommonTexts::IDS_OPTION_EXCLUDES},
};

/// One that nobody is told: it stands for none.
constexpr std::size_t kLongestNumber = 20;

/// "name,age" and "0.500000" as people write it.
std::wstring ShownLimit(std::wstring limit)
{
    if (limit.find(L'.') != std::wstring::npos) {
        limit.erase(limit.find_last_not_of(L'0') + 1);
        if (limit.ends_with(L'.'))
            limit.pop_back();
    }
    for (std::size_t at = limit.find(L','); at != std::wstring::npos; at = limit.find(L',', at + 1))
        limit.insert(at + 1, L" ");
    return ShownWord(limit);
}

std::wstring OurText(const STextCode& text, std::vector<std::wstring> parts)
{
    for (std::size_t index = 0; index < parts.size(); ++index)
        parts[index] = index < 2 ? ShownWord(parts[index]) : ShownLimit(parts[index]);
    // The one mistake of which the parser names the option without its dashes.
    if (&text == &CommonTexts::IDS_OPTION_TAKES_NO_VALUE)
        parts[0].insert(0, L"--");
    const bool isEndless = &text == &CommonTexts::IDS_OPTION_OUT_OF_RANGE && parts.back().size() > kLongestNumber;
    return WQ_ModuleText(isEndless ? CommonTexts::IDS_OPTION_TOO_SMALL : text, parts);
}

/// What stands in a text where the pattern has %s. Empty when the text is another one.
std::optional<std::vector<std::wstring>> Match(std::string_view text, std::string_view pattern)
{
    std::vector<std::wstring> parts;
    std::size_t gap = pattern.find("%s");
    if (!text.starts_with(pattern.substr(0, gap)))
        return std::nullopt;
    text.remove_prefix(gap);
    while (gap != std::string_view::npos) {
        pattern.remove_prefix(gap + 2);
        gap = pattern.find("%s");
        const std::string_view next = pattern.substr(0, gap);
        const std::size_t end = next.empty() ? text.size() : text.find(next);
        if (end == std::string_view::npos)
            return std::nullopt;
        parts.push_back(platform::FromUtf8(text.substr(0, end)));
        text.remove_prefix(end + next.size());
    }
    if (!text.empty())
        return std::nullopt;
    return parts;
}

} // namespace

std::wstring MistakeText(const std::string& parserText)
{
    for (const SMistake& mistake : kMistakes) {
        if (const auto parts = Match(parserText, mistake.pattern))
            return OurText(mistake.text, *parts);
    }
    return platform::FromUtf8(parserText);
}

std::wstring ShownWord(const std::wstring& word)
{
    return word.empty() ? L"\"\"" : ShownName(word);
}
