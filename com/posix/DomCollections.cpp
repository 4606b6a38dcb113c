#include "com/posix/DomCollections.h"

#include "com/ComObject.h"
#include "com/posix/DomNode.h"
#include "com/posix/DomText.h"

#include <string>
#include <utility>

namespace com_posix {
namespace {

HRESULT HandOut(const CDomTreePtr& tree, xmlNode* found, IXMLDOMNode** item)
{
    if (found == nullptr)
        return S_FALSE;
    *item = MakeDomNode(tree, found).Detach();
    return S_OK;
}

/// Nodes in a row by their index. It remembers its last place: a walk by index is then linear, where counting from the
/// start each time makes 100,000 children cost 5,000,000,000 steps. First and Next tell the row.
template <xmlNode* First(const xmlNode*), xmlNode* Next(const xmlNode*, const xmlNode*)>
class CDomRow {
public:
    CDomRow(CDomTreePtr tree, xmlNode* parent) : m_pTree(std::move(tree)), m_pParent(parent) {}

    HRESULT Item(LONG index, IXMLDOMNode** item)
    {
        if (item == nullptr)
            return E_INVALIDARG;
        *item = nullptr;
        return ComGuard([&] { return HandOut(m_pTree, At(index), item); });
    }
    HRESULT Length(LONG* length)
    {
        if (length == nullptr)
            return E_INVALIDARG;
        Synchronize();
        if (m_nLength < 0) {
            m_nLength = 0;
            for (const xmlNode* node = First(m_pParent); node != nullptr; node = Next(m_pParent, node))
                ++m_nLength;
        }
        *length = m_nLength;
        return S_OK;
    }
    [[nodiscard]] const CDomTreePtr& Tree() const { return m_pTree; }
    [[nodiscard]] xmlNode* Parent() const { return m_pParent; }

private:
    void Synchronize()
    {
        if (m_nChanges == m_pTree->Changes())
            return;
        m_nChanges = m_pTree->Changes();
        m_pPlace = nullptr;
        m_nLength = -1;
    }
    xmlNode* At(LONG index)
    {
        Synchronize();
        if (index < 0)
            return nullptr;
        if (m_pPlace == nullptr || m_nPlace > index) {
            m_pPlace = First(m_pParent);
            m_nPlace = 0;
        }
        xmlNode* node = m_pPlace;
        LONG position = m_nPlace;
        for (; node != nullptr && position < index; ++position)
            node = Next(m_pParent, node);
        if (node != nullptr) {
            m_pPlace = node;
            m_nPlace = position;
        }
        return node;
    }

    const CDomTreePtr m_pTree;
    xmlNode* const m_pParent;
    std::uint64_t m_nChanges = 0;
    xmlNode* m_pPlace = nullptr;
    LONG m_nPlace = 0;
    LONG m_nLength = -1;
};

xmlNode* NextChild(const xmlNode*, const xmlNode* child)
{
    return child->next;
}

class CDomNodeList final : public CComObject<IXMLDOMNodeList> {
public:
    CDomNodeList(CDomTreePtr tree, xmlNode* parent) : m_children(std::move(tree), parent) {}

    HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** item) override { return m_children.Item(index, item); }
    HRESULT STDMETHODCALLTYPE get_length(LONG* length) override { return m_children.Length(length); }
    HRESULT STDMETHODCALLTYPE nextNode(IXMLDOMNode** item) override
    {
        const HRESULT result = get_item(m_nNext, item);
        if (result == S_OK)
            ++m_nNext;
        return result;
    }
    HRESULT STDMETHODCALLTYPE reset() override
    {
        m_nNext = 0;
        return S_OK;
    }

private:
    CDomRow<FirstChildOf, NextChild> m_children;
    LONG m_nNext = 0;
};

class CDomAttributeMap final : public CComObject<IXMLDOMNamedNodeMap> {
public:
    CDomAttributeMap(CDomTreePtr tree, xmlNode* element) : m_attributes(std::move(tree), element) {}

    HRESULT STDMETHODCALLTYPE getNamedItem(BSTR name, IXMLDOMNode** item) override
    {
        if (item == nullptr)
            return E_INVALIDARG;
        *item = nullptr;
        return ComGuard([&] {
            std::string utf8;
            if (name == nullptr || !ToXmlUtf8(name, utf8))
                return S_FALSE;
            return HandOut(m_attributes.Tree(), FindAttribute(m_attributes.Parent(), utf8), item);
        });
    }
    HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** item) override
    {
        return m_attributes.Item(index, item);
    }
    HRESULT STDMETHODCALLTYPE get_length(LONG* length) override { return m_attributes.Length(length); }

private:
    CDomRow<FirstAttributeOf, NextAttribute> m_attributes;
};

} // namespace

CComPtr<IXMLDOMNodeList> MakeDomNodeList(const CDomTreePtr& tree, xmlNode* parent)
{
    return AttachComPtr<IXMLDOMNodeList>(MakeComObject<CDomNodeList>(tree, parent).Detach());
}

CComPtr<IXMLDOMNamedNodeMap> MakeDomAttributeMap(const CDomTreePtr& tree, xmlNode* element)
{
    return AttachComPtr<IXMLDOMNamedNodeMap>(MakeComObject<CDomAttributeMap>(tree, element).Detach());
}

} // namespace com_posix
