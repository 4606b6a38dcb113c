#include "framework/archive/XMLArchiveLoader.h"

#include "com/Bstr.h"
#include "com/Variant.h"
#include "com/XmlLoad.h"
#include "com/ZelCom.h"
#include "framework/archive/XMLArchiveFrame.h"
#include "platform/Text.h"

#include <string_view>

namespace {

bool Fail(std::wstring& errorText, std::wstring reason)
{
    errorText = std::move(reason);
    return false;
}

bool ReadText(const std::wstring& path, std::wstring& text, std::wstring& errorText, bool& isUnreadable)
{
    std::string bytes;
    SXmlError error;
    if (!ReadXmlFile(path, XmlLimitsOfThread(), bytes, error)) {
        isUnreadable = FAILED(error.code);
        return Fail(errorText, platform::FromUtf8(error.reason));
    }
    std::string_view view = bytes;
    if (view.starts_with("\xEF\xBB\xBF"))
        view.remove_prefix(3);
    // The parser takes a zero-terminated text: what stands behind a zero would be dropped without a word.
    if (view.find('\0') != std::string_view::npos)
        return Fail(errorText, L"The file is not text");
    text = platform::FromUtf8(view);
    return platform::HasLoneSurrogates(text) ? Fail(errorText, L"The file is not UTF-8") : true;
}

bool HasName(IXMLDOMNode* node, const std::wstring& name)
{
    DOMNodeType type = NODE_INVALID;
    CBstr nodeName;
    return SUCCEEDED(node->get_nodeType(&type)) && type == NODE_ELEMENT &&
           SUCCEEDED(node->get_nodeName(nodeName.Put())) && nodeName.View() == name;
}

/// The first element of this name from a node on.
CComPtr<IXMLDOMNode> FindFrom(CComPtr<IXMLDOMNode> node, const std::wstring& name)
{
    while (node && !HasName(node.Get(), name)) {
        CComPtr<IXMLDOMNode> next;
        static_cast<void>(node->get_nextSibling(next.Put()));
        node = std::move(next);
    }
    return node;
}

} // namespace

bool CXMLArchiveLoader::Load(const std::wstring& path, std::wstring& errorText, bool& isUnreadable)
{
    std::wstring text;
    return ReadText(path, text, errorText, isUnreadable) && Parse(text, errorText) && StandOnFrame(errorText);
}

bool CXMLArchiveLoader::Parse(const std::wstring& text, std::wstring& errorText)
{
    const HRESULT created = CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER,
                                                ComIid<IXMLDOMDocument>(), m_document.PutVoid());
    if (FAILED(created) || !m_document)
        return Fail(errorText, L"Cannot create instance of DOM document");
    static_cast<void>(m_document->put_preserveWhiteSpace(VARIANT_TRUE));
    const CBstr xml{std::wstring_view(text)};
    SXmlError error;
    return LoadXmlText(*m_document, xml.Get(), error) ? true : Fail(errorText, platform::FromUtf8(error.reason));
}

bool CXMLArchiveLoader::StandOnFrame(std::wstring& errorText)
{
    CComPtr<IXMLDOMElement> root;
    static_cast<void>(m_document->get_documentElement(root.Put()));
    m_path.assign(1, CComPtr<IXMLDOMNode>(root.Get()));
    std::wstring version;
    const bool isFrame = root && HasName(root.Get(), XMLArchiveFrame::kElement) &&
                         GetAttribute(XMLArchiveFrame::kVersionAttribute, version) &&
                         version == XMLArchiveFrame::kVersion;
    return isFrame ? true : Fail(errorText, L"The file is no archive of a known version");
}

bool CXMLArchiveLoader::Enter(const std::wstring& name)
{
    CComPtr<IXMLDOMNode> first;
    if (!IsOnElement() || FAILED(m_path.back()->get_firstChild(first.Put())))
        return false;
    CComPtr<IXMLDOMNode> child = FindFrom(std::move(first), name);
    if (!child)
        return false;
    m_path.push_back(std::move(child));
    return true;
}

bool CXMLArchiveLoader::Leave()
{
    if (m_path.size() == 1)
        return false;
    m_path.pop_back();
    return true;
}

bool CXMLArchiveLoader::NextSibling(const std::wstring& name)
{
    if (m_path.size() == 1 || !IsOnElement())
        return false;
    CComPtr<IXMLDOMNode> next;
    static_cast<void>(m_path.back()->get_nextSibling(next.Put()));
    m_path.back() = FindFrom(std::move(next), name);
    return IsOnElement();
}

bool CXMLArchiveLoader::GetAttribute(const std::wstring& name, std::wstring& value) const
{
    value.clear();
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    if (!IsOnElement() || FAILED(m_path.back()->get_attributes(attributes.Put())) || !attributes)
        return false;
    const CBstr key{std::wstring_view(name)};
    CComPtr<IXMLDOMNode> attribute;
    if (FAILED(attributes->getNamedItem(key.Get(), attribute.Put())) || !attribute)
        return false;
    CVariant text;
    if (FAILED(attribute->get_nodeValue(text.Put())))
        return false;
    value = text.Text();
    return true;
}

bool CXMLArchiveLoader::GetText(std::wstring& value) const
{
    value.clear();
    if (!IsOnElement())
        return false;
    CComPtr<IXMLDOMNode> child;
    static_cast<void>(m_path.back()->get_firstChild(child.Put()));
    while (child) {
        DOMNodeType type = NODE_INVALID;
        CVariant text;
        static_cast<void>(child->get_nodeType(&type));
        if ((type == NODE_TEXT || type == NODE_CDATA_SECTION) && SUCCEEDED(child->get_nodeValue(text.Put())))
            value += text.Text();
        CComPtr<IXMLDOMNode> next;
        static_cast<void>(child->get_nextSibling(next.Put()));
        child = std::move(next);
    }
    return true;
}
