#pragma once

#include <ZEL_Processor/ZelTypes.h>

#include "com/ComPtr.h"
#include "com/Xml.h"

#include <vector>

/// The direct children of this name, compared as everywhere in requests without regard to case.
[[nodiscard]] std::vector<CComPtr<IXMLDOMNode>> ChildElements(IXMLDOMNode* parent, const CString& name);

/// The text that stands directly in an element, CDATA sections included, with all its blanks.
[[nodiscard]] CString ElementText(IXMLDOMNode* element);

/// The text of the one child of this name. False, with a text for the client, when there is none or more than one.
[[nodiscard]] bool RequiredText(IXMLDOMNode* task, const CString& name, CString& text, CString& error);

/// Without blanks and line ends around it.
[[nodiscard]] CString Trimmed(const CString& text);
