#pragma once

#include "ComFixture.h"
#include "com/Bstr.h"
#include "com/ComPtr.h"
#include "com/Variant.h"
#include "com/Xml.h"

#include <string>

/// A thread with COM, and short ways to what the DOM says in many words.
class CDomFixture : public CComFixture {
protected:
    static CComPtr<IXMLDOMDocument> NewDocument()
    {
        CComPtr<IXMLDOMDocument> document;
        ThrowIfFailed(CoCreateInstance(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument>(),
                                       document.PutVoid()));
        return document;
    }
    static CComPtr<IXMLDOMDocument> Parse(const std::wstring& text)
    {
        CComPtr<IXMLDOMDocument> document = NewDocument();
        const CBstr xml(text);
        VARIANT_BOOL successful = VARIANT_FALSE;
        EXPECT_EQ(document->loadXML(xml.Get(), &successful), S_OK);
        EXPECT_EQ(successful, VARIANT_TRUE);
        return document;
    }
    static CComPtr<IXMLDOMElement> Root(const CComPtr<IXMLDOMDocument>& document)
    {
        CComPtr<IXMLDOMElement> root;
        EXPECT_EQ(document->get_documentElement(root.Put()), S_OK);
        return root;
    }
    static CComPtr<IXMLDOMElement> NewElement(const CComPtr<IXMLDOMDocument>& document, const std::wstring& name)
    {
        const CBstr tag(name);
        CComPtr<IXMLDOMElement> element;
        EXPECT_EQ(document->createElement(tag.Get(), element.Put()), S_OK);
        return element;
    }
    static std::wstring TextOf(IXMLDOMNode* node)
    {
        CBstr text;
        EXPECT_EQ(node->get_text(text.Put()), S_OK);
        return text.Text();
    }
    static std::wstring NameOf(IXMLDOMNode* node)
    {
        CBstr name;
        EXPECT_EQ(node->get_nodeName(name.Put()), S_OK);
        return name.Text();
    }
    static void SetAttribute(const CComPtr<IXMLDOMElement>& element, const std::wstring& name, const CVariant& value)
    {
        const CBstr attribute(name);
        EXPECT_EQ(element->setAttribute(attribute.Get(), value.Get()), S_OK);
    }
};
