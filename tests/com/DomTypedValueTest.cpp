#include "DomFixture.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

namespace {

class CDomTypedValueTest : public CDomFixture {
protected:
    /// What a reader of a number does: set the type, ask for the value. A value of another type is no number.
    static bool ReadInteger(const std::wstring& text, LONG& value)
    {
        const auto element = Root(Parse(L"<a>" + text + L"</a>"));
        const CBstr type(L"i4");
        if (element->put_dataType(type.Get()) != S_OK)
            return false;
        CVariant typed;
        if (element->get_nodeTypedValue(typed.Put()) != S_OK || typed.Type() != VT_I4)
            return false;
        value = typed.Get().lVal;
        return true;
    }
};

TEST_F(CDomTypedValueTest, IntegersAreRead)
{
    const std::pair<const wchar_t*, LONG> numbers[] = {{L"12", 12},
                                                       {L" 12 ", 12},
                                                       {L"12\n", 12},
                                                       {L"+12", 12},
                                                       {L"-12", -12},
                                                       {L"007", 7},
                                                       {L"0", 0},
                                                       {L"<![CDATA[5]]>", 5},
                                                       {L"1<!-- c -->2", 12},
                                                       {L"2147483647", std::numeric_limits<LONG>::max()},
                                                       {L"-2147483648", std::numeric_limits<LONG>::min()}};
    for (const auto& [text, number] : numbers) {
        LONG value = -1;
        EXPECT_TRUE(ReadInteger(text, value)) << number;
        EXPECT_EQ(value, number);
    }
}

TEST_F(CDomTypedValueTest, WhatIsNoIntegerIsNotRead)
{
    for (const wchar_t* text : {L"", L"x", L"12x", L"1.5", L"0x10", L"1e3", L"- 5", L"+-5", L"2147483648",
                                L"-2147483649", L"99999999999999999999", L"1,000", L"(5)", L"1 2", L"\u0661"}) {
        LONG value = -1;
        EXPECT_FALSE(ReadInteger(text, value)) << value;
        EXPECT_EQ(value, -1);
    }
}

TEST_F(CDomTypedValueTest, ATypeThatTheDocumentGivesHolds)
{
    const auto document = Parse(L"<a xmlns:dt='urn:schemas-microsoft-com:datatypes'><b dt:dt='i4'>12</b></a>");
    CComPtr<IXMLDOMNode> b;
    ASSERT_EQ(Root(document)->get_firstChild(b.Put()), S_OK);
    CVariant type;
    EXPECT_EQ(b->get_dataType(type.Put()), S_OK);
    EXPECT_EQ(type.Text(), L"i4");
    CVariant value;
    EXPECT_EQ(b->get_nodeTypedValue(value.Put()), S_OK);
    ASSERT_EQ(value.Type(), VT_I4);
    EXPECT_EQ(value.Get().lVal, 12);
}

TEST_F(CDomTypedValueTest, AnElementWithoutATypeHasNone)
{
    CVariant type;
    EXPECT_EQ(Root(Parse(L"<a/>"))->get_dataType(type.Put()), S_FALSE);
    EXPECT_EQ(type.Type(), VT_NULL);
}

TEST_F(CDomTypedValueTest, ATypeIsPartOfTheDocument)
{
    const auto document = Parse(L"<a>12</a>");
    const auto element = Root(document);
    const CBstr type(L"i4");
    ASSERT_EQ(element->put_dataType(type.Get()), S_OK);
    ASSERT_EQ(element->put_dataType(type.Get()), S_OK) << "a second time changes nothing";
    CBstr xml;
    ASSERT_EQ(element->get_xml(xml.Put()), S_OK);
    const std::wstring markup = xml.Text();
    EXPECT_NE(markup.find(L" dt:dt=\"i4\""), std::wstring::npos);
    EXPECT_NE(markup.find(L"xmlns:dt=\"urn:schemas-microsoft-com:datatypes\""), std::wstring::npos);
}

TEST_F(CDomTypedValueTest, OnlyElementsTakeATypeAndOnlyOneThatExists)
{
    const auto document = Parse(L"<a x='5'>6</a>");
    const CBstr type(L"i4");
    const CBstr unknown(L"zzz");
    EXPECT_TRUE(FAILED(Root(document)->put_dataType(unknown.Get())));
    EXPECT_TRUE(FAILED(document->put_dataType(type.Get())));
    CComPtr<IXMLDOMNamedNodeMap> map;
    ASSERT_EQ(Root(document)->get_attributes(map.Put()), S_OK);
    CComPtr<IXMLDOMNode> attribute;
    ASSERT_EQ(map->get_item(0, attribute.Put()), S_OK);
    EXPECT_TRUE(FAILED(attribute->put_dataType(type.Get())));
    CVariant value;
    EXPECT_EQ(attribute->get_nodeTypedValue(value.Put()), S_OK);
    EXPECT_EQ(value.Text(), L"5");
}

TEST_F(CDomTypedValueTest, ATextTakesTheTypeOfItsElement)
{
    const auto element = Root(Parse(L"<a>12</a>"));
    CComPtr<IXMLDOMNode> text;
    ASSERT_EQ(element->get_firstChild(text.Put()), S_OK);
    const CBstr type(L"i4");
    EXPECT_EQ(text->put_dataType(type.Get()), S_OK);
    CVariant value;
    EXPECT_EQ(text->get_nodeTypedValue(value.Put()), S_OK);
    EXPECT_EQ(value.Type(), VT_I4);
    EXPECT_EQ(element->get_nodeTypedValue(value.Put()), S_OK);
    ASSERT_EQ(value.Type(), VT_I4);
    EXPECT_EQ(value.Get().lVal, 12);
}

} // namespace
