#include "plugins/datastore/XmlElements.h"

#include "com/Bstr.h"
#include "com/Variant.h"
#include "platform/Text.h"

namespace {

DOMNodeType TypeOf(const CComPtr<IXMLDOMNode>& node)
{
    DOMNodeType type = NODE_INVALID;
    ThrowIfFailed(node->get_nodeType(&type));
    return type;
}

/// Calls the visitor with each child, in order.
template <class Visitor>
void ForEachChild(IXMLDOMNode* parent, Visitor&& visitor)
{
    CComPtr<IXMLDOMNode> child;
    ThrowIfFailed(CComPtr<IXMLDOMNode>(parent)->get_firstChild(child.Put()));
    while (child) {
        visitor(child);
        CComPtr<IXMLDOMNode> next;
        ThrowIfFailed(child->get_nextSibling(next.Put()));
        child = std::move(next);
    }
}

} // namespace

std::vector<CComPtr<IXMLDOMNode>> ChildElements(IXMLDOMNode* parent, const CString& name)
{
    std::vector<CComPtr<IXMLDOMNode>> found;
    ForEachChild(parent, [&](const CComPtr<IXMLDOMNode>& child) {
        if (TypeOf(child) != NODE_ELEMENT)
            return;
        CBstr childName;
        ThrowIfFailed(child->get_nodeName(childName.Put()));
        if (platform::EqualsNoCase(childName.View(), name))
            found.push_back(child);
    });
    return found;
}

CString ElementText(IXMLDOMNode* element)
{
    CString text;
    ForEachChild(element, [&](const CComPtr<IXMLDOMNode>& child) {
        const DOMNodeType type = TypeOf(child);
        if (type != NODE_TEXT && type != NODE_CDATA_SECTION)
            return;
        CVariant value;
        ThrowIfFailed(child->get_nodeValue(value.Put()));
        text += value.Text();
    });
    return text;
}

bool RequiredText(IXMLDOMNode* task, const CString& name, CString& text, CString& error)
{
    const auto found = ChildElements(task, name);
    if (found.size() == 1) {
        text = ElementText(found.front().Get());
        return true;
    }
    error = found.empty() ? L"The task has no \"" + name + L"\" element."
                          : L"The task has more than one \"" + name + L"\" element.";
    return false;
}

CString Trimmed(const CString& text)
{
    constexpr const wchar_t* kBlanks = L" \t\r\n";
    const auto first = text.find_first_not_of(kBlanks);
    if (first == CString::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}
