#pragma once

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/XMLTools.h"
#include "ZEL_Processor/ZelPluginModule.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/Bstr.h"

#include <utility>

/// A request over an XML file whose document has a "Task" element with a "Type".
class CZelXmlRequest : public CZelObject<IWQ_ZELProcessorRequest> {
public:
    explicit CZelXmlRequest(CString path) : m_strPath(std::move(path)) {}

    /// Reads the file. False when it is no XML, or has no Task or no Type; GetErrorText then names the file and the
    /// reason.
    [[nodiscard]] bool Load()
    {
        CComPtr<IXMLDOMDocument> document;
        CString reason;
        if (!CXMLTools::CreateXmlDomFromFile(m_strPath, document.Put(), reason))
            return Fail(reason);
        CComPtr<IXMLDOMNode> task;
        if (!CXMLTools::GetNodeByName(document.Get(), L"Task", task.Put()))
            return Fail(L"there is no \"Task\" element");
        if (!CXMLTools::GetAttributeValue(task.Get(), L"Type", m_strType))
            return Fail(L"the \"Task\" element has no \"Type\" attribute");
        m_pDocument = std::move(document);
        m_pTask = std::move(task);
        m_strError.clear();
        return true;
    }

    [[nodiscard]] const CString& Path() const { return m_strPath; }
    /// The following two need a Load that gave true.
    [[nodiscard]] const CString& TaskType() const { return m_strType; }
    [[nodiscard]] IXMLDOMNode* Task() const { return m_pTask.Get(); }

    /// The document element as text. Without the XML declaration: what that says of the encoding was true of the file
    /// only.
    bool STDMETHODCALLTYPE GetXml(BSTR* xml) override
    {
        if (xml == nullptr)
            return false;
        *xml = nullptr;
        return SUCCEEDED(ZelComResult([&] {
            CComPtr<IXMLDOMElement> root;
            if (!m_pDocument || !Check(m_strError))
                return E_FAIL;
            ThrowIfFailed(m_pDocument->get_documentElement(root.Put()));
            return root->get_xml(xml);
        }));
    }
    bool STDMETHODCALLTYPE GetErrorText(BSTR* text) override
    {
        if (text == nullptr)
            return false;
        *text = nullptr;
        return SUCCEEDED(ZelComResult([&] {
            *text = CBstr(m_strError).Detach();
            return S_OK;
        }));
    }

protected:
    /// Looks at the request before its XML is given away; false, with the reason, refuses it. What is refused here
    /// reaches the client in these words; what is found later can only be a general failure.
    virtual bool Check(CString& error)
    {
        static_cast<void>(error);
        return true;
    }

private:
    bool Fail(const CString& reason)
    {
        m_strError = L"Request file \"" + m_strPath + L"\": " + reason;
        return false;
    }

    const CString m_strPath;
    CString m_strType;
    CString m_strError;
    CComPtr<IXMLDOMDocument> m_pDocument;
    CComPtr<IXMLDOMNode> m_pTask;
};
