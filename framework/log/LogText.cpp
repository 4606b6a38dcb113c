#include "framework/log/LogText.h"

#include "platform/Text.h"

#include <algorithm>
#include <cwchar>

namespace {

constexpr bool IsPlainByte(char byte)
{
    return byte >= 0x20 && byte < 0x7F;
}

constexpr bool IsHighSurrogate(wchar_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool IsLowSurrogate(wchar_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

std::wstring Escape(wchar_t unit)
{
    // A lone low surrogate stands for a byte that is no text; the byte is what whoever reads the log can search for.
    const unsigned value = IsLowSurrogate(unit) ? static_cast<unsigned>(unit) & 0xFFU : static_cast<unsigned>(unit);
    wchar_t text[8] = {};
    (void)std::swprintf(text, std::size(text), L"\\x%02X", value);
    return text;
}

/// Every unit that is not part of a pair is shown as the function has it; lone surrogates are always escaped.
template <class Show>
std::string Converted(std::wstring_view text, const Show& show)
{
    std::wstring result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t unit = text[i];
        if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
            result += unit;
            result += text[++i];
        } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
            result += Escape(unit);
        } else {
            show(result, i);
        }
    }
    return platform::ToUtf8(result);
}

} // namespace

std::string PrintableLogText(std::string_view text)
{
    if (std::ranges::all_of(text, IsPlainByte))
        return std::string(text);
    const std::wstring wide = platform::FromUtf8(text);
    return Converted(wide, [&wide](std::wstring& result, std::size_t i) {
        const wchar_t unit = wide[i];
        const bool beforeLineFeed = i + 1 < wide.size() && wide[i + 1] == L'\n';
        if (unit == L'\n')
            result += L"\n    | ";
        else if (unit == L'\t' || !platform::IsControl(unit))
            result += unit;
        else if (unit != L'\r' || !beforeLineFeed)
            result += Escape(unit);
    });
}

std::string PrintableLogName(std::wstring_view name)
{
    return Converted(name, [&name](std::wstring& result, std::size_t i) {
        const wchar_t unit = name[i];
        if (platform::IsControl(unit) || unit == L'{' || unit == L'}')
            result += Escape(unit);
        else
            result += unit;
    });
}

std::string ValidLogText(std::wstring_view text)
{
    return Converted(text, [&text](std::wstring& result, std::size_t i) { result += text[i]; });
}
