#include "plugins/datastore/Value.h"

#include <ZEL_Processor/ZelPluginWriter.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

namespace {

/// Length of the valid UTF-8 character that the bytes begin with, when XML can carry it; else 0.
std::size_t XmlCharacterLength(std::string_view bytes)
{
    const auto at = [&](std::size_t index) -> std::uint32_t {
        return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0U;
    };
    const std::uint32_t lead = at(0);
    if (lead < 0x80)
        return lead >= 0x20 || lead == '\t' || lead == '\n' || lead == '\r' ? 1 : 0;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4)
        return 0;
    std::uint32_t code = lead & (0xFFU >> (length + 1));
    for (std::size_t index = 1; index < length; ++index) {
        if ((at(index) & 0xC0U) != 0x80)
            return 0;
        code = (code << 6) | (at(index) & 0x3FU);
    }
    constexpr std::array<std::uint32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    const bool isNoCharacter = code == 0xFFFE || code == 0xFFFF;
    return code < kSmallest[length] || code > 0x10FFFF || isSurrogate || isNoCharacter ? 0 : length;
}

std::string IntegerText(std::int64_t value)
{
    std::array<char, 24> digits = {};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    return {digits.data(), end.ptr};
}

/// Blanks at the ends are kept by a parser only where they are said to matter.
bool HasOuterBlanks(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    return !text.empty() && (kBlanks.find(text.front()) != kBlanks.npos || kBlanks.find(text.back()) != kBlanks.npos);
}

} // namespace

const char* ValueTypeName(eValueType type)
{
    constexpr std::array<const char*, 5> kNames = {"null", "integer", "real", "text", "blob"};
    return kNames[type];
}

bool ParseInteger(std::string_view text, std::int64_t& value)
{
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    return end.ec == std::errc() && end.ptr == text.data() + text.size() && !text.empty();
}

std::string RealText(double value)
{
    if (std::isnan(value))
        return "NaN";
    if (std::isinf(value))
        return value > 0 ? "INF" : "-INF";
    std::array<char, 32> digits = {};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    std::string text(digits.data(), end.ptr);
    if (text.find_first_of(".e") == text.npos)
        text += ".0";
    return text;
}

bool IsXmlText(std::string_view bytes)
{
    while (!bytes.empty()) {
        const std::size_t length = XmlCharacterLength(bytes);
        if (length == 0)
            return false;
        bytes.remove_prefix(length);
    }
    return true;
}

std::string XmlSafeText(std::string_view bytes)
{
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = XmlCharacterLength(bytes);
        text += length == 0 ? std::string_view("\xEF\xBF\xBD") : bytes.substr(0, length);
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

std::string Base64(std::string_view bytes)
{
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto at = [&](std::size_t index) -> std::uint32_t {
        return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0U;
    };
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t index = 0; index < bytes.size(); index += 3) {
        const std::uint32_t group = at(index) << 16 | at(index + 1) << 8 | at(index + 2);
        text += kDigits[group >> 18];
        text += kDigits[group >> 12 & 63];
        text += index + 1 < bytes.size() ? kDigits[group >> 6 & 63] : '=';
        text += index + 2 < bytes.size() ? kDigits[group & 63] : '=';
    }
    return text;
}

void AppendValueXml(std::string& xml, std::string_view name, const SValue& value, eValueType expected,
                    std::string_view moreAttributes)
{
    ((xml += '<') += name) += moreAttributes;
    if (value.type == eValue_Null) {
        xml += " Null=\"true\"/>";
        return;
    }
    const bool isBase64 = value.type == eValue_Blob || (value.type == eValue_Text && !IsXmlText(value.bytes));
    if (value.type != expected || (isBase64 && value.type == eValue_Text))
        ((xml += " Type=\"") += ValueTypeName(value.type)) += '"';
    if (isBase64)
        xml += " Encoding=\"base64\"";
    else if (value.type == eValue_Text && HasOuterBlanks(value.bytes))
        xml += " xml:space=\"preserve\"";
    xml += '>';
    if (value.type == eValue_Integer)
        xml += IntegerText(value.integer);
    else if (value.type == eValue_Real)
        xml += RealText(value.real);
    else if (isBase64)
        xml += Base64(value.bytes);
    else
        ZelAppendXmlText(xml, value.bytes);
    ((xml += "</") += name) += '>';
}
