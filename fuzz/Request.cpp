#include "ZEL_Processor/ZelPluginRequest.h"

#include "com/Variant.h"
#include "com/XmlLimits.h"
#include "fuzz/Fuzz.h"

#include <vector>

namespace {

/// Small, so that short inputs meet them.
SXmlLimits SmallLimits()
{
    SXmlLimits limits;
    limits.depth = 8;
    limits.attributes = 6;
    limits.namespaces = 4;
    limits.nameLength = 30;
    limits.textLength = 200;
    return limits;
}

void RequireName(IXMLDOMNode& node, const SXmlLimits& limits)
{
    CBstr name;
    Require(node.get_nodeName(name.Put()) == S_OK && name.View().size() <= limits.nameLength);
}

void RequireText(IXMLDOMNode& node, const SXmlLimits& limits)
{
    CVariant value;
    if (node.get_nodeValue(value.Put()) == S_OK)
        Require(value.Text().size() <= limits.textLength);
}

void RequireAttributes(IXMLDOMNode& node, const SXmlLimits& limits)
{
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    if (node.get_attributes(attributes.Put()) != S_OK)
        return;
    LONG length = 0;
    Require(attributes->get_length(&length) == S_OK && static_cast<std::uint64_t>(length) <= limits.attributes);
    for (LONG index = 0; index < length; ++index) {
        CComPtr<IXMLDOMNode> attribute;
        Require(attributes->get_item(index, attribute.Put()) == S_OK);
        RequireName(*attribute, limits);
        RequireText(*attribute, limits);
    }
}

/// What the parser made is within what the look before it let through: else the two read different markup.
void RequireWithin(IXMLDOMNode& document, const SXmlLimits& limits)
{
    std::vector<CComPtr<IXMLDOMNode>> path;
    CComPtr<IXMLDOMNode> node(&document);
    while (node) {
        RequireName(*node, limits);
        RequireText(*node, limits);
        RequireAttributes(*node, limits);
        CComPtr<IXMLDOMNode> next;
        if (node->get_firstChild(next.Put()) == S_OK)
            path.push_back(node);
        Require(path.size() <= limits.depth + 1); // the document and the elements around a text
        while (!next && !path.empty()) {
            if (node->get_nextSibling(next.Put()) != S_OK) {
                node = path.back();
                path.pop_back();
            }
        }
        node = std::move(next);
    }
}

} // namespace

/// A request, as the server loads it: a file, its text, a document of the task's own and the look-ups in it. What is
/// within the limits as a file is so when it is written out.
void TryBytes(const std::string& bytes)
{
    static const SXmlLimits limits = SmallLimits();
    SetXmlLimitsOfThread(limits);
    CComPtr<IXMLDOMDocument> file;
    CString errorText;
    const std::wstring path = ScratchFile(bytes);
    if (!CXMLTools::CreateXmlDomFromFile(path, file.Put(), errorText))
        return Require(errorText.starts_with(L"Error 0x") && errorText.find(L"0x0\n") == CString::npos);
    RequireWithin(*file, limits);
    CComPtr<IXMLDOMElement> root;
    CBstr xml;
    Require(file->get_documentElement(root.Put()) == S_OK && root->get_xml(xml.Put()) == S_OK);
    CComPtr<IXMLDOMDocument> document;
    Require(CXMLTools::CreateXmlDomFromString(xml.Get(), document.Put(), errorText));
    CComPtr<IXMLDOMNode> task;
    if (!CXMLTools::GetNodeByName(document.Get(), L"Task", task.Put()))
        return;
    CString text;
    CXMLTools::GetAttributeValue(task.Get(), L"Type", text);
    CXMLTools::GetNodeValue(task.Get(), L"Id", text);
    CXMLTools::GetNodeValue(task.Get(), text);
}
