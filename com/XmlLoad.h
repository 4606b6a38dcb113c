#pragma once

#include "com/Xml.h"
#include "com/XmlScan.h"

#include <string>

/// How the system gives a document to the DOM: after a look of its own (com/XmlScan.h), within the limits of the
/// calling thread (com/XmlLimits.h). False when it was refused; the error then says why, and the document holds what it
/// did before or nothing.

/// Reads a file once: what was looked at is what is parsed.
[[nodiscard]] ZEL_FRAMEWORK_API bool LoadXmlFile(IXMLDOMDocument& document, const std::wstring& path, SXmlError& error);
/// A zero-terminated text, or null; an encoding that it declares means nothing.
[[nodiscard]] ZEL_FRAMEWORK_API bool LoadXmlText(IXMLDOMDocument& document, wchar_t* text, SXmlError& error);

/// The answer of the two: whether the DOM took it, and if not, what it said; -1 for a line or column that it does not.
/// Internal to com/.
[[nodiscard]] bool XmlWasLoaded(IXMLDOMDocument& document, VARIANT_BOOL loaded, SXmlError& error);
