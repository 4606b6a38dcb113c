#pragma once

#include "com/posix/DomTree.h"

#include <string>
#include <string_view>

namespace com_posix {

/// Why a document was refused. Lines and columns count from 1; 0 where there is none.
struct SDomParseError {
    LONG code = 0;      ///< the parser's own number; an HRESULT for a file that cannot be read
    std::string reason; ///< UTF-8, without a line end
    LONG line = 0;
    LONG column = 0;
};

/// A number that the parser does not use: the document declares something that this system does not take.
inline constexpr LONG kDomError_RefusedDeclaration = 20001;
/// The text has something that is no character.
inline constexpr LONG kDomError_NoCharacter = 20002;
/// Longer than the parser can count.
inline constexpr LONG kDomError_TooLong = 20003;

/// Parses a document; null when it was refused, and error then says why. Throws std::bad_alloc.
///
/// What bounds a document from a stranger: nothing is read but these bytes (no network, no external entity or DTD); an
/// entity may be declared in the document itself and expands within the parser's limit of amplification; parameter
/// entities and default attribute values are refused; elements nest 256 deep, and 10 MB is the most for an attribute's
/// value, a comment, a processing instruction, a CDATA section, and for a document that is not in UTF-8, which are the
/// parser's own limits. A text may be as long as the document. Safe from any thread.
///
/// Bytes whose encoding is told by a byte-order mark or an encoding declaration, else UTF-8.
[[nodiscard]] CDomTreePtr ParseXmlBytes(std::string_view bytes, bool preserveWhiteSpace, SDomParseError& error);
/// Wide text; an encoding that it declares means nothing here. White space before it is skipped.
[[nodiscard]] CDomTreePtr ParseXmlText(std::wstring_view text, bool preserveWhiteSpace, SDomParseError& error);

} // namespace com_posix
