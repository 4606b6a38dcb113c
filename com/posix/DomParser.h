#pragma once

#include "com/XmlScan.h"
#include "com/posix/DomTree.h"

#include <string>
#include <string_view>

namespace com_posix {

/// Parses a document; null when it was refused, and error then says why. Throws std::bad_alloc.
///
/// What bounds a document from a stranger: nothing is read but these bytes (no network, no external file), there is no
/// document type, and it is within the limits of the thread (com/XmlLimits.h). Safe from any thread.
///
/// Bytes that were scanned (com/XmlScan.h), whose encoding is told by a byte-order mark or an encoding declaration,
/// else UTF-8.
[[nodiscard]] CDomTreePtr ParseXmlBytes(std::string_view bytes, bool preserveWhiteSpace, SXmlError& error);
/// Wide text; an encoding that it declares means nothing here. White space before it is skipped.
[[nodiscard]] CDomTreePtr ParseXmlText(std::wstring_view text, bool preserveWhiteSpace, SXmlError& error);

} // namespace com_posix
