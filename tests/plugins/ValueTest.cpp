#include "plugins/datastore/Value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

TEST(Value, RealsReadBackAsTheSameNumber)
{
    for (const double number : {0.1, 1.0 / 3, 1e23, 5e-324, std::numeric_limits<double>::max(), -0.0, 123456789.125})
        EXPECT_EQ(std::strtod(RealText(number).c_str(), nullptr), number) << RealText(number);
    EXPECT_EQ(RealText(5), "5.0");
    EXPECT_EQ(RealText(-0.0), "-0.0");
    EXPECT_EQ(RealText(1e21), "1e+21");
    EXPECT_EQ(RealText(std::nan("")), "NaN");
}

TEST(Value, XmlTextIsValidUtf8WithoutControlCharacters)
{
    for (const char* text : {"", "plain", "\t\r\n", "\x7F", "\xC2\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBD",
                             "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_TRUE(IsXmlText(text)) << text;
    EXPECT_FALSE(IsXmlText(std::string_view("a\0b", 3)));
    for (const char* text : {"\x01", "\x1F", "\x80", "\xC0\xAF", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x80\xAF",
                             "\xED\xA0\x80", "\xEF\xBF\xBE", "\xEF\xBF\xBF", "\xF0\x80\x80\xAF", "\xF4\x90\x80\x80",
                             "\xF5\x80\x80\x80", "\xE2\x82", "\xF0\x9F\x90", "\xFF"})
        EXPECT_FALSE(IsXmlText(text)) << testing::PrintToString(text);
    EXPECT_EQ(XmlSafeText("a\xC3(\x01"
                          "b"),
              "a\xEF\xBF\xBD(\xEF\xBF\xBD"
              "b");
}

TEST(Value, Base64IsPadded)
{
    EXPECT_EQ(Base64(""), "");
    EXPECT_EQ(Base64("f"), "Zg==");
    EXPECT_EQ(Base64("fo"), "Zm8=");
    EXPECT_EQ(Base64("foo"), "Zm9v");
    EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
    EXPECT_EQ(Base64("\xFB\xFF\xFE"), "+//+");
}
