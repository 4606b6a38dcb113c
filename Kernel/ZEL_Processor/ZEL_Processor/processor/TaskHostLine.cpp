#include "TaskHostLine.h"

#include "platform/Text.h"

#include <charconv>
#include <string>
#include <system_error>

namespace {

constexpr wchar_t kBetween = L' ';
constexpr wchar_t kEnd = L';';
constexpr wchar_t kEscape = L'%'; ///< the number of a unit follows, in small hexadecimal digits, and the same again

bool IsPlain(wchar_t unit)
{
    return unit > L' ' && unit <= L'~' && unit != kEscape && unit != kEnd;
}

void AddEscaped(wchar_t unit, CString& line)
{
    constexpr wchar_t kDigits[] = L"0123456789abcdef";
    CString digits;
    for (auto value = static_cast<std::uint32_t>(unit); value != 0 || digits.empty(); value >>= 4U)
        digits.insert(digits.begin(), kDigits[value & 15U]);
    line += kEscape + digits + kEscape;
}

/// The unit whose number begins here; at is behind it then.
std::optional<wchar_t> TakeEscaped(const CString& line, std::size_t& at)
{
    constexpr std::size_t kMostDigits = 2 * sizeof(wchar_t);
    const std::size_t end = line.find(kEscape, at);
    if (end == CString::npos || end == at || end - at > kMostDigits)
        return std::nullopt;
    std::uint32_t value = 0;
    for (; at < end; ++at) {
        const wchar_t digit = line[at];
        const bool isLetter = digit >= L'a' && digit <= L'f';
        if (!isLetter && (digit < L'0' || digit > L'9'))
            return std::nullopt;
        value = value * 16 + static_cast<std::uint32_t>(isLetter ? digit - L'a' + 10 : digit - L'0');
    }
    ++at;
    return static_cast<wchar_t>(value);
}

} // namespace

CString TaskHostLine::Join(const std::vector<CString>& words)
{
    CString line;
    for (const CString& word : words) {
        if (&word != words.data())
            line += kBetween;
        for (const wchar_t unit : word) {
            if (IsPlain(unit))
                line += unit;
            else
                AddEscaped(unit, line);
        }
    }
    return line + kEnd;
}

bool TaskHostLine::Split(const CString& line, std::vector<CString>& words)
{
    words.assign(1, {});
    for (std::size_t at = 0; at < line.size();) {
        const wchar_t unit = line[at++];
        if (unit == kEnd)
            return at == line.size();
        if (unit == kBetween) {
            words.emplace_back();
        } else if (unit == kEscape) {
            const std::optional<wchar_t> escaped = TakeEscaped(line, at);
            if (!escaped)
                return false;
            words.back() += *escaped;
        } else if (IsPlain(unit)) {
            words.back() += unit;
        } else {
            return false;
        }
    }
    return false;
}

std::optional<std::int64_t> TaskHostLine::NumberOf(const CString& word)
{
    const std::string digits = platform::ToUtf8(word);
    const char* const end = digits.data() + digits.size();
    std::int64_t value = 0;
    const auto parsed = std::from_chars(digits.data(), end, value);
    return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(value) : std::nullopt;
}
