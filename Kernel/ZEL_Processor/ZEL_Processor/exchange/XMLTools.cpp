#include "ZEL_Processor/XMLTools.h"

#include "HexText.h"
#include "com/Bstr.h"
#include "com/ComPtr.h"
#include "com/Guid.h"
#include "com/Variant.h"
#include "com/XmlLoad.h"
#include "com/ZelCom.h"
#include "framework/Services.h"
#include "platform/Text.h"

#include <algorithm>
#include <cwchar>
#include <limits>
#include <string>
#include <vector>

namespace {

CComPtr<IXMLDOMDocument> CreateDocument(CString& errorText)
{
    CComPtr<IXMLDOMDocument> document;
    const HRESULT hr = CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument>(),
                                           document.PutVoid());
    if (FAILED(hr) || !document) {
        errorText = FormatText(L"Cannot create instance of DOM document, HRESULT=0x%lx", {HexText(hr)});
        document.Reset();
    }
    return document;
}

CString ErrorTextOf(const SXmlError& error)
{
    return FormatText(L"Error 0x%lx\n%ls\nLine=%ld, row=%ld",
                      {HexText(error.code), platform::FromUtf8(error.reason), std::to_wstring(error.line),
                       std::to_wstring(error.column)});
}

/// Element forms: the root of what the document form loads.
template <class Load>
bool LoadElement(const Load& load, IXMLDOMElement** element)
{
    CComPtr<IXMLDOMDocument> document;
    if (!load(document.Put()))
        return false;
    static_cast<void>(document->get_documentElement(element));
    return true;
}

bool HasName(IXMLDOMNode* node, const CString& name)
{
    CBstr nodeName;
    return SUCCEEDED(node->get_nodeName(nodeName.Put())) && platform::EqualsNoCase(nodeName.View(), name);
}

bool HasChildren(IXMLDOMNode* node)
{
    VARIANT_BOOL has = VARIANT_FALSE;
    return SUCCEEDED(node->hasChildNodes(&has)) && has == VARIANT_TRUE;
}

enum eLevel { eLevel_Found, eLevel_NotFound, eLevel_Broken };

/// Compares the direct children of a node and collects those that have children of their own.
eLevel SearchLevel(IXMLDOMNode* parent, const CString& name, IXMLDOMNode** found,
                   std::vector<CComPtr<IXMLDOMNode>>& deeper)
{
    CComPtr<IXMLDOMNodeList> children;
    LONG length = 0;
    if (FAILED(parent->get_childNodes(children.Put())) || !children || FAILED(children->get_length(&length)))
        return eLevel_Broken;
    for (LONG index = 0; index < length; ++index) {
        CComPtr<IXMLDOMNode> child;
        if (FAILED(children->get_item(index, child.Put())) || !child)
            return eLevel_Broken;
        if (HasName(child.Get(), name)) {
            *found = child.Detach();
            return eLevel_Found;
        }
        if (HasChildren(child.Get()))
            deeper.push_back(std::move(child));
    }
    return eLevel_NotFound;
}

} // namespace

bool CXMLTools::CreateXmlDomFromString(wchar_t* xml, IXMLDOMDocument** document, CString& errorText)
{
    errorText.clear();
    if (!document) {
        errorText = L"ppDomDocument == NULL";
        return false;
    }
    CComPtr<IXMLDOMDocument> created = CreateDocument(errorText);
    if (!created)
        return false;
    SXmlError error;
    if (!LoadXmlText(*created, xml, error)) {
        errorText = ErrorTextOf(error);
        return false;
    }
    *document = created.Detach();
    return true;
}

bool CXMLTools::CreateXmlDomFromString(wchar_t* xml, IXMLDOMElement** element, CString& errorText)
{
    return LoadElement([&](IXMLDOMDocument** document) { return CreateXmlDomFromString(xml, document, errorText); },
                       element);
}

bool CXMLTools::CreateXmlDomFromFile(CString path, IXMLDOMDocument** document, CString& errorText)
{
    if (!document) {
        errorText = L"ppDomDocument == NULL";
        return false;
    }
    CComPtr<IXMLDOMDocument> created = CreateDocument(errorText);
    if (!created)
        return false;
    static_cast<void>(created->put_async(VARIANT_FALSE));
    SXmlError error;
    if (!LoadXmlFile(*created, path, error)) {
        errorText = ErrorTextOf(error);
        return false;
    }
    *document = created.Detach();
    return true;
}

bool CXMLTools::CreateXmlDomFromFile(CString path, IXMLDOMElement** element, CString& errorText)
{
    return LoadElement([&](IXMLDOMDocument** document) { return CreateXmlDomFromFile(path, document, errorText); },
                       element);
}

bool CXMLTools::GetNodeByName(IXMLDOMNode* parent, const CString& name, IXMLDOMNode** found)
{
    if (!parent || !found || *found)
        return false;
    // The descent is depth-first with each level compared whole before it is entered. An explicit stack instead of
    // recursion: the depth of a request is its sender's choice.
    std::vector<CComPtr<IXMLDOMNode>> waiting;
    waiting.emplace_back(parent);
    while (!waiting.empty()) {
        const CComPtr<IXMLDOMNode> node = std::move(waiting.back());
        waiting.pop_back();
        std::vector<CComPtr<IXMLDOMNode>> deeper;
        switch (SearchLevel(node.Get(), name, found, deeper)) {
        case eLevel_Found: return true;
        case eLevel_Broken:
            if (node.Get() == parent)
                return false;
            break;
        case eLevel_NotFound:
            waiting.insert(waiting.end(), std::make_move_iterator(deeper.rbegin()),
                           std::make_move_iterator(deeper.rend()));
            break;
        }
    }
    return false;
}

bool CXMLTools::GetNextSiblingByName(IXMLDOMNode* start, const CString& name, IXMLDOMNode** found)
{
    if (!start || !found)
        return false;
    *found = nullptr;
    CComPtr<IXMLDOMNode> current(start);
    for (;;) {
        CComPtr<IXMLDOMNode> next;
        if (FAILED(current->get_nextSibling(next.Put())) || !next)
            return false;
        if (HasName(next.Get(), name)) {
            *found = next.Detach();
            return true;
        }
        current = std::move(next);
    }
}

bool CXMLTools::GetNodeValue(IXMLDOMNode* node, CString& value)
{
    value.clear();
    if (!node)
        return false;
    CVariant typed;
    if (node->get_nodeTypedValue(typed.Put()) != S_OK)
        return false;
    value = typed.Text();
    if (typed.Type() == VT_BSTR)
        return true;
    // A number, or what else the node's data type makes of it: the text that it was made from says the same.
    CBstr text;
    if (node->get_text(text.Put()) != S_OK)
        return false;
    value = text.Text();
    return true;
}

bool CXMLTools::GetNodeValue(IXMLDOMNode* node, long& value)
{
    value = -1;
    if (!node)
        return false;
    const CBstr type(L"i4");
    static_cast<void>(node->put_dataType(type.Get()));
    CVariant typed;
    // One of the DOMs answers a text that is no number with the text itself instead of a failure.
    if (node->get_nodeTypedValue(typed.Put()) != S_OK || typed.Type() != VT_I4)
        return false;
    value = typed.Get().lVal;
    return true;
}

bool CXMLTools::GetNodeValue(IXMLDOMNode* parent, const CString& name, CString& value)
{
    value.clear();
    CComPtr<IXMLDOMNode> node;
    if (!parent || !GetNodeByName(parent, name, node.Put()))
        return false;
    GetNodeValue(node.Get(), value);
    return true;
}

bool CXMLTools::GetNodeValue(IXMLDOMNode* parent, const CString& name, long& value)
{
    value = -1;
    CComPtr<IXMLDOMNode> node;
    if (!parent || !GetNodeByName(parent, name, node.Put()))
        return false;
    GetNodeValue(node.Get(), value);
    return true;
}

bool CXMLTools::GetAttributeValue(IXMLDOMNode* node, const CString& name, CString& value)
{
    value.clear();
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    if (!node || FAILED(node->get_attributes(attributes.Put())) || !attributes)
        return false;
    LONG length = 0;
    static_cast<void>(attributes->get_length(&length));
    for (LONG index = 0; index < length; ++index) {
        CComPtr<IXMLDOMNode> attribute;
        if (FAILED(attributes->get_item(index, attribute.Put())) || !attribute)
            return false;
        if (!HasName(attribute.Get(), name))
            continue;
        CVariant nodeValue;
        static_cast<void>(attribute->get_nodeValue(nodeValue.Put()));
        value = nodeValue.Text();
        return true;
    }
    return false;
}

bool CXMLTools::GetAttributeValue(IXMLDOMNode* node, const CString& name, long& value)
{
    value = -1;
    CString text;
    if (!GetAttributeValue(node, name, text))
        return false;
    const long long number = std::wcstoll(text.c_str(), nullptr, 10);
    using Limits = std::numeric_limits<LONG>;
    value = static_cast<long>(std::clamp<long long>(number, Limits::min(), Limits::max()));
    return true;
}

bool CXMLTools::GetAttributeValue(IXMLDOMNode* node, const CString& name, GUID& value)
{
    value = GUID{};
    CString text;
    if (!GetAttributeValue(node, name, text))
        return false;
    static_cast<void>(CLSIDFromStringZEL(text.c_str(), &value));
    return true;
}
