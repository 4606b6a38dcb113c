#include "platform/FileSystem.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "tests/com/DomFixture.h"
#include "tests/com/DomShape.h"
#include "tests/support/ExpectedLeaks.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <locale.h>

#include <array>
#include <chrono>
#include <cwchar>
#include <string>

// What a document from a stranger may cost, what may be done with one that is built here, and wrong calls. The DOM of Windows has
// limits of its own, and under Wine it dies of some of these calls.

namespace {

class CDomLimitsTest : public CDomFixture {
protected:
    /// The reason of a refusal; empty for a document that was accepted.
    static std::wstring Refusal(const std::wstring& text)
    {
        const auto document = NewDocument();
        VARIANT_BOOL successful = VARIANT_FALSE;
        std::wstring copy = text;
        return document->loadXML(copy.data(), &successful) == S_OK && successful == VARIANT_TRUE ? std::wstring()
                                                                                                : ReasonOf(document);
    }
    /// The same of a file, whose bytes need no conversion.
    static std::wstring RefusalOfFile(const std::string& bytes)
    {
        const testsupport::CTemporaryDirectory folder;
        EXPECT_EQ(platform::WriteWholeFile(folder / L"a.xml", bytes), platform::eOsError_None);
        const auto document = NewDocument();
        VARIANT_BOOL successful = VARIANT_FALSE;
        const CVariant path(folder / L"a.xml");
        return document->load(path.Get(), &successful) == S_OK && successful == VARIANT_TRUE ? std::wstring()
                                                                                            : ReasonOf(document);
    }

private:
    static std::wstring ReasonOf(const CComPtr<IXMLDOMDocument>& document)
    {
        CComPtr<IXMLDOMParseError> error;
        EXPECT_EQ(document->get_parseError(error.Put()), S_OK);
        CBstr reason;
        EXPECT_EQ(error->get_reason(reason.Put()), S_OK);
        return reason.Text();
    }
};

TEST_F(CDomLimitsTest, EntitiesThatMultiplyAreRefused)
{
    std::wstring text = L"<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx'>";
    for (int i = 1; i < 12; ++i) {
        text += L"<!ENTITY e" + std::to_wstring(i) + L" '";
        for (int k = 0; k < 10; ++k)
            text += L"&e" + std::to_wstring(i - 1) + L";";
        text += L"'>";
    }
    EXPECT_FALSE(Refusal(text + L"]><a>&e11;</a>").empty());
    EXPECT_FALSE(Refusal(text + L"]><a x='&e11;'/>").empty());
}

TEST_F(CDomLimitsTest, OneLongEntityManyTimesIsRefused)
{
    std::wstring text = L"<!DOCTYPE a [<!ENTITY e '" + std::wstring(200'000, L'x') + L"'>]><a>";
    for (int i = 0; i < 200'000; ++i)
        text += L"&e;";
    EXPECT_FALSE(Refusal(text + L"</a>").empty()) << "40 GB were expanded";
}

TEST_F(CDomLimitsTest, AnExternalEntityIsNotRead)
{
    const testsupport::CTemporaryDirectory folder;
    ASSERT_EQ(platform::WriteWholeFile(folder / L"secret.txt", "secret"), platform::eOsError_None);
    const std::wstring path = folder / L"secret.txt";
    EXPECT_EQ(Refusal(L"<!DOCTYPE a [<!ENTITY e SYSTEM '" + path + L"'>]><a>&e;</a>"), L"External entities are not accepted");
    EXPECT_EQ(Refusal(L"<!DOCTYPE a [<!ENTITY e SYSTEM 'file://" + path + L"'>]><a>&e;</a>"),
              L"External entities are not accepted");
    EXPECT_EQ(Refusal(L"<!DOCTYPE a [<!ENTITY % e SYSTEM '" + path + L"'> %e;]><a/>"), L"External entities are not accepted");
    EXPECT_EQ(Refusal(L"<!DOCTYPE a [<!NOTATION n SYSTEM 'n'><!ENTITY e SYSTEM 'x' NDATA n>]><a/>"),
              L"External entities are not accepted");
}

TEST_F(CDomLimitsTest, AnExternalTypeIsNotRead)
{
    const testsupport::CTemporaryDirectory folder;
    ASSERT_EQ(platform::WriteWholeFile(folder / L"a.dtd", "<!ENTITY e 'from the file'>"), platform::eOsError_None);
    EXPECT_EQ(Refusal(L"<!DOCTYPE a SYSTEM '" + (folder / L"a.dtd") + L"'><a>&e;</a>"), L"Entity 'e' not defined");
}

TEST_F(CDomLimitsTest, AHarmlessErrorDoesNotHideALostEntity)
{
    EXPECT_EQ(Refusal(L"<!DOCTYPE a SYSTEM 'none'><a xml:id='1 2'>xy</a>"), L"") << "an id that is no name is harmless";
    EXPECT_EQ(Refusal(L"<!DOCTYPE a SYSTEM 'none'><a xml:id='1 2'>x&e;y</a>"), L"Entity 'e' not defined");
    EXPECT_EQ(Refusal(L"<!DOCTYPE a SYSTEM 'none'><a xml:id='1 2'>x</b>"),
              L"Opening and ending tag mismatch: a line 1 and b");
}

TEST_F(CDomLimitsTest, WhatIsRefusedIsSaid)
{
    EXPECT_EQ(Refusal(L"<!DOCTYPE a [<!ENTITY % p ''>]><a/>"), L"Parameter entities are not accepted");
    EXPECT_EQ(Refusal(L"<!DOCTYPE a [<!ATTLIST a d CDATA 'x'>]><a/>"), L"Default values of attributes are not accepted");
    EXPECT_EQ(Refusal(L"<!DOCTYPE a [<!ATTLIST a d CDATA #IMPLIED>]><a/>"), L"");
    std::wstring deep;
    for (int i = 0; i < 100'000; ++i)
        deep += L"<a>";
    EXPECT_EQ(Refusal(deep), L"Elements are nested more than 256 deep");
}

TEST_F(CDomLimitsTest, ALongTextIsWhole)
{
    // Compared with ==, not EXPECT_EQ, which would print both.
    const std::wstring whole(11'000'000, L'x');
    EXPECT_TRUE(TextOf(Root(Parse(L"<a>" + whole + L"</a>")).Get()) == whole);
    // What the parser hands over in parts: around references, and of characters that are not ASCII.
    const std::wstring half(5'500'000, L'x');
    EXPECT_TRUE(TextOf(Root(Parse(L"<a>" + half + L"&amp;&#10;" + half + L"</a>")).Get()) == half + L"&\n" + half);
    std::string wide;
    for (int i = 0; i < 5'500'000; ++i)
        wide += "\xC5\xBE";
    EXPECT_EQ(RefusalOfFile("<a>" + wide + "</a>"), L"");
}

TEST_F(CDomLimitsTest, ALongTextDoesNotLiftTheOtherLimits)
{
    const std::string text = std::string(5'500'000, 'x') + "&amp;" + std::string(5'500'000, 'x');
    std::string deep;
    for (int i = 0; i < 300; ++i)
        deep += "<b>";
    EXPECT_EQ(RefusalOfFile("<a>" + text + deep), L"Elements are nested more than 256 deep");
    std::string multiplied = "<!DOCTYPE a [<!ENTITY e0 '" + std::string(50, 'y') + "'>";
    for (int i = 1; i < 12; ++i) {
        multiplied += "<!ENTITY e" + std::to_string(i) + " '";
        for (int k = 0; k < 10; ++k)
            multiplied += "&e" + std::to_string(i - 1) + ";";
        multiplied += "'>";
    }
    EXPECT_FALSE(RefusalOfFile(multiplied + "]><a><b>" + text + "</b>&e11;</a>").empty());
}

TEST_F(CDomLimitsTest, WhatIsTooLongIsRefusedAsAWhole)
{
    const std::string content(10'000'001, 'x');
    EXPECT_EQ(RefusalOfFile("<a x='" + content + "'/>"), L"AttValue length too long");
    EXPECT_EQ(RefusalOfFile("<a><!--" + content + "--></a>"), L"Comment too big found");
    EXPECT_EQ(RefusalOfFile("<a><?p " + content + "?></a>"), L"PI p too big found");
    EXPECT_EQ(RefusalOfFile("<a><![CDATA[" + content + "]]></a>"), L"CData section too big found");
    const std::string allowed(9'999'000, 'x');
    EXPECT_EQ(RefusalOfFile("<a x='" + allowed + "'><!--" + allowed + "--><?p " + allowed + "?><![CDATA[" + allowed +
                            "]]></a>"),
              L"");
}

TEST_F(CDomLimitsTest, AFaultBehindLeadingLinesHasItsLine)
{
    const auto document = NewDocument();
    std::wstring text = L"\n\n<a>\n</b>";
    VARIANT_BOOL successful = VARIANT_TRUE;
    EXPECT_EQ(document->loadXML(text.data(), &successful), S_FALSE);
    CComPtr<IXMLDOMParseError> error;
    ASSERT_EQ(document->get_parseError(error.Put()), S_OK);
    LONG line = 0;
    EXPECT_EQ(error->get_line(&line), S_OK);
    EXPECT_EQ(line, 4);
}

TEST_F(CDomLimitsTest, ADeepTreeBuiltHereNeedsNoStack)
{
    auto document = NewDocument();
    auto place = NewElement(document, L"a");
    const auto root = place;
    ASSERT_EQ(document->appendChild(root.Get(), nullptr), S_OK);
    for (int i = 0; i < 100'000; ++i) {
        const auto child = NewElement(document, L"a");
        ASSERT_EQ(place->appendChild(child.Get(), nullptr), S_OK);
        place = child;
    }
    const CBstr text(L"bottom");
    ASSERT_EQ(place->put_text(text.Get()), S_OK);
    EXPECT_EQ(TextOf(root.Get()), L"bottom");
    CBstr xml;
    ASSERT_EQ(document->get_xml(xml.Put()), S_OK);
    EXPECT_EQ(xml.Length(), 100'001U * 7 + 6 + 2);
}

TEST_F(CDomLimitsTest, AWideTreeIsWalkedByIndexInLinearTime)
{
    std::wstring text = L"<r>";
    for (int i = 0; i < 200'000; ++i)
        text += L"<x/>";
    const auto root = Root(Parse(text + L"</r>"));
    CComPtr<IXMLDOMNodeList> list;
    ASSERT_EQ(root->get_childNodes(list.Put()), S_OK);
    LONG length = 0;
    ASSERT_EQ(list->get_length(&length), S_OK);
    ASSERT_EQ(length, 200'000);
    // Counting from the start each time, this takes minutes.
    for (LONG i = 0; i < length; ++i) {
        CComPtr<IXMLDOMNode> item;
        ASSERT_EQ(list->get_item(i, item.Put()), S_OK);
    }
}

TEST_F(CDomLimitsTest, WhatWouldSpoilTheDocumentIsRefused)
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
    EXPECT_EQ(document->createProcessingInstruction(CBstr(L"p").Get(), CBstr(L"a?>b").Get(), instruction.Put()), E_FAIL);
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

TEST_F(CDomLimitsTest, NoOutPointerIsAnInvalidArgument)
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

TEST_F(CDomLimitsTest, WrongArgumentsAreRefused)
{
    const auto document = Parse(L"<a/>");
    EXPECT_EQ(document->save(CVariant::FromLong(5).Get()), E_INVALIDARG);
    VARIANT_BOOL successful = VARIANT_TRUE;
    EXPECT_EQ(document->load(CVariant::FromLong(5).Get(), &successful), E_INVALIDARG);
    EXPECT_EQ(successful, VARIANT_FALSE);
    EXPECT_EQ(DomShape(*document), L"a") << "nothing was loaded, so nothing changed";
}

TEST_F(CDomLimitsTest, TextsBesideEachOtherStayApart)
{
    const auto root = Root(Parse(L"<a>x<b/>y</a>"));
    CComPtr<IXMLDOMNode> x;
    ASSERT_EQ(root->get_firstChild(x.Put()), S_OK);
    CComPtr<IXMLDOMNode> y;
    ASSERT_EQ(root->get_lastChild(y.Put()), S_OK);
    ASSERT_EQ(root->appendChild(x.Get(), nullptr), S_OK);
    EXPECT_EQ(DomShape(*root), L"a(b 'y' 'x')");
    EXPECT_EQ(TextOf(y.Get()), L"y") << "whoever holds a text keeps it";
}

TEST_F(CDomLimitsTest, WhoeverHoldsTheTextOfAnAttributeKeepsIt)
{
    const auto root = Root(Parse(L"<a x='old'/>"));
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    ASSERT_EQ(root->get_attributes(attributes.Put()), S_OK);
    CComPtr<IXMLDOMNode> attribute;
    ASSERT_EQ(attributes->getNamedItem(CBstr(L"x").Get(), attribute.Put()), S_OK);
    CComPtr<IXMLDOMNode> text;
    ASSERT_EQ(attribute->get_firstChild(text.Put()), S_OK);
    SetAttribute(root, L"x", CVariant(L"new"));
    EXPECT_EQ(TextOf(attribute.Get()), L"new");
    EXPECT_EQ(TextOf(text.Get()), L"old");
    CComPtr<IXMLDOMNode> parent;
    EXPECT_EQ(text->get_parentNode(parent.Put()), S_FALSE);
}

TEST_F(CDomLimitsTest, ATextCannotEndItsOwnNode)
{
    const auto document = Parse(L"<a><!--c--><?p d?><![CDATA[e]]></a>");
    CComPtr<IXMLDOMNode> comment;
    ASSERT_EQ(Root(document)->get_firstChild(comment.Put()), S_OK);
    CComPtr<IXMLDOMNode> instruction;
    ASSERT_EQ(comment->get_nextSibling(instruction.Put()), S_OK);
    CComPtr<IXMLDOMNode> section;
    ASSERT_EQ(instruction->get_nextSibling(section.Put()), S_OK);

    for (const wchar_t* text : {L"--><b/><!--", L"a--b", L"a-"}) {
        EXPECT_EQ(comment->put_text(CBstr(text).Get()), E_FAIL);
        EXPECT_EQ(comment->put_nodeValue(CVariant(text).Get()), E_FAIL);
        EXPECT_EQ(comment->put_nodeTypedValue(CVariant(text).Get()), E_FAIL);
    }
    EXPECT_EQ(instruction->put_text(CBstr(L"?><b/><?p").Get()), E_FAIL);
    EXPECT_EQ(DomShape(*document), L"a(!c ?p d <e>)") << "nothing is changed by what is refused";

    EXPECT_EQ(comment->put_text(CBstr(L"?> - -").Get()), E_FAIL);
    EXPECT_EQ(comment->put_text(CBstr(L"- ?>").Get()), S_OK);
    EXPECT_EQ(instruction->put_text(CBstr(L"-->").Get()), S_OK);
    EXPECT_EQ(section->put_text(CBstr(L"]]><b/>").Get()), S_OK);
    CBstr xml;
    ASSERT_EQ(document->get_xml(xml.Put()), S_OK);
    EXPECT_EQ(DomShape(*Parse(xml.Text())), L"a(!- ?> ?p --> <]]><b/>>)") << xml.Text();
}

TEST_F(CDomLimitsTest, ANamespaceIsDeclaredOnce)
{
    const std::wstring types = L"urn:schemas-microsoft-com:datatypes";
    const auto document = Parse(L"<a>5</a>");
    const auto root = Root(document);
    SetAttribute(root, L"xmlns:dt", CVariant(types));
    ASSERT_EQ(root->put_dataType(CBstr(L"i4").Get()), S_OK);
    SetAttribute(root, L"xmlns:dt", CVariant(types));
    EXPECT_EQ(root->setAttribute(CBstr(L"xmlns:dt").Get(), CVariant(L"urn:other").Get()), E_FAIL);
    SetAttribute(root, L"dt:dt", CVariant(L"int"));
    EXPECT_EQ(DomShape(*document), L"a[@dt:dt='int'@xmlns:dt='" + types + L"']('5')");
    CBstr xml;
    ASSERT_EQ(document->get_xml(xml.Put()), S_OK);
    EXPECT_EQ(DomShape(*Parse(xml.Text())), DomShape(*document)) << xml.Text();

    const auto other = Root(Parse(L"<a>5</a>"));
    SetAttribute(other, L"xmlns:dt", CVariant(L"urn:other"));
    EXPECT_EQ(other->put_dataType(CBstr(L"i4").Get()), E_FAIL) << "the prefix means something else";
    SetAttribute(other, L"xmlns", CVariant(L"urn:default"));
    EXPECT_EQ(DomShape(*other), L"a[@xmlns:dt='urn:other'@xmlns='urn:default']('5')");
}

TEST_F(CDomLimitsTest, ADocumentIsOneObject)
{
    auto document = Parse(L"<a><b/></a>");
    ASSERT_EQ(document->put_preserveWhiteSpace(VARIANT_TRUE), S_OK);
    const auto root = Root(document);
    CComPtr<IXMLDOMDocument> owner;
    ASSERT_EQ(root->get_ownerDocument(owner.Put()), S_OK);
    EXPECT_EQ(owner, document);
    CComPtr<IXMLDOMNode> parent;
    ASSERT_EQ(root->get_parentNode(parent.Put()), S_OK);
    EXPECT_EQ(parent.QueryTo<IXMLDOMDocument>(), document);

    document.Reset();
    owner.Reset();
    parent.Reset();
    ASSERT_EQ(root->get_ownerDocument(owner.Put()), S_OK) << "a node keeps its document alive";
    EXPECT_EQ(DomShape(*owner), L"a(b)");
    VARIANT_BOOL isPreserving = VARIANT_FALSE;
    EXPECT_EQ(owner->get_preserveWhiteSpace(&isPreserving), S_OK);
    EXPECT_EQ(isPreserving, VARIANT_TRUE);
}

TEST_F(CDomLimitsTest, ANodeOfTheLastLoadHasADocumentOfItsOwn)
{
    const auto document = Parse(L"<a><b/></a>");
    const auto old = Root(document);
    VARIANT_BOOL successful = VARIANT_FALSE;
    ASSERT_EQ(document->loadXML(CBstr(L"<new/>").Get(), &successful), S_OK);
    CComPtr<IXMLDOMDocument> owner;
    ASSERT_EQ(old->get_ownerDocument(owner.Put()), S_OK);
    EXPECT_EQ(DomShape(*owner), L"a(b)");
    CComPtr<IXMLDOMDocument> again;
    ASSERT_EQ(Root(document)->get_ownerDocument(again.Put()), S_OK);
    EXPECT_EQ(again, document);
}

TEST_F(CDomLimitsTest, ANumberHasAPointInEveryLocale)
{
    const testsupport::CTemporaryDirectory folder;
    platform::CProcess compiler;
    int exitCode = -1;
    const bool made = platform::Succeeded(compiler.Start(
                          L"/usr/bin/localedef", {L"-i", L"de_DE", L"-f", L"UTF-8", folder / L"comma"})) &&
                      compiler.Wait(std::chrono::seconds(60), exitCode) && exitCode == 0;
    const CScopedEnvironment path(L"LOCPATH", folder.Path());
    locale_t comma = nullptr;
    if (made) {
        const testsupport::CExpectedLeaks leaks; // glibc keeps the list that it makes of LOCPATH
        comma = newlocale(LC_ALL_MASK, "comma", nullptr);
    }
    if (comma == nullptr)
        GTEST_SKIP() << "there is no locale with a decimal comma";
    const locale_t old = uselocale(comma);
    std::array<wchar_t, 10> local{};
    std::swprintf(local.data(), local.size(), L"%.1f", 1.5);
    const auto element = NewElement(NewDocument(), L"a");
    VARIANT value = {};
    value.vt = VT_R8;
    value.dblVal = -1234567.25;
    EXPECT_EQ(element->put_nodeTypedValue(value), S_OK);
    uselocale(old);
    freelocale(comma);
    EXPECT_STREQ(local.data(), L"1,5");
    EXPECT_EQ(TextOf(element.Get()), L"-1234567.25");
}

TEST_F(CDomLimitsTest, AnEncodingOfATextMayBeUnknown)
{
    EXPECT_EQ(Refusal(L"<?xml version='1.0' encoding='nonsense'?><a>\u017E</a>"), L"");
}

} // namespace
