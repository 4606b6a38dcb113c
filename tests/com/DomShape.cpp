#include "DomShape.h"

#include "com/Bstr.h"
#include "com/Variant.h"

namespace {

std::wstring NameOf(IXMLDOMNode& node)
{
    CBstr name;
    ThrowIfFailed(node.get_nodeName(name.Put()));
    return name.Text();
}

std::wstring ValueOf(IXMLDOMNode& node)
{
    CVariant value;
    ThrowIfFailed(node.get_nodeValue(value.Put()));
    return std::wstring(value.Text());
}

std::wstring Children(IXMLDOMNode& node)
{
    CComPtr<IXMLDOMNodeList> children;
    ThrowIfFailed(node.get_childNodes(children.Put()));
    LONG length = 0;
    ThrowIfFailed(children->get_length(&length));
    std::wstring shape;
    for (LONG index = 0; index < length; ++index) {
        CComPtr<IXMLDOMNode> child;
        ThrowIfFailed(children->get_item(index, child.Put()));
        shape += (index == 0 ? L"" : L" ") + DomShape(*child);
    }
    return shape;
}

std::wstring Attributes(IXMLDOMNode& element)
{
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    ThrowIfFailed(element.get_attributes(attributes.Put()));
    LONG length = 0;
    ThrowIfFailed(attributes->get_length(&length));
    std::wstring shape;
    for (LONG index = 0; index < length; ++index) {
        CComPtr<IXMLDOMNode> attribute;
        ThrowIfFailed(attributes->get_item(index, attribute.Put()));
        shape += L"@" + NameOf(*attribute) + L"='" + ValueOf(*attribute) + L"'";
    }
    return shape.empty() ? shape : L"[" + shape + L"]";
}

std::wstring ElementShape(IXMLDOMNode& element)
{
    const std::wstring children = Children(element);
    return NameOf(element) + Attributes(element) + (children.empty() ? L"" : L"(" + children + L")");
}

} // namespace

std::wstring DomShape(IXMLDOMNode& node)
{
    DOMNodeType type = NODE_INVALID;
    ThrowIfFailed(node.get_nodeType(&type));
    switch (type) {
    case NODE_DOCUMENT: return Children(node);
    case NODE_ELEMENT: return ElementShape(node);
    case NODE_TEXT: return L"'" + ValueOf(node) + L"'";
    case NODE_CDATA_SECTION: return L"<" + ValueOf(node) + L">";
    case NODE_COMMENT: return L"!" + ValueOf(node);
    case NODE_PROCESSING_INSTRUCTION: return L"?" + NameOf(node) + L" " + ValueOf(node);
    case NODE_DOCUMENT_TYPE: return L"doctype:" + NameOf(node);
    case NODE_ENTITY_REFERENCE: return L"&" + NameOf(node) + L";";
    default: return L"node of type " + std::to_wstring(static_cast<int>(type));
    }
}
