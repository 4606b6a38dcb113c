#include "com/posix/DomDocument.h"

#include "com/Bstr.h"
#include "com/ComObject.h"
#include "com/posix/DomNodeObject.h"
#include "com/posix/DomParser.h"
#include "com/posix/DomText.h"
#include "com/posix/DomWriter.h"
#include "platform/FileSystem.h"

#include <memory>
#include <string>
#include <utility>

namespace com_posix {
namespace {

class CDomParseErrorObject final : public CComObject<IXMLDOMParseError> {
public:
    CDomParseErrorObject(SXmlError error, std::wstring url) : m_error(std::move(error)), m_sUrl(std::move(url)) {}

    HRESULT STDMETHODCALLTYPE get_errorCode(LONG* errorCode) override
    {
        const HRESULT result = HandOut(m_error.code, errorCode);
        return FAILED(result) || m_error.code != 0 ? result : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE get_url(BSTR* url) override
    {
        if (url == nullptr)
            return E_INVALIDARG;
        *url = m_sUrl.empty() ? nullptr : SysAllocString(m_sUrl.c_str());
        return *url == nullptr ? S_FALSE : S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_reason(BSTR* reason) override
    {
        if (reason == nullptr)
            return E_INVALIDARG;
        *reason = nullptr;
        if (m_error.code == 0)
            return S_FALSE;
        return ComGuard([&] {
            *reason = MakeBstr(m_error.reason);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE get_line(LONG* line) override { return HandOut(m_error.line, line); }
    HRESULT STDMETHODCALLTYPE get_linepos(LONG* position) override { return HandOut(m_error.column, position); }

private:
    static HRESULT HandOut(LONG number, LONG* target)
    {
        if (target == nullptr)
            return E_INVALIDARG;
        *target = number;
        return S_OK;
    }

    const SXmlError m_error;
    const std::wstring m_sUrl;
};

CDomNode RootOf(const CDomTreePtr& tree)
{
    return {tree, tree->Root()};
}

class CDomDocument final : public CDomNodeObject<IXMLDOMDocument> {
public:
    explicit CDomDocument(const CDomTreePtr& tree) : CDomNodeObject(RootOf(tree))
    {
        tree->m_pDocumentObject = this;
        m_bPreserveWhiteSpace = tree->m_bPreserveWhiteSpace;
    }
    ~CDomDocument() override { m_place.Tree()->m_pDocumentObject = nullptr; }
    CDomDocument(const CDomDocument&) = delete;
    CDomDocument& operator=(const CDomDocument&) = delete;

    HRESULT STDMETHODCALLTYPE get_documentElement(IXMLDOMElement** element) override
    {
        return Out(element, [&] {
            xmlNode* root = xmlDocGetRootElement(m_place.Tree()->Document());
            return root == nullptr ? S_FALSE : HandOutAs(root, element);
        });
    }
    HRESULT STDMETHODCALLTYPE createElement(BSTR tagName, IXMLDOMElement** element) override
    {
        return Out(element, [&] {
            const std::string name = XmlNameOf(tagName);
            return AdoptAs(xmlNewDocNode(Document(), nullptr, XmlChars(name.c_str()), nullptr), element);
        });
    }
    HRESULT STDMETHODCALLTYPE createProcessingInstruction(BSTR target, BSTR data,
                                                          IXMLDOMProcessingInstruction** instruction) override
    {
        return Out(instruction, [&] {
            const std::string name = XmlNameOf(target);
            std::string content;
            if (data != nullptr && !ToXmlContent(data, content))
                return E_INVALIDARG;
            if (content.find("?>") != std::string::npos)
                return E_FAIL;
            return AdoptAs(xmlNewDocPI(Document(), XmlChars(name.c_str()), XmlChars(content.c_str())), instruction);
        });
    }
    HRESULT STDMETHODCALLTYPE load(VARIANT xmlSource, VARIANT_BOOL* isSuccessful) override
    {
        return Load(isSuccessful, [&](SXmlError& error) { return LoadFile(xmlSource, error); });
    }
    HRESULT STDMETHODCALLTYPE loadXML(BSTR xml, VARIANT_BOOL* isSuccessful) override
    {
        return Load(isSuccessful, [&](SXmlError& error) {
            m_sUrl.clear();
            // Zero-terminated, not counted: callers pass texts that are no BSTR.
            return ParseXmlText(xml == nullptr ? L"" : xml, m_bPreserveWhiteSpace, error);
        });
    }
    HRESULT STDMETHODCALLTYPE get_parseError(IXMLDOMParseError** error) override
    {
        return Out(error, [&] {
            *error = MakeComObject<CDomParseErrorObject>(m_error, m_sUrl).Detach();
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE save(VARIANT destination) override
    {
        return ComGuard([&] {
            if (destination.vt != VT_BSTR || destination.bstrVal == nullptr)
                return E_INVALIDARG;
            const std::string bytes = WriteXmlFile(*m_place.Tree());
            const platform::eOsError written = platform::WriteWholeFile(destination.bstrVal, bytes);
            return HRESULT_FROM_WIN32(static_cast<std::uint32_t>(written));
        });
    }
    HRESULT STDMETHODCALLTYPE get_async(VARIANT_BOOL* isAsync) override { return GetFlag(m_bAsync, isAsync); }
    HRESULT STDMETHODCALLTYPE put_async(VARIANT_BOOL isAsync) override
    {
        m_bAsync = isAsync != VARIANT_FALSE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_preserveWhiteSpace(VARIANT_BOOL* isPreserving) override
    {
        return GetFlag(m_bPreserveWhiteSpace, isPreserving);
    }
    HRESULT STDMETHODCALLTYPE put_preserveWhiteSpace(VARIANT_BOOL isPreserving) override
    {
        m_bPreserveWhiteSpace = isPreserving != VARIANT_FALSE;
        m_place.Tree()->m_bPreserveWhiteSpace = m_bPreserveWhiteSpace;
        return S_OK;
    }

private:
    [[nodiscard]] xmlDoc* Document() const { return m_place.Tree()->Document(); }

    template <class Interface>
    HRESULT HandOutAs(xmlNode* node, Interface** target) const
    {
        return MakeDomNode(m_place.Tree(), node).QueryTo(target);
    }
    template <class Interface>
    HRESULT AdoptAs(xmlNode* node, Interface** target) const
    {
        return HandOutAs(m_place.Tree()->Adopt(node), target);
    }

    static HRESULT GetFlag(bool flag, VARIANT_BOOL* target)
    {
        if (target == nullptr)
            return E_INVALIDARG;
        *target = flag ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }

    /// A document that was refused is empty; its old nodes live on with whoever holds them.
    template <class Parse>
    HRESULT Load(VARIANT_BOOL* isSuccessful, Parse&& parse)
    {
        if (isSuccessful == nullptr)
            return E_INVALIDARG;
        *isSuccessful = VARIANT_FALSE;
        return ComGuard([&] {
            SXmlError error;
            CDomTreePtr tree = parse(error);
            const bool parsed = tree != nullptr;
            if (!parsed)
                tree = std::make_shared<CDomTree>();
            m_error = std::move(error);
            m_place.Tree()->m_pDocumentObject = nullptr;
            m_place = RootOf(tree);
            tree->m_pDocumentObject = this;
            *isSuccessful = parsed ? VARIANT_TRUE : VARIANT_FALSE;
            return parsed ? S_OK : S_FALSE;
        });
    }
    CDomTreePtr LoadFile(const VARIANT& source, SXmlError& error)
    {
        if (source.vt != VT_BSTR)
            throw CComError(E_INVALIDARG);
        m_sUrl = source.bstrVal == nullptr ? L"" : source.bstrVal;
        std::string bytes;
        return ReadXmlFile(m_sUrl, XmlLimitsOfThread(), bytes, error)
                   ? ParseXmlBytes(bytes, m_bPreserveWhiteSpace, error)
                   : nullptr;
    }

    SXmlError m_error;
    std::wstring m_sUrl;
    bool m_bAsync = true;
    bool m_bPreserveWhiteSpace = false;
};

} // namespace

HRESULT CreateDomDocument(REFIID iid, void** object) noexcept
{
    return ComGuard([&] { return DomDocumentOf(std::make_shared<CDomTree>())->QueryInterface(iid, object); });
}

CComPtr<IXMLDOMDocument> DomDocumentOf(const CDomTreePtr& tree)
{
    if (tree->m_pDocumentObject != nullptr)
        return {tree->m_pDocumentObject};
    return AttachComPtr<IXMLDOMDocument>(MakeComObject<CDomDocument>(tree).Detach());
}

} // namespace com_posix
