#pragma once

#include "com/ComObject.h"
#include "com/posix/DomNode.h"

#include <utility>

namespace com_posix {

/// The IXMLDOMNode half of every node object: checks the out pointers, keeps exceptions in, and leaves the work to
/// CDomNode. Derived from an interface that is IXMLDOMNode or derives from it.
template <class Interface>
class CDomNodeObject : public CComObject<Interface, IXMLDOMNode> {
public:
    explicit CDomNodeObject(CDomNode place) : m_place(std::move(place)), m_access(*this) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (object == nullptr || iid != ComIid<IDomNodeAccess>())
            return CComObject<Interface, IXMLDOMNode>::QueryInterface(iid, object);
        *object = static_cast<IDomNodeAccess*>(&m_access);
        this->AddRef();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get_nodeName(BSTR* name) override
    {
        return Out(name, [&] { return m_place.GetName(name); });
    }
    HRESULT STDMETHODCALLTYPE get_nodeValue(VARIANT* value) override
    {
        return OutValue(value, [&] { return m_place.GetValue(value); });
    }
    HRESULT STDMETHODCALLTYPE put_nodeValue(VARIANT value) override
    {
        return ComGuard([&] { return m_place.PutValue(value); });
    }
    HRESULT STDMETHODCALLTYPE get_nodeType(DOMNodeType* type) override
    {
        if (type == nullptr)
            return E_INVALIDARG;
        *type = m_place.Type();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_parentNode(IXMLDOMNode** parent) override
    {
        return Out(parent, [&] { return m_place.HandOut(ParentOf(m_place.Node()), parent); });
    }
    HRESULT STDMETHODCALLTYPE get_childNodes(IXMLDOMNodeList** childList) override
    {
        return Out(childList, [&] { return m_place.GetChildNodes(childList); });
    }
    HRESULT STDMETHODCALLTYPE get_firstChild(IXMLDOMNode** firstChild) override
    {
        return Out(firstChild, [&] { return m_place.HandOut(FirstChildOf(m_place.Node()), firstChild); });
    }
    HRESULT STDMETHODCALLTYPE get_lastChild(IXMLDOMNode** lastChild) override
    {
        return Out(lastChild, [&] { return m_place.HandOut(LastChildOf(m_place.Node()), lastChild); });
    }
    HRESULT STDMETHODCALLTYPE get_previousSibling(IXMLDOMNode** sibling) override
    {
        return Out(sibling, [&] { return m_place.HandOut(PreviousOf(m_place.Node()), sibling); });
    }
    HRESULT STDMETHODCALLTYPE get_nextSibling(IXMLDOMNode** sibling) override
    {
        return Out(sibling, [&] { return m_place.HandOut(NextOf(m_place.Node()), sibling); });
    }
    HRESULT STDMETHODCALLTYPE get_attributes(IXMLDOMNamedNodeMap** attributeMap) override
    {
        return Out(attributeMap, [&] { return m_place.GetAttributes(attributeMap); });
    }
    HRESULT STDMETHODCALLTYPE removeChild(IXMLDOMNode* childNode, IXMLDOMNode** oldChild) override
    {
        return OptionalOut(oldChild, [&] { return m_place.RemoveChild(childNode, oldChild); });
    }
    HRESULT STDMETHODCALLTYPE appendChild(IXMLDOMNode* newChild, IXMLDOMNode** outNewChild) override
    {
        return OptionalOut(outNewChild, [&] { return m_place.AppendChild(newChild, outNewChild); });
    }
    HRESULT STDMETHODCALLTYPE hasChildNodes(VARIANT_BOOL* hasChild) override
    {
        if (hasChild == nullptr)
            return E_INVALIDARG;
        const bool has = FirstChildOf(m_place.Node()) != nullptr;
        *hasChild = has ? VARIANT_TRUE : VARIANT_FALSE;
        return has ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE get_ownerDocument(IXMLDOMDocument** document) override
    {
        return Out(document, [&] { return m_place.GetOwnerDocument(document); });
    }
    HRESULT STDMETHODCALLTYPE get_nodeTypeString(BSTR* nodeType) override
    {
        return Out(nodeType, [&] { return m_place.GetTypeString(nodeType); });
    }
    HRESULT STDMETHODCALLTYPE get_text(BSTR* text) override
    {
        return Out(text, [&] { return m_place.GetText(text); });
    }
    HRESULT STDMETHODCALLTYPE put_text(BSTR text) override
    {
        VARIANT value = {};
        value.vt = VT_BSTR;
        value.bstrVal = text;
        return ComGuard([&] { return m_place.PutText(value); });
    }
    HRESULT STDMETHODCALLTYPE get_nodeTypedValue(VARIANT* typedValue) override
    {
        return OutValue(typedValue, [&] { return m_place.GetTypedValue(typedValue); });
    }
    HRESULT STDMETHODCALLTYPE put_nodeTypedValue(VARIANT typedValue) override
    {
        return ComGuard([&] { return m_place.PutText(typedValue); });
    }
    HRESULT STDMETHODCALLTYPE get_dataType(VARIANT* dataTypeName) override
    {
        return OutValue(dataTypeName, [&] { return m_place.GetDataType(dataTypeName); });
    }
    HRESULT STDMETHODCALLTYPE put_dataType(BSTR dataTypeName) override
    {
        return ComGuard([&] { return m_place.PutDataType(dataTypeName); });
    }
    HRESULT STDMETHODCALLTYPE get_xml(BSTR* xmlString) override
    {
        return Out(xmlString, [&] { return m_place.GetXml(xmlString); });
    }

protected:
    /// Null is refused; what is there is emptied before the body fills it.
    template <class Pointer, class Body>
    static HRESULT Out(Pointer* target, Body&& body) noexcept
    {
        if (target == nullptr)
            return E_INVALIDARG;
        *target = nullptr;
        return ComGuard(std::forward<Body>(body));
    }
    template <class Pointer, class Body>
    static HRESULT OptionalOut(Pointer* target, Body&& body) noexcept
    {
        if (target != nullptr)
            *target = nullptr;
        return ComGuard(std::forward<Body>(body));
    }
    template <class Body>
    static HRESULT OutValue(VARIANT* target, Body&& body) noexcept
    {
        if (target == nullptr)
            return E_INVALIDARG;
        *target = VARIANT{};
        return ComGuard(std::forward<Body>(body));
    }

    CDomNode m_place;

private:
    /// Part of this object: shares its count.
    class CAccess final : public IDomNodeAccess {
    public:
        explicit CAccess(CDomNodeObject& owner) : m_owner(owner) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
        {
            return m_owner.QueryInterface(iid, object);
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return m_owner.AddRef(); }
        ULONG STDMETHODCALLTYPE Release() override { return m_owner.Release(); }
        const CDomNode& STDMETHODCALLTYPE Access() const override { return m_owner.m_place; }

    private:
        CDomNodeObject& m_owner;
    };

    CAccess m_access;
};

} // namespace com_posix
