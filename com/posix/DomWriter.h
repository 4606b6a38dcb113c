#pragma once

#include "com/posix/DomTree.h"

#include <string>

namespace com_posix {

/// The markup of a node and all below it in UTF-8, not indented. In a document every part at the top ends in CR LF, as
/// the DOM has it.
[[nodiscard]] std::string WriteXml(const xmlNode* node);
/// The bytes of a document file: in the encoding that the document declares, else UTF-8, every part at the top ending
/// in LF. Throws CComError(E_FAIL) for an encoding that is not known.
[[nodiscard]] std::string WriteXmlFile(const CDomTree& tree);

} // namespace com_posix
