#include "com/XmlLimits.h"
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

// What may be done with a document that is built here, and what reading it may cost. Under Wine the DOM dies of some of
// these calls.

namespace {

using CDomLimitsTest = CDomFixture;

} // namespace

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

TEST_F(CDomLimitsTest, AttributesAreWalkedByIndexInLinearTime)
{
    constexpr LONG kAttributes = 10'000;
    SXmlLimits limits;
    limits.attributes = kAttributes;
    limits.namespaces = kAttributes;
    limits.names = kAttributes + 1;
    SetXmlLimitsOfThread(limits);
    std::wstring text = L"<r";
    for (int i = 0; i < kAttributes; ++i)
        text += (i % 2 == 0 ? L" a" : L" xmlns:a") + std::to_wstring(i) + L"='u'";
    const auto root = Root(Parse(text + L"/>"));
    SetXmlLimitsOfThread({});
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    ASSERT_EQ(root->get_attributes(attributes.Put()), S_OK);
    LONG length = 0;
    ASSERT_EQ(attributes->get_length(&length), S_OK);
    ASSERT_EQ(length, kAttributes);
    // Counting from the start each time, this takes minutes.
    for (int round = 0; round < 50; ++round) {
        for (LONG i = 0; i < length; ++i) {
            CComPtr<IXMLDOMNode> item;
            ASSERT_EQ(attributes->get_item(i, item.Put()), S_OK);
        }
    }
}

TEST_F(CDomLimitsTest, AnAttributeMapSeesWhatCameAfterItsPlace)
{
    const auto root = Root(Parse(L"<r a='1' xmlns:p='u' xmlns:q='v'/>"));
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    ASSERT_EQ(root->get_attributes(attributes.Put()), S_OK);
    const auto nameAt = [&](LONG index) {
        CComPtr<IXMLDOMNode> item;
        return attributes->get_item(index, item.Put()) == S_OK ? NameOf(item.Get()) : std::wstring();
    };
    EXPECT_EQ(nameAt(1), L"xmlns:p");
    SetAttribute(root, L"b", CVariant(L"2"));
    EXPECT_EQ(nameAt(1), L"b") << "attributes come before declarations";
    EXPECT_EQ(nameAt(3), L"xmlns:q");
    ASSERT_EQ(root->put_dataType(CBstr(L"i4").Get()), S_OK);
    EXPECT_EQ(nameAt(2), L"dt:dt");
    EXPECT_EQ(nameAt(5), L"xmlns:dt");
    LONG length = 0;
    EXPECT_EQ(attributes->get_length(&length), S_OK);
    EXPECT_EQ(length, 6);
    EXPECT_EQ(nameAt(0), L"a") << "and back";
}

TEST_F(CDomLimitsTest, BlankTextsBelowManyAttributesAreRemovedInLinearTime)
{
    // Asking every element above each of them for its xml:space, this takes hours.
    std::wstring text = L"<r xml:space='default'>";
    for (int depth = 0; depth < 200; ++depth) {
        text += L"<b";
        for (int i = 0; i < 100; ++i)
            text += L" a" + std::to_wstring(i) + L"=''";
        text += L">";
    }
    for (int i = 0; i < 200'000; ++i)
        text += L"<c/> x ";
    text += L"<k xml:space='preserve'> <c/> <d xml:space='default'> </d> </k> ";
    for (int depth = 0; depth < 200; ++depth)
        text += L"</b>";
    const auto document = Parse(text + L"</r>");
    const std::wstring inner = TextOf(document.Get());
    // The three blanks of <k> are kept, the one of <d> is not; the first of all is cut off.
    EXPECT_EQ(inner.size(), 200'000U * 3 - 1 + 3);
    EXPECT_TRUE(inner.ends_with(L"x    "));
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
    const bool made = platform::Succeeded(compiler.Start(L"/usr/bin/localedef",
                                                         {L"-i", L"de_DE", L"-f", L"UTF-8", folder / L"comma"})) &&
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
    EXPECT_EQ(DomShape(*Parse(L"<?xml version='1.0' encoding='nonsense'?><a>\u017E</a>")),
              L"?xml version=\"1.0\" encoding=\"nonsense\" a('\u017E')");
}
