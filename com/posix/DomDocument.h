#pragma once

#include "com/ComPtr.h"
#include "com/Xml.h"
#include "com/posix/DomTree.h"

namespace com_posix {

/// A new, empty document, as the class object makes it.
[[nodiscard]] HRESULT CreateDomDocument(REFIID iid, void** object) noexcept;
/// The document object of a tree: the same as long as somebody holds it. A tree that its document has replaced by
/// another one, or outlived it, gets a new one.
[[nodiscard]] CComPtr<IXMLDOMDocument> DomDocumentOf(const CDomTreePtr& tree);

} // namespace com_posix
