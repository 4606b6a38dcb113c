#pragma once

#include "com/ComPtr.h"
#include "com/Xml.h"
#include "com/posix/DomTree.h"

namespace com_posix {

/// A new, empty document, as the class object makes it.
[[nodiscard]] HRESULT CreateDomDocument(REFIID iid, void** object) noexcept;
/// A document object over a tree that exists; its parse error and properties are its own.
[[nodiscard]] CComPtr<IXMLDOMDocument> MakeDomDocument(const CDomTreePtr& tree);

} // namespace com_posix
