#include "protocol/StatusFileText.h"

#include <gtest/gtest.h>

namespace {

CString FoundComment(const CString& text)
{
    CString value = L"before";
    EXPECT_TRUE(StatusFileText::FindKey(text, StatusFileText::kProgressComment, value));
    return value;
}

CString RoundTrip(const CString& value)
{
    return FoundComment(StatusFileText::KeyLine(StatusFileText::kProgressComment, value));
}

} // namespace

TEST(StatusFileText, EscapesLineBreaksAndEqualSigns)
{
    EXPECT_EQ(StatusFileText::KeyLine(L"ProgressComment", L"a=b\r\nc"),
              L"ProgressComment=a&ampEqual&b&ampNewLineCR&c\r\n");
    EXPECT_EQ(StatusFileText::EscapeValue(L"a\nb"), L"a&ampNewLine&b");
}

TEST(StatusFileText, LeavesALoneCarriageReturnAndAmpersandsAlone)
{
    EXPECT_EQ(StatusFileText::EscapeValue(L"a\rb&c"), L"a\rb&c");
}

TEST(StatusFileText, CommentsComeBackUnchanged)
{
    for (const CString& comment : {CString(L"a=b\r\nc"), CString(L"\r\n\n\r\n=="), CString(L"x\r"),
                                   CString(L"&ampEqual"), CString(L"p\u00e9r\u010d\u6f22"), CString(L"=")})
        EXPECT_EQ(RoundTrip(comment), comment);
}

TEST(StatusFileText, OnlySpacesAroundAValueAreTrimmed)
{
    EXPECT_EQ(FoundComment(L"13\r\nProgressComment=  a b \t \r\n"), L"a b \t");
}

TEST(StatusFileText, KeysAreFoundInAnyLetterCase)
{
    CString value;
    EXPECT_TRUE(StatusFileText::FindKey(L"9\r\nprogressperc=7\r\n", StatusFileText::kProgressPercent, value));
    EXPECT_EQ(StatusFileText::ToNumber(value), 7);
}

TEST(StatusFileText, TheFirstLineOfAKeyWins)
{
    CString value;
    EXPECT_TRUE(StatusFileText::FindKey(L"9\r\nk=1\r\nK=2\r\n", L"k", value));
    EXPECT_EQ(value, L"1");
}

TEST(StatusFileText, AMissingKeyEmptiesTheValue)
{
    CString value = L"before";
    EXPECT_FALSE(StatusFileText::FindKey(L"13\r\nProgressPerc=45\r\n", StatusFileText::kProgressComment, value));
    EXPECT_EQ(value, L"");
}

TEST(StatusFileText, AKeyMustMatchWhole)
{
    CString value;
    EXPECT_FALSE(StatusFileText::FindKey(L"9\r\nProgressPercent=45\r\n", StatusFileText::kProgressPercent, value));
    EXPECT_FALSE(StatusFileText::FindKey(L"9\r\n ProgressPerc=45\r\n", StatusFileText::kProgressPercent, value));
}

TEST(StatusFileText, TheStatusIsTheNumberOfTheFirstLine)
{
    std::int32_t status = 0;
    EXPECT_TRUE(StatusFileText::FindStatus(StatusFileText::StatusLine(13), status));
    EXPECT_EQ(status, 13);
    EXPECT_TRUE(StatusFileText::FindStatus(StatusFileText::StatusLine(-1), status));
    EXPECT_EQ(status, -1);
    EXPECT_TRUE(StatusFileText::FindStatus(L"garbage\r\n", status));
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(StatusFileText::FindStatus(L"", status));
}

TEST(StatusFileText, NumbersAreConvertedAsTheCLibraryDoes)
{
    EXPECT_EQ(StatusFileText::ToNumber(L"  -12x"), -12);
    EXPECT_EQ(StatusFileText::ToNumber(L"+5"), 5);
    EXPECT_EQ(StatusFileText::ToNumber(L"x"), 0);
    EXPECT_EQ(StatusFileText::ToNumber(L"99999999999"), 2147483647);
    EXPECT_EQ(StatusFileText::ToNumber(L"-99999999999"), -2147483647 - 1);
}

TEST(StatusFileText, EveryShorterLengthIsReadWithoutInventingAnything)
{
    const CString whole = StatusFileText::StatusLine(9) + StatusFileText::KeyLine(L"ProgressPerc", L"45") +
                          StatusFileText::KeyLine(L"ProgressComment", L"a=b");
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const CString part = whole.substr(0, length);
        std::int32_t status = -7;
        CString percent;
        CString comment;
        EXPECT_EQ(StatusFileText::FindStatus(part, status), length > 0);
        if (StatusFileText::FindKey(part, L"ProgressPerc", percent)) {
            EXPECT_EQ(CString(L"45\r").substr(0, percent.size()), percent);
        }
        const bool found = StatusFileText::FindKey(part, L"ProgressComment", comment);
        EXPECT_TRUE(found || length < whole.size());
        EXPECT_LE(comment.size(), CString(L"a&ampEqual&b").size());
        if (length == whole.size()) {
            EXPECT_EQ(comment, L"a=b");
        }
    }
}
