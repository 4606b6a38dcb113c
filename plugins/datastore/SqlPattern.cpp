#include "plugins/datastore/SqlPattern.h"

namespace {

char32_t Lower(char32_t character)
{
    return character >= U'A' && character <= U'Z' ? character - U'A' + U'a' : character;
}

/// Reads a set, whose "[" was read, off the pattern and finds whether the character is in it. False as well for a set
/// without an end.
bool TakesSet(std::string_view& pattern, char32_t character)
{
    bool isIn = false;
    char32_t prior = 0; // the member before, unless it ended a range
    const bool isInverted = pattern.starts_with('^');
    pattern.remove_prefix(isInverted ? 1 : 0);
    if (pattern.starts_with(']')) { // as the first it is a member
        isIn = character == U']';
        pattern.remove_prefix(1);
    }
    while (!pattern.empty()) {
        char32_t member = TakeSqlCharacter(pattern);
        if (member == U']')
            return isIn != isInverted;
        if (member == U'-' && !pattern.empty() && pattern.front() != ']' && prior != 0) {
            member = TakeSqlCharacter(pattern);
            isIn = isIn || (character >= prior && character <= member);
            prior = 0;
        } else {
            isIn = isIn || character == member;
            prior = member;
        }
    }
    return false;
}

/// Takes the next character or set off the pattern, which must have one and begins with no wildcard for any number,
/// and finds whether a character fits it.
bool TakesOne(std::string_view& pattern, char32_t character, const SSqlPatternRules& rules)
{
    char32_t wanted = TakeSqlCharacter(pattern);
    if (rules.set != 0 && wanted == rules.set)
        return TakesSet(pattern, character);
    if (rules.escape != 0 && wanted == rules.escape) {
        if (pattern.empty())
            return false;
        wanted = TakeSqlCharacter(pattern);
    } else if (rules.one != 0 && wanted == rules.one) {
        return true;
    }
    return wanted == character ||
           (rules.ignoresCase && wanted < 0x80 && character < 0x80 && Lower(wanted) == Lower(character));
}

} // namespace

char32_t TakeSqlCharacter(std::string_view& text)
{
    char32_t character = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (character < 0xC0)
        return character;
    character &= character < 0xE0   ? 0x1FU
                 : character < 0xF0 ? 0x0FU
                 : character < 0xF8 ? 0x07U
                 : character < 0xFC ? 0x03U
                 : character < 0xFE ? 0x01U
                                    : 0x00U;
    while (!text.empty() && IsUtf8Continuation(text.front())) {
        character = (character << 6) + (static_cast<unsigned char>(text.front()) & 0x3FU);
        text.remove_prefix(1);
    }
    const bool isNone = character < 0x80 || (character & 0xFFFFF800U) == 0xD800 || (character & 0xFFFFFFFEU) == 0xFFFE;
    return isNone ? 0xFFFD : character;
}

std::optional<bool> MatchesSqlPattern(std::string_view pattern, std::string_view text, const SSqlPatternRules& rules,
                                      const std::function<bool()>& goOn)
{
    // Only the last wildcard for any number is ever gone back to: what the ones before it took is as good as any.
    std::optional<std::string_view> behindWildcard;
    std::string_view retry; // where what is behind the wildcard was tried last
    for (;;) {
        if (!goOn())
            return {};
        if (!pattern.empty() && rules.all != 0 && static_cast<unsigned char>(pattern.front()) == rules.all) {
            pattern.remove_prefix(1);
            behindWildcard = pattern;
            retry = text;
            continue;
        }
        if (pattern.empty() && (text.empty() || (behindWildcard && behindWildcard->empty())))
            return true;
        if (text.empty())
            return false;
        if (!pattern.empty() && TakesOne(pattern, TakeSqlCharacter(text), rules))
            continue;
        if (!behindWildcard || retry.empty())
            return false;
        static_cast<void>(TakeSqlCharacter(retry)); // the next place
        text = retry;
        pattern = *behindWildcard;
    }
}
