#include "platform/Text.h"

#include "platform/CaseFolding.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLastCharacter = 0x10FFFF;
constexpr char32_t kEscapeBase = 0xDC00; // a byte b that is no UTF-8 is held as U+DC00 + b
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

constexpr bool IsHighSurrogate(char32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool IsLowSurrogate(char32_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

constexpr bool IsSurrogate(char32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDFFF;
}

constexpr bool IsEscapedByte(char32_t unit)
{
    return unit >= kEscapeBase + 0x80 && unit <= kEscapeBase + 0xFF;
}

/// The next character, or lone surrogate, of a wide text. A pair is one character whatever the width of wchar_t, so
/// that both targets read the same text in the same way.
char32_t NextCharacter(std::wstring_view text, std::size_t& position)
{
    const auto unit = static_cast<char32_t>(text[position++]);
    if (IsHighSurrogate(unit) && position < text.size()) {
        const auto next = static_cast<char32_t>(text[position]);
        if (IsLowSurrogate(next)) {
            ++position;
            return 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
        }
    }
    return unit;
}

void AppendWide(std::wstring& text, char32_t character)
{
    if (kWideIsUtf16 && character > 0xFFFF) {
        text.push_back(static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10)));
        text.push_back(static_cast<wchar_t>(0xDC00 + ((character - 0x10000) & 0x3FF)));
    } else {
        text.push_back(static_cast<wchar_t>(character));
    }
}

void AppendByte(std::string& bytes, char32_t value)
{
    bytes.push_back(static_cast<char>(static_cast<unsigned char>(value & 0xFF)));
}

void AppendUtf8(std::string& bytes, char32_t character)
{
    if (character < 0x80) {
        AppendByte(bytes, character);
        return;
    }
    if (character < 0x800) {
        AppendByte(bytes, 0xC0 | (character >> 6));
    } else {
        if (character < 0x10000) {
            AppendByte(bytes, 0xE0 | (character >> 12));
        } else {
            AppendByte(bytes, 0xF0 | (character >> 18));
            AppendByte(bytes, 0x80 | ((character >> 12) & 0x3F));
        }
        AppendByte(bytes, 0x80 | ((character >> 6) & 0x3F));
    }
    AppendByte(bytes, 0x80 | (character & 0x3F));
}

struct SLeadByte {
    std::size_t length;      // of the whole sequence; 0 for a byte that starts none
    unsigned char secondLow; // bounds of the second byte: they exclude overlong forms, surrogates and what is too high
    unsigned char secondHigh;
};

SLeadByte ClassifyLeadByte(unsigned char lead)
{
    if (lead >= 0xC2 && lead <= 0xDF) {
        return {2, 0x80, 0xBF};
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        return {3, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        return {4, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
    }
    return {0, 0, 0};
}

unsigned char ByteAt(std::string_view bytes, std::size_t index)
{
    return static_cast<unsigned char>(bytes[index]);
}

/// Reads the sequence at the position; false when there is no valid one.
bool DecodeSequence(std::string_view bytes, std::size_t position, char32_t& character, std::size_t& length)
{
    const unsigned char lead = ByteAt(bytes, position);
    const SLeadByte form = ClassifyLeadByte(lead);
    if (form.length == 0 || bytes.size() - position < form.length) {
        return false;
    }
    const unsigned char second = ByteAt(bytes, position + 1);
    if (second < form.secondLow || second > form.secondHigh) {
        return false;
    }
    character = lead & (0x7FU >> form.length);
    for (std::size_t i = 1; i < form.length; ++i) {
        const unsigned char next = ByteAt(bytes, position + i);
        if ((next & 0xC0) != 0x80) {
            return false;
        }
        character = (character << 6) | (next & 0x3F);
    }
    length = form.length;
    return true;
}

std::uint32_t FoldUnit(wchar_t unit)
{
    const auto value = static_cast<std::uint32_t>(unit);
    if (value < 0x80) {
        return value >= 'A' && value <= 'Z' ? value + ('a' - 'A') : value;
    }
    const auto* const run =
        std::upper_bound(std::begin(kFoldRuns), std::end(kFoldRuns), value,
                         [](std::uint32_t left, const SFoldRun& right) { return left <= right.last; });
    if (run == std::end(kFoldRuns) || value < run->first || (value - run->first) % run->step != 0) {
        return value;
    }
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(value) + run->distance);
}

} // namespace

std::string ToUtf8(std::wstring_view text)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const char32_t character = NextCharacter(text, position);
        if (IsEscapedByte(character)) {
            AppendByte(bytes, character - kEscapeBase);
        } else {
            AppendUtf8(bytes, IsSurrogate(character) || character > kLastCharacter ? kReplacement : character);
        }
    }
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes)
{
    std::wstring text;
    text.reserve(bytes.size());
    for (std::size_t position = 0; position < bytes.size();) {
        const unsigned char lead = ByteAt(bytes, position);
        char32_t character = lead;
        std::size_t length = 1;
        if (lead >= 0x80 && !DecodeSequence(bytes, position, character, length)) {
            character = kEscapeBase + lead;
            length = 1;
        }
        AppendWide(text, character);
        position += length;
    }
    return text;
}

std::string ToUtf16Le(std::wstring_view text)
{
    std::string bytes;
    bytes.reserve(text.size() * 2);
    const auto append = [&bytes](char32_t unit) {
        AppendByte(bytes, unit);
        AppendByte(bytes, unit >> 8);
    };
    for (const wchar_t wide : text) {
        const auto unit = static_cast<char32_t>(wide);
        if (unit <= 0xFFFF) {
            append(unit);
        } else if (unit <= kLastCharacter) {
            append(0xD800 + ((unit - 0x10000) >> 10));
            append(0xDC00 + ((unit - 0x10000) & 0x3FF));
        } else {
            append(kReplacement);
        }
    }
    return bytes;
}

std::wstring FromUtf16Le(std::string_view bytes)
{
    std::wstring text;
    text.reserve(bytes.size() / 2);
    const auto unitAt = [bytes](std::size_t index) {
        return static_cast<char32_t>(ByteAt(bytes, index) | (ByteAt(bytes, index + 1) << 8));
    };
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        char32_t character = unitAt(i);
        if (IsHighSurrogate(character) && i + 3 < bytes.size() && IsLowSurrogate(unitAt(i + 2))) {
            character = 0x10000 + ((character - 0xD800) << 10) + (unitAt(i + 2) - 0xDC00);
            i += 2;
        }
        AppendWide(text, character);
    }
    return text;
}

bool HasLoneSurrogates(std::wstring_view text)
{
    for (std::size_t position = 0; position < text.size();) {
        const char32_t character = NextCharacter(text, position);
        if (IsSurrogate(character) || character > kLastCharacter) {
            return true;
        }
    }
    return false;
}

bool EqualsNoCase(std::wstring_view left, std::wstring_view right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t a, wchar_t b) { return a == b || FoldUnit(a) == FoldUnit(b); });
}

bool IsControl(wchar_t character)
{
    const auto isIn = [character](wchar_t first, wchar_t last) { return character >= first && character <= last; };
    return character < L' ' || isIn(L'\x7f', L'\x9f') || character == L'\x061c' || isIn(L'\x200e', L'\x200f') ||
           isIn(L'\x2028', L'\x202e') || isIn(L'\x2066', L'\x2069');
}

} // namespace platform
