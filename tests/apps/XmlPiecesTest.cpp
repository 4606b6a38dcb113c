#include "apps/zel/XmlPieces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

/// The bytes, so many at a time.
ByteSource Bytes(std::string text, std::size_t step = 7)
{
    return [text = std::move(text), step, at = std::size_t{0}](std::span<std::byte> buffer, std::size_t& read) mutable {
        read = std::min({step, buffer.size(), text.size() - at});
        std::memcpy(buffer.data(), text.data() + at, read);
        at += read;
        return platform::eOsError_None;
    };
}

/// "<a>text</a>", with the texts of one place put together; "!" where it failed.
std::string Pieces(const std::string& document, std::size_t step = 7)
{
    CXmlPieces pieces(Bytes(document, step));
    std::string seen;
    for (;;) {
        switch (pieces.Next()) {
        case eXmlPiece_Start: seen += "<" + pieces.Name() + ">"; break;
        case eXmlPiece_End: seen += "</" + pieces.Name() + ">"; break;
        case eXmlPiece_Text: seen += pieces.Text(); break;
        case eXmlPiece_Finished: return seen;
        case eXmlPiece_Failed: return seen + "!";
        }
    }
}

TEST(XmlPiecesTest, ElementsAndTextsComeInOrderHoweverTheBytesAreCut)
{
    const std::string document = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding='utf-8'?>\n<!-- <no> --><a x='1'>\n"
                                 "<b>one</b><?no ?><c/> t&lt;w&#xF6;&#38;<![CDATA[<&]] ]]]>o\r\n</a >\n";
    for (const std::size_t step : {1U, 2U, 3U, 1000U})
        EXPECT_EQ(Pieces(document, step), "<a>\n<b>one</b><c></c> t<w\xC3\xB6&<&]] ]o\n</a>") << step;
}

TEST(XmlPiecesTest, AttributesAreThoseOfTheElement)
{
    CXmlPieces pieces(Bytes("<a Null=\"true\" t = 'x&quot;y'><b/></a>"));
    ASSERT_EQ(pieces.Next(), eXmlPiece_Start);
    EXPECT_EQ(pieces.Attribute("Null"), "true");
    EXPECT_EQ(pieces.Attribute("t"), "x\"y");
    EXPECT_EQ(pieces.Attribute("none"), "");
    ASSERT_EQ(pieces.Next(), eXmlPiece_Start);
    EXPECT_EQ(pieces.Attribute("Null"), "");
    EXPECT_EQ(pieces.Depth(), 2U);
}

TEST(XmlPiecesTest, WhatIsNoDocumentFails)
{
    for (const char* const document : {"",
                                       " ",
                                       "text",
                                       "<a>",
                                       "<a></b>",
                                       "<a/><b/>",
                                       "<a/>x",
                                       "</a>",
                                       "<a b></a>",
                                       "<a b=c/>",
                                       "<a b='<'/>",
                                       "<a>&no;</a>",
                                       "<a>&#0;</a>",
                                       "<a>&#27;</a>",
                                       "<a>&#xD800;</a>",
                                       "<a>&#x110000;</a>",
                                       "<a>&#;</a>",
                                       "<a>&amp</a>",
                                       "<a><![CDATA[x</a>",
                                       "<!DOCTYPE a><a/>",
                                       "<a/><!-- ",
                                       "<a/><? ",
                                       "<![CDATA[x]]><a/>",
                                       "<?xml encoding='x'?><a/>",
                                       "<?xml version='1.0' encoding='UTF-16'?><a/>",
                                       "\xFF\xFE<\0a",
                                       "<a ",
                                       "<a b='"})
        EXPECT_TRUE(Pieces(document).ends_with("!")) << document;
}

TEST(XmlPiecesTest, EveryBeginningOfADocumentFails)
{
    const std::string document = "<?xml version=\"1.0\"?><a b='c'>t&amp;<![CDATA[x]]><c/></a>";
    for (std::size_t length = 0; length < document.size(); ++length)
        EXPECT_TRUE(Pieces(document.substr(0, length)).ends_with("!")) << length;
    EXPECT_EQ(Pieces(document), "<a>t&x<c></c></a>");
}

TEST(XmlPiecesTest, ThereAreLimits)
{
    const auto nested = [](std::size_t depth) {
        std::string document;
        for (std::size_t i = 0; i < depth; ++i)
            document += "<a>";
        for (std::size_t i = 0; i < depth; ++i)
            document += "</a>";
        return document;
    };
    EXPECT_FALSE(Pieces(nested(CXmlPieces::kMaxDepth)).ends_with("!"));
    EXPECT_TRUE(Pieces(nested(CXmlPieces::kMaxDepth + 1)).ends_with("!"));
    EXPECT_FALSE(Pieces("<" + std::string(CXmlPieces::kMaxNameBytes, 'a') + "/>", 1000).ends_with("!"));
    EXPECT_TRUE(Pieces("<" + std::string(CXmlPieces::kMaxNameBytes + 1, 'a') + "/>", 1000).ends_with("!"));
    const auto attributes = [](std::size_t count) {
        std::string document = "<a";
        for (std::size_t i = 0; i < count; ++i)
            document += " b='c'";
        return document + "/>";
    };
    EXPECT_FALSE(Pieces(attributes(CXmlPieces::kMaxAttributes)).ends_with("!"));
    EXPECT_TRUE(Pieces(attributes(CXmlPieces::kMaxAttributes + 1)).ends_with("!"));
    EXPECT_TRUE(Pieces("<a b='" + std::string(CXmlPieces::kMaxAttributeBytes + 2, 'x') + "'/>", 1000).ends_with("!"));
}

TEST(XmlPiecesTest, ALongTextComesInPieces)
{
    std::string text(3 * CXmlPieces::kTextBytes, 'x');
    text.replace(CXmlPieces::kTextBytes - 2, 5, "]]]]]");
    EXPECT_EQ(Pieces("<a>" + text + "</a>", 1000), "<a>" + text + "</a>");
    EXPECT_EQ(Pieces("<a><![CDATA[" + text + "]]></a>", 1000), "<a>" + text + "</a>");
    CXmlPieces pieces(Bytes("<a>" + text + "</a>", 1000));
    ASSERT_EQ(pieces.Next(), eXmlPiece_Start);
    ASSERT_EQ(pieces.Next(), eXmlPiece_Text);
    EXPECT_EQ(pieces.Text().size(), CXmlPieces::kTextBytes);
}

TEST(XmlPiecesTest, BracketsWithoutEndComeInPieces)
{
    const std::string text(3 * CXmlPieces::kTextBytes, ']');
    CXmlPieces pieces(Bytes("<a><![CDATA[" + text + "]]></a>", 1000));
    ASSERT_EQ(pieces.Next(), eXmlPiece_Start);
    std::string seen;
    while (pieces.Next() == eXmlPiece_Text) {
        EXPECT_LE(pieces.Text().size(), CXmlPieces::kTextBytes + 2);
        seen += pieces.Text();
    }
    EXPECT_EQ(seen, text);
    EXPECT_EQ(pieces.Next(), eXmlPiece_Finished);
    EXPECT_EQ(Pieces("<a><![CDATA[]x]]y]>]]]></a>"), "<a>]x]]y]>]</a>");
}

TEST(XmlPiecesTest, AFailureToReadIsTold)
{
    CXmlPieces pieces([](std::span<std::byte>, std::size_t&) { return platform::eOsError_AccessDenied; });
    EXPECT_EQ(pieces.Next(), eXmlPiece_Failed);
    EXPECT_EQ(pieces.Error(), platform::eOsError_AccessDenied);
}

} // namespace
