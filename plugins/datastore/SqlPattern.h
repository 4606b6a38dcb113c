#pragma once

#include <functional>
#include <optional>
#include <string_view>

/// The characters with a meaning in a pattern of LIKE or GLOB; 0 for one that there is not.
struct SSqlPatternRules {
    char32_t all = 0;         ///< any number of characters
    char32_t one = 0;         ///< one character
    char32_t set = 0;         ///< begins a set of characters
    char32_t escape = 0;      ///< the next character means itself
    bool ignoresCase = false; ///< of ASCII letters
};
inline constexpr SSqlPatternRules kLikeRules = {.all = U'%', .one = U'_', .ignoresCase = true};
inline constexpr SSqlPatternRules kGlobRules = {.all = U'*', .one = U'?', .set = U'['};

/// True for a byte that is not the first of a UTF-8 character.
[[nodiscard]] constexpr bool IsUtf8Continuation(char letter)
{
    return (static_cast<unsigned char>(letter) & 0xC0U) == 0x80;
}

/// Takes the first character, which must be there, from a UTF-8 text; bytes that are none are read as SQLite does.
[[nodiscard]] char32_t TakeSqlCharacter(std::string_view& text);

/// Whether a text is as a pattern says, in every detail as LIKE and GLOB of SQLite say it of texts without a NUL. Takes
/// memory for nothing, and at worst a time like the product of the lengths: goOn is asked with each character that is
/// compared, and ends it by false. Nothing then.
[[nodiscard]] std::optional<bool> MatchesSqlPattern(std::string_view pattern, std::string_view text,
                                                    const SSqlPatternRules& rules, const std::function<bool()>& goOn);
