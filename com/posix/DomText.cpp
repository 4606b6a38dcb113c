#include "com/posix/DomText.h"

#include "com/ComError.h"
#include "com/posix/Runtime.h"

#include <cstdint>
#include <limits>

namespace com_posix {
namespace {

bool IsUnicode(std::uint32_t code)
{
    return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

bool IsXmlCharacter(std::uint32_t code)
{
    if (code < 0x20)
        return code == '\t' || code == '\n' || code == '\r';
    return IsUnicode(code) && code != 0xFFFE && code != 0xFFFF;
}

void AppendUtf8(std::uint32_t code, std::string& utf8)
{
    if (code < 0x80) {
        utf8.push_back(static_cast<char>(code));
        return;
    }
    const unsigned following = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    const std::uint32_t lead = following == 1 ? 0xC0 : following == 2 ? 0xE0 : 0xF0;
    utf8.push_back(static_cast<char>(lead | code >> (6 * following)));
    for (unsigned i = following; i-- > 0;)
        utf8.push_back(static_cast<char>(0x80U | (code >> (6 * i) & 0x3FU)));
}

template <bool (*Accepts)(std::uint32_t)>
bool Convert(std::wstring_view text, std::string& utf8)
{
    utf8.clear();
    utf8.reserve(text.size());
    for (const wchar_t character : text) {
        const auto code = static_cast<std::uint32_t>(character);
        if (!Accepts(code))
            return false;
        AppendUtf8(code, utf8);
    }
    return true;
}

bool IsFollowing(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

bool ToXmlUtf8(std::wstring_view text, std::string& utf8)
{
    return Convert<IsUnicode>(text, utf8);
}

bool ToXmlContent(std::wstring_view text, std::string& utf8)
{
    return Convert<IsXmlCharacter>(text, utf8);
}

BSTR MakeBstr(std::string_view utf8)
{
    std::size_t length = 0;
    for (const char byte : utf8)
        length += IsFollowing(byte) ? 0U : 1U;
    BSTR text = nullptr;
    if (length < std::numeric_limits<UINT>::max() / sizeof(wchar_t))
        text = SysAllocStringLen(nullptr, static_cast<UINT>(length));
    if (text == nullptr)
        throw CComError(E_OUTOFMEMORY);

    // The length was counted by the same rule, so the characters fit whatever the bytes are.
    wchar_t* target = text;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i++]);
        std::uint32_t code = lead < 0x80   ? lead
                             : lead < 0xE0 ? lead & 0x1FU
                             : lead < 0xF0 ? lead & 0x0FU
                                           : lead & 0x07U;
        for (; i < utf8.size() && IsFollowing(utf8[i]); ++i)
            code = code << 6 | (static_cast<unsigned char>(utf8[i]) & 0x3FU);
        if (target != text + length)
            *target++ = static_cast<wchar_t>(code);
    }
    return text;
}

} // namespace com_posix
