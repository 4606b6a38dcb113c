#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/Com.h"
#include "com/Xml.h"

/// Look-ups by node name over the DOM. Static functions without state; safe from any thread whose COM is initialised, one document
/// on one thread at a time. Names are whole node names, prefix included, compared without regard to case; there is no namespace
/// handling.
///
/// Interface pointers passed in are borrowed; those passed out carry one reference for the caller. Every function returns true for
/// success and none throws for something missing. CComError (E_POINTER, E_OUTOFMEMORY) is possible when the DOM itself breaks.
class ZEL_API CXMLTools {
public:
    /// Parses text. On failure errorText tells code, reason, line and column. The text must be a BSTR or at least zero-terminated.
    static bool CreateXmlDomFromString(wchar_t* xml, IXMLDOMDocument** document, CString& errorText);
    /// The same, giving the document element, which keeps its document alive. A null element with true: there is none.
    static bool CreateXmlDomFromString(wchar_t* xml, IXMLDOMElement** element, CString& errorText);
    /// Loads a file. errorText is written on failure only.
    static bool CreateXmlDomFromFile(CString path, IXMLDOMDocument** document, CString& errorText);
    static bool CreateXmlDomFromFile(CString path, IXMLDOMElement** element, CString& errorText);

    /// The first descendant of this name: a direct child wins over deeper ones, then the first child's subtree. *found must
    /// be null on entry, else false.
    static bool GetNodeByName(IXMLDOMNode* parent, const CString& name, IXMLDOMNode** found);
    /// The next sibling of this name after the start node. Overwrites *found.
    static bool GetNextSiblingByName(IXMLDOMNode* start, const CString& name, IXMLDOMNode** found);

    static bool GetNodeValue(IXMLDOMNode* node, CString& value);
    /// Gives the node the data type "i4". -1 when that fails.
    static bool GetNodeValue(IXMLDOMNode* node, LONG& value);
    /// Value of the named descendant; true when it was found, whatever reading it gave.
    static bool GetNodeValue(IXMLDOMNode* parent, const CString& name, CString& value);
    static bool GetNodeValue(IXMLDOMNode* parent, const CString& name, LONG& value);

    static bool GetAttributeValue(IXMLDOMNode* node, const CString& name, CString& value);
    /// -1 when it is missing, 0 when it is no number.
    static bool GetAttributeValue(IXMLDOMNode* node, const CString& name, LONG& value);
    /// All zero when it is missing or no GUID in braces; true whenever the attribute is there.
    static bool GetAttributeValue(IXMLDOMNode* node, const CString& name, GUID& value);
};
