#pragma once

#include "com/Com.h"
#include "com/XmlLimits.h"

#include <string>
#include <string_view>

/// Why a document was refused. Lines and columns count from 1; 0 where there is none, -1 where nobody says.
struct SXmlError {
    LONG code = 0;      ///< the parser's own number, one of those below, or an HRESULT for a file that cannot be read
    std::string reason; ///< UTF-8, without a line end
    LONG line = 0;
    LONG column = 0;
};

// Numbers that no parser uses.
inline constexpr LONG kXmlError_DocumentType = 20001;
inline constexpr LONG kXmlError_NoCharacter = 20002; ///< the text has something that is no character
inline constexpr LONG kXmlError_Encoding = 20003;
inline constexpr LONG kXmlError_Limit = 20010; ///< and the following: kXmlLimits by their index

/// One look over a document before a parser has it: parsers have limits of their own, which differ, or none, and notice
/// late. False for a document that is beyond a limit, declares a document type (which is where external files, entities
/// that grow and default values come from), or is in an encoding in which this look would see something else than the
/// parser. Whether a document is well formed is not asked: what is not, the parser refuses, and what it reads until
/// then is within the limits. Time and memory are in proportion to the length.
[[nodiscard]] ZEL_FRAMEWORK_API bool ScanXmlBytes(std::string_view bytes, const SXmlLimits& limits, SXmlError& error);
/// The same of a text, in which a declared encoding means nothing.
[[nodiscard]] ZEL_FRAMEWORK_API bool ScanXmlText(std::wstring_view text, const SXmlLimits& limits, SXmlError& error);
/// Reads a file, at most as much of it as the limits allow, and scans it.
[[nodiscard]] ZEL_FRAMEWORK_API bool ReadXmlFile(const std::wstring& path, const SXmlLimits& limits, std::string& bytes,
                                                 SXmlError& error);
/// The error of a document with more bytes than allowed.
[[nodiscard]] SXmlError XmlTooLong(const SXmlLimits& limits);
