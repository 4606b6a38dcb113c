#include <ZEL_Processor/ZelPluginWriter.h>

#include "tests/plugins/StringSink.h"

#include <gtest/gtest.h>

using testsupport::CStringSink;

TEST(ZelXmlWriter, LaysOutElementsAndKeepsTextOnItsLine)
{
    CStringSink sink;
    CZelXmlWriter xml(sink);
    xml.Declaration();
    xml.Open("a");
    xml.Attribute("q", L"\"<&>\"\n\t");
    xml.Element("b", L"<x> & \"y\" ]]>");
    xml.Open("c");
    xml.Close();
    xml.ElementMarkup("<d>1</d>");
    xml.Close();
    EXPECT_TRUE(xml.IsGood());
    EXPECT_EQ(sink.All(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                          "<a q=\"&quot;&lt;&amp;&gt;&quot;&#10;&#9;\">\n"
                          "  <b>&lt;x&gt; &amp; \"y\" ]]&gt;</b>\n"
                          "  <c/>\n"
                          "  <d>1</d>\n"
                          "</a>\n");
}

TEST(ZelXmlWriter, CharactersThatXmlLacksBecomeReplacements)
{
    CStringSink sink;
    CZelXmlWriter xml(sink);
    xml.Element("a", std::wstring(L"x\x1y\0z\r", 6));
    EXPECT_EQ(sink.All(), "<a>x\xEF\xBF\xBDy\xEF\xBF\xBDz&#13;</a>\n");
}

TEST(ZelXmlWriter, AFailureIsRemembered)
{
    CStringSink sink(0);
    CZelXmlWriter xml(sink);
    xml.Element("a", L"x");
    xml.Element("b", L"x");
    EXPECT_FALSE(xml.IsGood());
}
