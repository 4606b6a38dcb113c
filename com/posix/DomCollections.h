#pragma once

#include "com/ComPtr.h"
#include "com/Xml.h"
#include "com/posix/DomTree.h"

namespace com_posix {

/// A live list of a node's children.
[[nodiscard]] CComPtr<IXMLDOMNodeList> MakeDomNodeList(const CDomTreePtr& tree, xmlNode* parent);
/// A live map of an element's attributes.
[[nodiscard]] CComPtr<IXMLDOMNamedNodeMap> MakeDomAttributeMap(const CDomTreePtr& tree, xmlNode* element);

} // namespace com_posix
