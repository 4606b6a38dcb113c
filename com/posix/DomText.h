#pragma once

#include "com/posix/Types.h"

#include <libxml/xmlstring.h>

#include <string>
#include <string_view>

/// Text between wide characters and the parser's UTF-8. Unlike file names, XML carries no bytes that are not text, so
/// nothing is smuggled through here: what is no character is refused.
namespace com_posix {

/// False when the text has something that is no Unicode character (a surrogate, a number too high).
[[nodiscard]] bool ToXmlUtf8(std::wstring_view text, std::string& utf8);
/// False when the text also has something that no XML document can carry (control characters, U+FFFE, U+FFFF).
[[nodiscard]] bool ToXmlContent(std::wstring_view text, std::string& utf8);

/// A BSTR of valid UTF-8. Throws CComError(E_OUTOFMEMORY).
[[nodiscard]] BSTR MakeBstr(std::string_view utf8);

[[nodiscard]] inline std::string_view ViewOf(const xmlChar* text)
{
    return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}
[[nodiscard]] inline const xmlChar* XmlChars(const char* text)
{
    return reinterpret_cast<const xmlChar*>(text);
}
[[nodiscard]] inline bool IsXmlSpace(char character)
{
    return character == ' ' || character == '\n' || character == '\r' || character == '\t';
}

} // namespace com_posix
