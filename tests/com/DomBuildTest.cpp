#include "DomFixture.h"
#include "DomShape.h"
#include "platform/FileSystem.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class CDomBuildTest : public CDomFixture {
protected:
    static CComPtr<IXMLDOMProcessingInstruction> NewInstruction(const CComPtr<IXMLDOMDocument>& document,
                                                                const std::wstring& target, const std::wstring& data)
    {
        const CBstr name(target);
        const CBstr content(data);
        CComPtr<IXMLDOMProcessingInstruction> instruction;
        EXPECT_EQ(document->createProcessingInstruction(name.Get(), content.Get(), instruction.Put()), S_OK);
        return instruction;
    }
    /// A command as a client writes it.
    static CComPtr<IXMLDOMDocument> BuildCommand(const std::wstring& declaration, const std::wstring& text)
    {
        auto document = NewDocument();
        EXPECT_EQ(document->appendChild(NewInstruction(document, L"xml", declaration).Get(), nullptr), S_OK);
        const auto command = NewElement(document, L"Command");
        SetAttribute(command, L"Type", CVariant(L"a<\"&>'\n\t" + text));
        SetAttribute(command, L"Number", CVariant::FromLong(5));
        CComPtr<IXMLDOMNode> appended;
        EXPECT_EQ(document->appendChild(command.Get(), appended.Put()), S_OK);
        EXPECT_TRUE(appended);
        const auto child = NewElement(document, L"Text");
        const CVariant value(L"x<y>\"'" + text);
        EXPECT_EQ(child->put_nodeTypedValue(value.Get()), S_OK);
        EXPECT_EQ(command->appendChild(child.Get(), nullptr), S_OK);
        return document;
    }
    std::string Save(const CComPtr<IXMLDOMDocument>& document)
    {
        const std::wstring path = m_folder / L"saved.xml";
        const CVariant destination(path);
        EXPECT_EQ(document->save(destination.Get()), S_OK);
        std::string bytes;
        EXPECT_EQ(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, 1 << 20),
                  platform::eOsError_None);
        return bytes;
    }
    std::wstring ShapeOfSaved()
    {
        const auto document = NewDocument();
        EXPECT_EQ(document->put_async(VARIANT_FALSE), S_OK);
        const CVariant source(m_folder / L"saved.xml");
        VARIANT_BOOL successful = VARIANT_FALSE;
        EXPECT_EQ(document->load(source.Get(), &successful), S_OK);
        return DomShape(*document);
    }

    testsupport::CTemporaryDirectory m_folder;
};

TEST_F(CDomBuildTest, ACommandIsSavedByteForByte)
{
    const auto document = BuildCommand(L"version=\"1.0\" encoding=\"UTF-8\"", L"\u017E");
    EXPECT_EQ(Save(document), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                              "<Command Type=\"a&lt;&quot;&amp;&gt;'&#10;&#9;\xC5\xBE\" Number=\"5\">"
                              "<Text>x&lt;y&gt;\"'\xC5\xBE</Text></Command>\n");
    EXPECT_EQ(ShapeOfSaved(), L"?xml version=\"1.0\" encoding=\"UTF-8\" "
                              L"Command[@Type='a<\"&>'\n\t\u017E'@Number='5'](Text('x<y>\"'\u017E'))");
}

TEST_F(CDomBuildTest, TheDeclaredEncodingIsWritten)
{
    const auto document = BuildCommand(L"version=\"1.0\" encoding=\"windows-1250\"", L"\u017E");
    EXPECT_NE(Save(document).find("&lt;y&gt;\"'\x9E<"), std::string::npos);
    EXPECT_EQ(ShapeOfSaved(), L"?xml version=\"1.0\" encoding=\"windows-1250\" "
                              L"Command[@Type='a<\"&>'\n\t\u017E'@Number='5'](Text('x<y>\"'\u017E'))");
}

TEST_F(CDomBuildTest, WhatTheEncodingHasNotIsWrittenAsAReference)
{
    if (testsupport::IsWine())
        GTEST_SKIP() << "the DOM under Wine writes question marks into attributes";
    const auto document = BuildCommand(L"version=\"1.0\" encoding=\"windows-1250\"", L"\u03A9");
    Save(document);
    EXPECT_EQ(ShapeOfSaved(), L"?xml version=\"1.0\" encoding=\"windows-1250\" "
                              L"Command[@Type='a<\"&>'\n\t\u03A9'@Number='5'](Text('x<y>\"'\u03A9'))");
}

TEST_F(CDomBuildTest, APathThatCannotBeWrittenFails)
{
    const auto document = Parse(L"<a/>");
    const CVariant destination(m_folder / L"none" + L"/x.xml");
    EXPECT_TRUE(FAILED(document->save(destination.Get())));
}

TEST_F(CDomBuildTest, ValuesOfOtherTypesBecomeText)
{
    const auto document = NewDocument();
    const auto element = NewElement(document, L"a");
    VARIANT value = {};
    const auto put = [&](VARTYPE type) {
        value.vt = type;
        EXPECT_EQ(element->put_nodeTypedValue(value), S_OK);
        return TextOf(element.Get());
    };
    value.lVal = -42;
    EXPECT_EQ(put(VT_I4), L"-42");
    value.boolVal = VARIANT_TRUE;
    EXPECT_EQ(put(VT_BOOL), L"-1");
    value.dblVal = 1.5;
    EXPECT_EQ(put(VT_R8), L"1.5");
    EXPECT_EQ(put(VT_EMPTY), L"");
    VARIANT_BOOL has = VARIANT_TRUE;
    EXPECT_EQ(element->hasChildNodes(&has), S_FALSE) << "an empty value leaves no text behind";
}

TEST_F(CDomBuildTest, AnAmpersandIsACharacterLikeOthers)
{
    const auto document = Parse(L"<a x='1'/>");
    const auto root = Root(document);
    SetAttribute(root, L"x", CVariant(L"a & b &amp; c"));
    const CBstr text(L"a & b &amp; c");
    ASSERT_EQ(root->put_text(text.Get()), S_OK);
    EXPECT_EQ(DomShape(*document), L"a[@x='a & b &amp; c']('a & b &amp; c')");
    if (testsupport::IsWine())
        GTEST_SKIP() << "the DOM under Wine takes the ampersand of a typed value for the begin of a reference";
    const CVariant value(L"d & e &amp; f");
    ASSERT_EQ(root->put_nodeTypedValue(value.Get()), S_OK);
    EXPECT_EQ(DomShape(*document), L"a[@x='a & b &amp; c']('d & e &amp; f')");
}

TEST_F(CDomBuildTest, TextReplacesTheContent)
{
    const auto document = Parse(L"<a x='1'><b/>old<c/></a>");
    const auto root = Root(document);
    const CBstr text(L"new & <text>");
    ASSERT_EQ(root->put_text(text.Get()), S_OK);
    EXPECT_EQ(DomShape(*root), L"a[@x='1']('new & <text>')");
    EXPECT_TRUE(FAILED(document->put_text(text.Get())));
}

TEST_F(CDomBuildTest, AnAttributeIsReplaced)
{
    const auto root = Root(Parse(L"<a x='1' y='2'/>"));
    SetAttribute(root, L"x", CVariant(L"new"));
    EXPECT_EQ(DomShape(*root), L"a[@x='new'@y='2']");
}

TEST_F(CDomBuildTest, AnElementMovesWithAllBelowIt)
{
    const auto root = Root(Parse(L"<a><b><c/></b><d/></a>"));
    CComPtr<IXMLDOMNode> b;
    ASSERT_EQ(root->get_firstChild(b.Put()), S_OK);
    CComPtr<IXMLDOMNode> d;
    ASSERT_EQ(b->get_nextSibling(d.Put()), S_OK);
    ASSERT_EQ(d->appendChild(b.Get(), nullptr), S_OK);
    EXPECT_EQ(DomShape(*root), L"a(d(b(c)))");
}

TEST_F(CDomBuildTest, AnOrphanHasNoParent)
{
    const auto document = NewDocument();
    const auto element = NewElement(document, L"q:z");
    EXPECT_EQ(NameOf(element.Get()), L"q:z");
    CComPtr<IXMLDOMNode> parent;
    EXPECT_EQ(element->get_parentNode(parent.Put()), S_FALSE);
    EXPECT_FALSE(parent);
    CComPtr<IXMLDOMElement> root;
    EXPECT_EQ(document->get_documentElement(root.Put()), S_FALSE);
}

TEST_F(CDomBuildTest, NoNameIsAnInvalidArgument)
{
    CComPtr<IXMLDOMElement> element;
    EXPECT_EQ(NewDocument()->createElement(nullptr, element.Put()), E_INVALIDARG);
    EXPECT_FALSE(element);
}

TEST_F(CDomBuildTest, AllIsReleasedInAnyOrder)
{
    auto document = Parse(L"<a><b>t</b></a>");
    auto root = Root(document);
    auto loose = NewElement(document, L"loose");
    CComPtr<IXMLDOMNode> b;
    ASSERT_EQ(root->get_firstChild(b.Put()), S_OK);
    ASSERT_EQ(root->removeChild(b.Get(), nullptr), S_OK);
    EXPECT_EQ(loose->appendChild(b.Get(), nullptr), S_OK);
    document.Reset();
    b.Reset();
    root.Reset();
    EXPECT_EQ(DomShape(*loose), L"loose(b('t'))");
}

} // namespace
