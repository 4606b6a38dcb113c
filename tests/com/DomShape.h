#pragma once

#include "com/ComPtr.h"
#include "com/Xml.h"

#include <string>

/// A node and all below it in one line, to compare documents by what they hold instead of how they are written:
///   a[@x='1'](b('text') !comment ?target data <cdata>)
/// Attributes in the DOM's order; a document is its parts with blanks between them. Nests with the document: not for
/// deep ones.
[[nodiscard]] std::wstring DomShape(IXMLDOMNode& node);
