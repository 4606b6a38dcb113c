#pragma once

#include "com/ComObject.h"
#include "com/Xml.h"
#include "com/posix/DomTree.h"

#include <string>
#include <utility>

namespace com_posix {

/// A place in a tree and what every kind of node can do. Members are those of IXMLDOMNode, with checked arguments; they
/// throw CComError and std::bad_alloc.
class CDomNode {
public:
    CDomNode(CDomTreePtr tree, xmlNode* node) : m_pTree(std::move(tree)), m_pNode(node) {}

    [[nodiscard]] const CDomTreePtr& Tree() const { return m_pTree; }
    [[nodiscard]] xmlNode* Node() const { return m_pNode; }
    [[nodiscard]] DOMNodeType Type() const { return TypeOf(m_pNode); }

    HRESULT GetName(BSTR* name) const;
    HRESULT GetValue(VARIANT* value) const;
    HRESULT PutValue(const VARIANT& value) const;
    HRESULT GetText(BSTR* text) const;
    HRESULT PutText(const VARIANT& value) const;
    HRESULT GetTypedValue(VARIANT* value) const;
    HRESULT GetDataType(VARIANT* name) const;
    HRESULT PutDataType(BSTR name) const;
    HRESULT GetTypeString(BSTR* name) const;
    HRESULT GetXml(BSTR* xml) const;
    HRESULT GetChildNodes(IXMLDOMNodeList** list) const;
    HRESULT GetAttributes(IXMLDOMNamedNodeMap** map) const;
    HRESULT AppendChild(IXMLDOMNode* child, IXMLDOMNode** appended) const;
    HRESULT RemoveChild(IXMLDOMNode* child, IXMLDOMNode** removed) const;
    HRESULT GetOwnerDocument(IXMLDOMDocument** document) const;
    /// Hands out a neighbour; null and S_FALSE when there is none.
    HRESULT HandOut(xmlNode* neighbour, IXMLDOMNode** node) const;

private:
    /// The element whose data type holds for this node; null when the node can't have one.
    [[nodiscard]] xmlNode* TypedElement() const;

    CDomTreePtr m_pTree;
    xmlNode* m_pNode;
};

/// Asks a foreign pointer for its place in a tree: only this DOM's objects answer.
struct IDomNodeAccess : public IUnknown {
    virtual const CDomNode& STDMETHODCALLTYPE Access() const = 0;
};

/// The object for a node, of the interface that its kind has.
[[nodiscard]] CComPtr<IXMLDOMNode> MakeDomNode(const CDomTreePtr& tree, xmlNode* node);
/// The place behind an interface of this DOM; null for a foreign object.
[[nodiscard]] const CDomNode* AccessDomNode(IXMLDOMNode* node);

/// The text of a value; false when it is of a type without one.
[[nodiscard]] bool TextOfVariant(const VARIANT& value, std::wstring& text);
/// The value of an in parameter as the content of a node; throws CComError(E_INVALIDARG) for what no document can
/// carry.
[[nodiscard]] std::string ContentOf(const VARIANT& value);
/// A name from outside. Throws CComError: E_INVALIDARG for null, E_FAIL for what is no XML name.
[[nodiscard]] std::string XmlNameOf(BSTR name);

} // namespace com_posix

// Private to this DOM; it never leaves the process.
ZEL_DECLARE_IID(com_posix::IDomNodeAccess, 0x5E6A3C1F, 0x0B7D, 0x4E52, 0x9A, 0x41, 0xD3, 0x0C, 0x7F, 0x26, 0x88, 0x15);
