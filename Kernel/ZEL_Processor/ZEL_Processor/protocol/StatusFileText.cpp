#include "StatusFileText.h"

#include "platform/Text.h"

#include <algorithm>
#include <cwchar>
#include <limits>

namespace StatusFileText {

namespace {

constexpr std::wstring_view kLineEnd = L"\r\n";

struct SEscape {
    std::wstring_view plain;
    std::wstring_view escaped;
};

// Writing replaces CR LF before LF, or the pair would be taken apart; reading undoes in the order that the format has.
constexpr SEscape kNewLineCR{L"\r\n", L"&ampNewLineCR&"};
constexpr SEscape kNewLine{L"\n", L"&ampNewLine&"};
constexpr SEscape kEqual{L"=", L"&ampEqual&"};

void ReplaceAll(CString& text, std::wstring_view from, std::wstring_view to)
{
    for (std::size_t at = text.find(from); at != CString::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

CString TrimSpaces(std::wstring_view text)
{
    const std::size_t first = text.find_first_not_of(L' ');
    if (first == std::wstring_view::npos)
        return {};
    return CString(text.substr(first, text.find_last_not_of(L' ') - first + 1));
}

/// Takes the next line off the text, without its end. False when nothing is left.
bool TakeLine(std::wstring_view& text, std::wstring_view& line)
{
    if (text.empty())
        return false;
    const std::size_t end = text.find(L'\n');
    line = text.substr(0, end);
    text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + 1);
    if (end != std::wstring_view::npos && !line.empty() && line.back() == L'\r')
        line.remove_suffix(1);
    return true;
}

} // namespace

CString EscapeValue(const CString& value)
{
    CString escaped = value;
    for (const SEscape& escape : {kNewLineCR, kNewLine, kEqual})
        ReplaceAll(escaped, escape.plain, escape.escaped);
    return escaped;
}

CString UnescapeValue(const CString& value)
{
    CString plain = value;
    for (const SEscape& escape : {kNewLine, kNewLineCR, kEqual})
        ReplaceAll(plain, escape.escaped, escape.plain);
    return plain;
}

CString StatusLine(std::int32_t status)
{
    return std::to_wstring(status).append(kLineEnd);
}

CString KeyLine(const CString& key, const CString& value)
{
    return (key + L"=" + EscapeValue(value)).append(kLineEnd);
}

bool FindStatus(std::wstring_view text, std::int32_t& status)
{
    std::wstring_view line;
    if (!TakeLine(text, line))
        return false;
    status = ToNumber(CString(line));
    return true;
}

bool FindKey(std::wstring_view text, std::wstring_view key, CString& value)
{
    value.clear();
    std::wstring_view line;
    while (TakeLine(text, line)) {
        const std::size_t equal = line.find(L'=');
        if (equal == std::wstring_view::npos || !platform::EqualsNoCase(line.substr(0, equal), key))
            continue;
        value = UnescapeValue(TrimSpaces(line.substr(equal + 1)));
        return true;
    }
    return false;
}

std::int32_t ToNumber(const CString& text)
{
    const long long number = std::wcstoll(text.c_str(), nullptr, 10);
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<long long>(number, Limits::min(), Limits::max()));
}

} // namespace StatusFileText
