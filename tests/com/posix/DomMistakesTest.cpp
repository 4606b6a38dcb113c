#include "tests/com/DomFixture.h"
#include "tests/com/DomShape.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

// Wrong calls. Under Wine the DOM dies of some of them.

namespace {

using CDomMistakesTest = CDomFixture;

} // namespace

TEST_F(CDomMistakesTest, WhatWouldSpoilTheDocumentIsRefused)
{
    const auto document = Parse(L"<a><b/></a>");
    const auto root = Root(document);
    const auto element = NewElement(document, L"x");
    for (const wchar_t* name : {L"", L"1x", L"a b", L"<", L"a\x01"}) {
        const CBstr tag(name);
        CComPtr<IXMLDOMElement> none;
        EXPECT_EQ(document->createElement(tag.Get(), none.Put()), E_FAIL);
        EXPECT_EQ(element->setAttribute(tag.Get(), CVariant(L"v").Get()), E_FAIL);
    }
    std::wstring half(1, static_cast<wchar_t>(0xDC80));
    for (const std::wstring& content : {std::wstring(L"\x01"), half, std::wstring(L"\xFFFF")}) {
        EXPECT_EQ(element->put_nodeTypedValue(CVariant(content).Get()), E_INVALIDARG);
        EXPECT_EQ(element->setAttribute(CBstr(L"n").Get(), CVariant(content).Get()), E_INVALIDARG);
    }
    CComPtr<IXMLDOMProcessingInstruction> instruction;
    EXPECT_EQ(document->createProcessingInstruction(CBstr(L"p").Get(), CBstr(L"a?>b").Get(), instruction.Put()),
              E_FAIL);
    EXPECT_EQ(document->appendChild(element.Get(), nullptr), E_FAIL) << "a second document element";
    EXPECT_EQ(root->appendChild(root.Get(), nullptr), E_FAIL) << "an element inside itself";
    CComPtr<IXMLDOMNode> b;
    ASSERT_EQ(root->get_firstChild(b.Put()), S_OK);
    EXPECT_EQ(b->appendChild(root.Get(), nullptr), E_FAIL) << "an element inside its own child";
    EXPECT_EQ(root->appendChild(document.Get(), nullptr), E_FAIL);
    EXPECT_EQ(root->appendChild(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(root->appendChild(Root(Parse(L"<other/>")).Get(), nullptr), E_FAIL) << "a node of another document";
    EXPECT_EQ(element->removeChild(b.Get(), nullptr), E_INVALIDARG) << "a child of somebody else";
    EXPECT_EQ(DomShape(*document), L"a(b)");
}

TEST_F(CDomMistakesTest, AMarkAndSpaceBeforeADeclarationArePassedOver)
{
    EXPECT_EQ(DomShape(*Parse(L"\uFEFF\n <?xml version='1.0'?><a/>")), L"?xml version=\"1.0\" a");
}

TEST_F(CDomMistakesTest, SpaceAroundAYesOrNoIsNoPartOfIt)
{
    for (const auto& [text, truth] : {std::pair{L" 1\n", VARIANT_TRUE}, {L"\t0 ", VARIANT_FALSE}}) {
        const auto document = NewDocument();
        ASSERT_EQ(document->put_preserveWhiteSpace(VARIANT_TRUE), S_OK);
        VARIANT_BOOL successful = VARIANT_FALSE;
        ASSERT_EQ(document->loadXML(CBstr(std::wstring(L"<a>") + text + L"</a>").Get(), &successful), S_OK);
        const auto element = Root(document);
        const CBstr type(L"boolean");
        ASSERT_EQ(element->put_dataType(type.Get()), S_OK);
        CVariant value;
        ASSERT_EQ(element->get_nodeTypedValue(value.Put()), S_OK);
        ASSERT_EQ(value.Type(), VT_BOOL);
        EXPECT_EQ(value.Get().boolVal, truth);
    }
}

TEST_F(CDomMistakesTest, NoOutPointerIsAnInvalidArgument)
{
    const auto document = Parse(L"<a/>");
    const auto root = Root(document);
    EXPECT_EQ(root->get_nodeName(nullptr), E_INVALIDARG);
    EXPECT_EQ(root->get_nodeValue(nullptr), E_INVALIDARG);
    EXPECT_EQ(root->get_nodeType(nullptr), E_INVALIDARG);
    EXPECT_EQ(root->get_childNodes(nullptr), E_INVALIDARG);
    EXPECT_EQ(root->get_firstChild(nullptr), E_INVALIDARG);
    EXPECT_EQ(root->get_nextSibling(nullptr), E_INVALIDARG);
    EXPECT_EQ(root->get_attributes(nullptr), E_INVALIDARG);
    EXPECT_EQ(root->get_nodeTypedValue(nullptr), E_INVALIDARG);
    EXPECT_EQ(root->get_text(nullptr), E_INVALIDARG);
    EXPECT_EQ(root->hasChildNodes(nullptr), E_INVALIDARG);
    EXPECT_EQ(document->get_documentElement(nullptr), E_INVALIDARG);
}

TEST_F(CDomMistakesTest, WrongArgumentsAreRefused)
{
    const auto document = Parse(L"<a/>");
    EXPECT_EQ(document->save(CVariant::FromLong(5).Get()), E_INVALIDARG);
    VARIANT_BOOL successful = VARIANT_TRUE;
    EXPECT_EQ(document->load(CVariant::FromLong(5).Get(), &successful), E_INVALIDARG);
    EXPECT_EQ(successful, VARIANT_FALSE);
    EXPECT_EQ(DomShape(*document), L"a") << "nothing was loaded, so nothing changed";
}
