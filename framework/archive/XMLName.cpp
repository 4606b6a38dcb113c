#include "framework/archive/XMLName.h"

#include "platform/Text.h"

#include <vector>

namespace {

constexpr int kFirstPrintable = 33; // behind the blank

bool IsBetween(int code, char first, char last)
{
    return code >= first && code <= last;
}

bool IsIdentifier(int code, bool isFirst)
{
    const bool isLetter = IsBetween(code, 'a', 'z') || IsBetween(code, 'A', 'Z') || code == '_';
    return isLetter || (!isFirst && IsBetween(code, '0', '9'));
}

bool IsValid(int code, bool isFirst, std::uint32_t mode)
{
    switch (mode) {
    case eXMLNameMode_Identifier: return IsIdentifier(code, isFirst);
    case eXMLNameMode_Any: return true;
    default: return code >= kFirstPrintable && code != '.';
    }
}

std::wstring Escape(const std::vector<int>& codes, std::uint32_t mode)
{
    constexpr const wchar_t* digits = L"0123456789abcdef";
    std::wstring text;
    if (!codes.empty() && !IsValid(codes.front(), true, mode))
        text = L"XE";
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const int code = codes[i];
        if (IsValid(code, i == 0, mode)) {
            text += static_cast<wchar_t>(code);
        } else {
            text += L'.';
            text += digits[(code >> 4) & 15];
            text += digits[code & 15];
        }
    }
    return text;
}

std::vector<int> CodesOf(std::string_view text)
{
    std::vector<int> codes;
    for (const char character : text)
        codes.push_back(static_cast<signed char>(character));
    return codes;
}

std::vector<int> CodesOf(std::wstring_view text)
{
    const std::string bytes = platform::ToUtf16Le(text);
    std::vector<int> codes;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const int low = static_cast<unsigned char>(bytes[i]);
        const int high = static_cast<signed char>(bytes[i + 1]);
        codes.push_back(high * 256 + low);
    }
    return codes;
}

} // namespace

CWQ_XMLName::CWQ_XMLName(std::string_view text, std::uint32_t mode)
    : m_strText(mode == eXMLNameMode_Any ? platform::FromUtf8(text) : Escape(CodesOf(text), mode)), m_dwMode(mode)
{}

CWQ_XMLName::CWQ_XMLName(std::wstring_view text, std::uint32_t mode)
    : m_strText(mode == eXMLNameMode_Any ? std::wstring(text) : Escape(CodesOf(text), mode)), m_dwMode(mode)
{}
