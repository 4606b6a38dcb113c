#include "com/Bstr.h"
#include "com/posix/DomDocument.h"
#include "com/posix/DomNode.h"
#include "com/posix/DomNodeObject.h"
#include "com/posix/DomText.h"

#include <string>
#include <utility>

// The node objects of each kind but the document.

namespace com_posix {
namespace {

class CDomPlainNode final : public CDomNodeObject<IXMLDOMNode> {
public:
    using CDomNodeObject::CDomNodeObject;
};

class CDomElement final : public CDomNodeObject<IXMLDOMElement> {
public:
    using CDomNodeObject::CDomNodeObject;

    HRESULT STDMETHODCALLTYPE get_tagName(BSTR* tagName) override { return get_nodeName(tagName); }
    HRESULT STDMETHODCALLTYPE getAttribute(BSTR name, VARIANT* value) override
    {
        return OutValue(value, [&] {
            value->vt = VT_NULL;
            std::string utf8;
            if (name == nullptr || !ToXmlUtf8(name, utf8))
                return E_INVALIDARG;
            const xmlNode* attribute = FindAttribute(m_place.Node(), utf8);
            if (attribute == nullptr)
                return S_FALSE;
            value->bstrVal = MakeBstr(ValueOf(attribute));
            value->vt = VT_BSTR;
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE setAttribute(BSTR name, VARIANT value) override
    {
        return ComGuard([&] {
            const std::string utf8Name = XmlNameOf(name);
            const std::string content = ContentOf(value);
            if (utf8Name == "xml:space")
                m_place.Tree()->m_bMayHaveSpaceAttribute = true;
            return m_place.Tree()->SetAttribute(m_place.Node(), utf8Name, content);
        });
    }
};

class CDomAttribute final : public CDomNodeObject<IXMLDOMAttribute> {
public:
    using CDomNodeObject::CDomNodeObject;

    HRESULT STDMETHODCALLTYPE get_name(BSTR* name) override { return get_nodeName(name); }
    HRESULT STDMETHODCALLTYPE get_value(VARIANT* value) override { return get_nodeValue(value); }
    HRESULT STDMETHODCALLTYPE put_value(VARIANT value) override { return put_nodeValue(value); }
};

class CDomProcessingInstruction final : public CDomNodeObject<IXMLDOMProcessingInstruction> {
public:
    using CDomNodeObject::CDomNodeObject;

    HRESULT STDMETHODCALLTYPE get_target(BSTR* target) override { return get_nodeName(target); }
    HRESULT STDMETHODCALLTYPE get_data(BSTR* data) override
    {
        return Out(data, [&] {
            *data = MakeBstr(ValueOf(m_place.Node()));
            return S_OK;
        });
    }
};

template <class Object>
CComPtr<IXMLDOMNode> MakeNode(CDomNode place)
{
    return AttachComPtr<IXMLDOMNode>(MakeComObject<Object>(std::move(place)).Detach());
}

} // namespace

CComPtr<IXMLDOMNode> MakeDomNode(const CDomTreePtr& tree, xmlNode* node)
{
    CDomNode place(tree, node);
    switch (place.Type()) {
    case NODE_ELEMENT: return MakeNode<CDomElement>(std::move(place));
    case NODE_ATTRIBUTE: return MakeNode<CDomAttribute>(std::move(place));
    case NODE_PROCESSING_INSTRUCTION: return MakeNode<CDomProcessingInstruction>(std::move(place));
    case NODE_DOCUMENT: return AttachComPtr<IXMLDOMNode>(DomDocumentOf(tree).Detach());
    default: return MakeNode<CDomPlainNode>(std::move(place));
    }
}

} // namespace com_posix
