#pragma once

#include "capi/Outcome.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

/// What a caller hands in is checked here, and nothing else is trusted.

[[nodiscard]] SOutcome BadArgument(const char* what);

/// False for null, an empty text, one that is too long, and what is no UTF-8.
[[nodiscard]] bool TakeText(const char* given, std::size_t maxBytes, std::wstring& text);
/// Of a path. Null or empty is none, where that is allowed.
[[nodiscard]] bool TakePath(const char* given, std::wstring& path);
[[nodiscard]] bool TakeOptionalPath(const char* given, std::wstring& path);
/// The name of a request.
[[nodiscard]] SOutcome TakeName(const char* given, std::wstring& name);

/// UTF-8 whatever the text is: what is none of Unicode becomes U+FFFD, and a zero a blank.
[[nodiscard]] std::string SafeText(std::wstring_view text);
/// Whether all of a name of the file system is Unicode.
[[nodiscard]] bool IsUnicode(std::wstring_view text);

/// A time to wait; negative is without end, which is some years.
[[nodiscard]] inline std::chrono::milliseconds TakeTimeout(std::int64_t milliseconds)
{
    constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 3650);
    return milliseconds < 0 ? kLongest : std::min(std::chrono::milliseconds(milliseconds), kLongest);
}

/// Of one that begins with its size, in bytes.
inline constexpr std::size_t kLargestStructure = 65536;

/// A structure that begins with its size, of a caller who may know less or more of it than this library: false when he
/// fills it less than any version has it, or sets what is not known here.
template <class Options>
[[nodiscard]] bool TakeStructure(const Options& given, std::size_t least, Options& taken)
{
    if (given.size < least || given.size > kLargestStructure)
        return false;
    std::memcpy(static_cast<void*>(&taken), &given, std::min<std::size_t>(given.size, sizeof taken));
    const char* const bytes = reinterpret_cast<const char*>(&given);
    for (std::size_t index = sizeof taken; index < given.size; ++index) {
        if (bytes[index] != 0)
            return false;
    }
    taken.size = sizeof taken;
    return true;
}
/// Hands defaults out to a caller whose structure may be larger or smaller.
template <class Options>
[[nodiscard]] SOutcome GiveStructure(Options* options, std::size_t size, std::size_t least, const Options& defaults)
{
    if (options == nullptr || size < least || size > kLargestStructure)
        return BadArgument("options");
    std::memset(static_cast<void*>(options), 0, size);
    std::memcpy(static_cast<void*>(options), &defaults, std::min(size, sizeof defaults));
    options->size = static_cast<std::uint32_t>(size);
    return {};
}
