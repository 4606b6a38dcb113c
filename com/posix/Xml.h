#pragma once

#include "com/posix/Types.h"

// The DOM interfaces where the system has none: the members that this system uses, with the signatures and in the order
// of Windows. Do not include this directly; include "com/Xml.h".
//
// Every member gives E_INVALIDARG for a null out pointer. Absence is S_FALSE with a null out value.

struct IXMLDOMAttribute;
struct IXMLDOMDocument;
struct IXMLDOMElement;
struct IXMLDOMNamedNodeMap;
struct IXMLDOMNode;
struct IXMLDOMNodeList;
struct IXMLDOMParseError;
struct IXMLDOMProcessingInstruction;

enum DOMNodeType {
    NODE_INVALID = 0,
    NODE_ELEMENT = 1,
    NODE_ATTRIBUTE = 2,
    NODE_TEXT = 3,
    NODE_CDATA_SECTION = 4,
    NODE_ENTITY_REFERENCE = 5,
    NODE_ENTITY = 6,
    NODE_PROCESSING_INSTRUCTION = 7,
    NODE_COMMENT = 8,
    NODE_DOCUMENT = 9,
    NODE_DOCUMENT_TYPE = 10,
    NODE_DOCUMENT_FRAGMENT = 11,
    NODE_NOTATION = 12,
};

struct IXMLDOMNode : public IUnknown {
    /// Qualified name as written; "#document", "#text", "#comment", "#cdata-section" for nodes without one.
    virtual HRESULT STDMETHODCALLTYPE get_nodeName(BSTR* name) = 0;
    /// Text of a text, comment, CDATA section, processing instruction or attribute; VT_NULL and S_FALSE for every other
    /// kind.
    virtual HRESULT STDMETHODCALLTYPE get_nodeValue(VARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_nodeValue(VARIANT value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_nodeType(DOMNodeType* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_parentNode(IXMLDOMNode** parent) = 0;
    /// A live list of the children.
    virtual HRESULT STDMETHODCALLTYPE get_childNodes(IXMLDOMNodeList** childList) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_firstChild(IXMLDOMNode** firstChild) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_lastChild(IXMLDOMNode** lastChild) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_previousSibling(IXMLDOMNode** previousSibling) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_nextSibling(IXMLDOMNode** nextSibling) = 0;
    /// The attributes of an element, namespace declarations included; null and S_FALSE for every other kind of node.
    virtual HRESULT STDMETHODCALLTYPE get_attributes(IXMLDOMNamedNodeMap** attributeMap) = 0;
    virtual HRESULT STDMETHODCALLTYPE removeChild(IXMLDOMNode* childNode, IXMLDOMNode** oldChild) = 0;
    /// Moves the node, with all below it, to the end of the children; outNewChild may be null.
    virtual HRESULT STDMETHODCALLTYPE appendChild(IXMLDOMNode* newChild, IXMLDOMNode** outNewChild) = 0;
    virtual HRESULT STDMETHODCALLTYPE hasChildNodes(VARIANT_BOOL* hasChild) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ownerDocument(IXMLDOMDocument** document) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_nodeTypeString(BSTR* nodeType) = 0;
    /// All text below, concatenated.
    virtual HRESULT STDMETHODCALLTYPE get_text(BSTR* text) = 0;
    /// Replaces all children by one text node.
    virtual HRESULT STDMETHODCALLTYPE put_text(BSTR text) = 0;
    /// The text as a VT_BSTR, or converted when the node carries a data type ("i4": VT_I4; a failure when it is no such
    /// number).
    virtual HRESULT STDMETHODCALLTYPE get_nodeTypedValue(VARIANT* typedValue) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_nodeTypedValue(VARIANT typedValue) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_dataType(VARIANT* dataTypeName) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_dataType(BSTR dataTypeName) = 0;
    /// The node and all below it as markup.
    virtual HRESULT STDMETHODCALLTYPE get_xml(BSTR* xmlString) = 0;
};

struct IXMLDOMDocument : public IXMLDOMNode {
    virtual HRESULT STDMETHODCALLTYPE get_documentElement(IXMLDOMElement** element) = 0;
    virtual HRESULT STDMETHODCALLTYPE createElement(BSTR tagName, IXMLDOMElement** element) = 0;
    virtual HRESULT STDMETHODCALLTYPE createProcessingInstruction(BSTR target, BSTR data,
                                                                  IXMLDOMProcessingInstruction** instruction) = 0;
    /// Reads the file that a VT_BSTR names; the system's own sources use com/XmlLoad.h. S_FALSE and VARIANT_FALSE when
    /// it can't be read or is not well formed; parseError then tells why, and the document is empty.
    virtual HRESULT STDMETHODCALLTYPE load(VARIANT xmlSource, VARIANT_BOOL* isSuccessful) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_parseError(IXMLDOMParseError** error) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_async(VARIANT_BOOL* isAsync) = 0;
    /// Kept and given back; loading is synchronous in any case.
    virtual HRESULT STDMETHODCALLTYPE put_async(VARIANT_BOOL isAsync) = 0;
    /// Parses a zero-terminated text; an encoding that it declares is not looked at.
    virtual HRESULT STDMETHODCALLTYPE loadXML(BSTR xml, VARIANT_BOOL* isSuccessful) = 0;
    /// Writes the document to the file that a VT_BSTR names, in the encoding that it declares, else in UTF-8.
    virtual HRESULT STDMETHODCALLTYPE save(VARIANT destination) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_preserveWhiteSpace(VARIANT_BOOL* isPreserving) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_preserveWhiteSpace(VARIANT_BOOL isPreserving) = 0;
};

struct IXMLDOMElement : public IXMLDOMNode {
    virtual HRESULT STDMETHODCALLTYPE get_tagName(BSTR* tagName) = 0;
    virtual HRESULT STDMETHODCALLTYPE getAttribute(BSTR name, VARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE setAttribute(BSTR name, VARIANT value) = 0;
};

struct IXMLDOMAttribute : public IXMLDOMNode {
    virtual HRESULT STDMETHODCALLTYPE get_name(BSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_value(VARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_value(VARIANT value) = 0;
};

struct IXMLDOMProcessingInstruction : public IXMLDOMNode {
    virtual HRESULT STDMETHODCALLTYPE get_target(BSTR* target) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_data(BSTR* data) = 0;
};

struct IXMLDOMNodeList : public IUnknown {
    /// Null and S_FALSE outside the list.
    virtual HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** item) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_length(LONG* length) = 0;
    virtual HRESULT STDMETHODCALLTYPE nextNode(IXMLDOMNode** item) = 0;
    virtual HRESULT STDMETHODCALLTYPE reset() = 0;
};

struct IXMLDOMNamedNodeMap : public IUnknown {
    /// Null and S_FALSE when there is none of that name.
    virtual HRESULT STDMETHODCALLTYPE getNamedItem(BSTR name, IXMLDOMNode** item) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** item) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_length(LONG* length) = 0;
};

/// Of the last load or loadXML. When it went well, all is zero and empty, and errorCode and reason give S_FALSE. The
/// code is the parser's own number, or an HRESULT for a file that could not be read.
struct IXMLDOMParseError : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_errorCode(LONG* errorCode) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_url(BSTR* url) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_reason(BSTR* reason) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_line(LONG* line) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_linepos(LONG* linePosition) = 0;
};
