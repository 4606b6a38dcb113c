#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <string>
#include <string_view>

/// How much of a text CWQ_XMLName lets pass.
enum eXMLNameMode : std::uint32_t {
    eXMLNameMode_Identifier = 0, ///< letters and digits of ASCII and "_", no digit in front
    eXMLNameMode_Printable = 1,  ///< all from "!" up except "."; every number that has no name here counts as this
    eXMLNameMode_Any = 2,        ///< everything: the text is a name already
};

/// An element or attribute name of an archive made out of any text. A character that the mode does not let pass becomes
/// "." and the last two digits of its code, hexadecimal in lower case; a first character of that kind puts "XE" in
/// front. The text is taken unit by unit as signed numbers, bytes for 8-bit text and UTF-16 for wide text on every
/// system, so units from the upper half count as control characters. Nothing promises that different texts give
/// different names.
class ZEL_FRAMEWORK_API CWQ_XMLName {
public:
    CWQ_XMLName(std::string_view text, std::uint32_t mode);
    CWQ_XMLName(std::wstring_view text, std::uint32_t mode);

    [[nodiscard]] const std::wstring& GetText() const { return m_strText; }
    [[nodiscard]] std::uint32_t GetMode() const { return m_dwMode; }

private:
    std::wstring m_strText;
    std::uint32_t m_dwMode;
};
