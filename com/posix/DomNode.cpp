#include "com/posix/DomNode.h"

#include "com/Bstr.h"
#include "com/posix/DomCollections.h"
#include "com/posix/DomDocument.h"
#include "com/posix/DomText.h"
#include "com/posix/DomTypedValue.h"
#include "com/posix/DomWriter.h"

#include <libxml/tree.h>

#include <array>
#include <charconv>
#include <string_view>

namespace com_posix {
namespace {

bool HoldsText(DOMNodeType type)
{
    return type == NODE_TEXT || type == NODE_CDATA_SECTION || type == NODE_COMMENT ||
           type == NODE_PROCESSING_INSTRUCTION;
}

HRESULT HandOutText(const std::string& utf8, BSTR* text)
{
    *text = MakeBstr(utf8);
    return S_OK;
}

HRESULT HandOutText(const std::string& utf8, VARIANT* value)
{
    value->bstrVal = MakeBstr(utf8);
    value->vt = VT_BSTR;
    return S_OK;
}

/// Markup has no escape for what ends these: the rest would be read as markup that nobody built. (A CDATA section is
/// written in two.)
bool CanHold(DOMNodeType type, std::string_view content)
{
    if (type == NODE_COMMENT)
        return content.find("--") == std::string_view::npos && !content.ends_with('-');
    return type != NODE_PROCESSING_INSTRUCTION || content.find("?>") == std::string_view::npos;
}

/// What the DOM does not hand out counts as absent: null, and S_FALSE as the result.
HRESULT HandOutNothing(VARIANT* value)
{
    value->vt = VT_NULL;
    return S_FALSE;
}

bool MayBeAppended(const xmlNode* parent, const xmlNode* child)
{
    const DOMNodeType parentType = TypeOf(parent);
    const DOMNodeType childType = TypeOf(child);
    if (childType != NODE_ELEMENT && !HoldsText(childType))
        return false;
    if (parentType == NODE_DOCUMENT) {
        const xmlNode* root = xmlDocGetRootElement(parent->doc);
        const bool isText = childType == NODE_TEXT || childType == NODE_CDATA_SECTION;
        return !isText && (childType != NODE_ELEMENT || root == nullptr || root == child);
    }
    if (parentType != NODE_ELEMENT || parent == child)
        return false;
    // Only what has children can stand above the parent; asking first keeps the building of a deep tree linear.
    if (child->children == nullptr)
        return true;
    for (const xmlNode* above = parent; above != nullptr; above = above->parent) {
        if (above == child)
            return false;
    }
    return true;
}

} // namespace

HRESULT CDomNode::GetName(BSTR* name) const
{
    return HandOutText(NameOf(m_pNode), name);
}

HRESULT CDomNode::GetValue(VARIANT* value) const
{
    if (Type() != NODE_ATTRIBUTE && !HoldsText(Type()))
        return HandOutNothing(value);
    return HandOutText(ValueOf(m_pNode), value);
}

HRESULT CDomNode::PutValue(const VARIANT& value) const
{
    if (IsNamespaceDeclaration(m_pNode) || (Type() != NODE_ATTRIBUTE && !HoldsText(Type())))
        return E_FAIL;
    return PutText(value);
}

HRESULT CDomNode::GetText(BSTR* text) const
{
    return HandOutText(TextOf(*m_pTree, m_pNode), text);
}

HRESULT CDomNode::PutText(const VARIANT& value) const
{
    const std::string content = ContentOf(value);
    if (!CanHold(Type(), content))
        return E_FAIL;
    if (HoldsText(Type()))
        xmlNodeSetContentLen(m_pNode, XmlChars(content.data()), static_cast<int>(content.size()));
    else if (Type() == NODE_ELEMENT || (Type() == NODE_ATTRIBUTE && !IsNamespaceDeclaration(m_pNode)))
        m_pTree->SetText(m_pNode, content);
    else
        return E_FAIL;
    return S_OK;
}

xmlNode* CDomNode::TypedElement() const
{
    if (Type() == NODE_ELEMENT)
        return m_pNode;
    const bool isText = Type() == NODE_TEXT || Type() == NODE_CDATA_SECTION;
    xmlNode* parent = isText ? ParentOf(m_pNode) : nullptr;
    return parent != nullptr && parent->type == XML_ELEMENT_NODE ? parent : nullptr;
}

HRESULT CDomNode::GetTypedValue(VARIANT* value) const
{
    if (Type() != NODE_ELEMENT && Type() != NODE_ATTRIBUTE && !HoldsText(Type()))
        return HandOutNothing(value);
    const std::string text = TextOf(*m_pTree, m_pNode);
    const xmlNode* element = TypedElement();
    const std::string type = element == nullptr ? std::string() : DataTypeOf(element);
    const HRESULT converted = ConvertTypedValue(type, text, *value);
    return converted == S_FALSE ? HandOutText(text, value) : converted;
}

HRESULT CDomNode::GetDataType(VARIANT* name) const
{
    const xmlNode* element = TypedElement();
    const std::string type = element == nullptr ? std::string() : DataTypeOf(element);
    return type.empty() ? HandOutNothing(name) : HandOutText(type, name);
}

HRESULT CDomNode::PutDataType(BSTR name) const
{
    if (name == nullptr)
        return E_INVALIDARG;
    std::string type;
    xmlNode* element = TypedElement();
    if (element == nullptr || !ToXmlUtf8(name, type))
        return E_FAIL;
    return SetDataType(*m_pTree, element, type);
}

HRESULT CDomNode::GetTypeString(BSTR* name) const
{
    static constexpr std::array<const char*, 13> names = {
        "invalid",      "element",         "attribute",    "text",
        "cdatasection", "entityreference", "entity",       "processinginstruction",
        "comment",      "document",        "documenttype", "documentfragment",
        "notation"};
    return HandOutText(names.at(static_cast<std::size_t>(Type())), name);
}

HRESULT CDomNode::GetXml(BSTR* xml) const
{
    return HandOutText(WriteXml(m_pNode), xml);
}

HRESULT CDomNode::GetChildNodes(IXMLDOMNodeList** list) const
{
    *list = MakeDomNodeList(m_pTree, m_pNode).Detach();
    return S_OK;
}

HRESULT CDomNode::GetAttributes(IXMLDOMNamedNodeMap** map) const
{
    if (Type() != NODE_ELEMENT)
        return S_FALSE;
    *map = MakeDomAttributeMap(m_pTree, m_pNode).Detach();
    return S_OK;
}

HRESULT CDomNode::AppendChild(IXMLDOMNode* child, IXMLDOMNode** appended) const
{
    const CDomNode* place = child == nullptr ? nullptr : AccessDomNode(child);
    if (place == nullptr)
        return E_INVALIDARG;
    // A node lives in the memory of its document, so it does not move to another one.
    if (place->m_pTree != m_pTree || !MayBeAppended(m_pNode, place->m_pNode))
        return E_FAIL;
    m_pTree->Append(m_pNode, place->m_pNode);
    return appended == nullptr ? S_OK : HandOut(place->m_pNode, appended);
}

HRESULT CDomNode::RemoveChild(IXMLDOMNode* child, IXMLDOMNode** removed) const
{
    const CDomNode* place = child == nullptr ? nullptr : AccessDomNode(child);
    if (place == nullptr || place->m_pTree != m_pTree || ParentOf(place->m_pNode) != m_pNode)
        return E_INVALIDARG;
    m_pTree->Unlink(place->m_pNode);
    return removed == nullptr ? S_OK : HandOut(place->m_pNode, removed);
}

HRESULT CDomNode::GetOwnerDocument(IXMLDOMDocument** document) const
{
    if (Type() == NODE_DOCUMENT)
        return S_FALSE;
    *document = DomDocumentOf(m_pTree).Detach();
    return S_OK;
}

HRESULT CDomNode::HandOut(xmlNode* neighbour, IXMLDOMNode** node) const
{
    if (neighbour == nullptr)
        return S_FALSE;
    *node = MakeDomNode(m_pTree, neighbour).Detach();
    return S_OK;
}

const CDomNode* AccessDomNode(IXMLDOMNode* node)
{
    void* access = nullptr;
    if (FAILED(node->QueryInterface(ComIid<IDomNodeAccess>(), &access)))
        return nullptr;
    // The object stays alive through the caller's reference.
    auto* place = static_cast<IDomNodeAccess*>(access);
    const CDomNode* result = &place->Access();
    place->Release();
    return result;
}

bool TextOfVariant(const VARIANT& value, std::wstring& text)
{
    switch (value.vt) {
    case VT_EMPTY:
    case VT_NULL: text.clear(); return true;
    case VT_BSTR:
        text = value.bstrVal == nullptr ? std::wstring() : std::wstring(value.bstrVal, SysStringLen(value.bstrVal));
        return true;
    case VT_I2: text = std::to_wstring(value.iVal); return true;
    case VT_I4:
    case VT_INT: text = std::to_wstring(value.lVal); return true;
    case VT_UI4:
    case VT_UINT: text = std::to_wstring(value.ulVal); return true;
    case VT_I8: text = std::to_wstring(value.llVal); return true;
    case VT_BOOL: text = value.boolVal == VARIANT_FALSE ? L"0" : L"-1"; return true;
    case VT_R8: {
        std::array<char, 40> digits{}; // with a point, whatever the host's locale has
        char* const end =
            std::to_chars(digits.data(), digits.data() + digits.size(), value.dblVal, std::chars_format::general, 15)
                .ptr;
        text.assign(digits.data(), end);
        return true;
    }
    default: return false;
    }
}

std::string ContentOf(const VARIANT& value)
{
    std::wstring text;
    if (!TextOfVariant(value, text))
        throw CComError(DISP_E_TYPEMISMATCH);
    std::string content;
    if (!ToXmlContent(text, content))
        throw CComError(E_INVALIDARG);
    return content;
}

std::string XmlNameOf(BSTR name)
{
    if (name == nullptr)
        throw CComError(E_INVALIDARG);
    std::string utf8;
    if (!ToXmlContent(name, utf8) || xmlValidateName(XmlChars(utf8.c_str()), 0) != 0)
        throw CComError(E_FAIL);
    return utf8;
}

} // namespace com_posix
