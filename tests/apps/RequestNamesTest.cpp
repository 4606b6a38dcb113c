#include "apps/zel/RequestNames.h"

#include <gtest/gtest.h>

namespace {

TEST(RequestNamesTest, ServersTakeTwoExtensionsInAnyLetterCase)
{
    for (const wchar_t* name : {L"a.drq", L"a.DRQ", L"a.b.xml", L"a.XmL", L".drq"})
        EXPECT_TRUE(IsRequestName(name)) << name;
    for (const wchar_t* name : {L"a", L"a.txt", L"a.drq.tmp", L"a.status", L"drq", L"a.command", L""})
        EXPECT_FALSE(IsRequestName(name)) << name;
}

TEST(RequestNamesTest, StatusFilesBelongToTheirRequest)
{
    EXPECT_EQ(RequestOfFile(L"a.drq"), L"a.drq");
    EXPECT_EQ(RequestOfFile(L"a.xml.status"), L"a.xml");
    EXPECT_EQ(RequestOfFile(L"a.drq.status.lock"), L"");
    EXPECT_EQ(RequestOfFile(L"a.command.status"), L"");
    EXPECT_EQ(RequestOfFile(L".status"), L"");
}

TEST(RequestNamesTest, NamesThatGoNowhereAreRefused)
{
    for (const wchar_t* name : {L"", L".", L"..", L"a/b.drq", L"a\\b.drq", L"a\n.drq", L"c:a.drq", L"a.txt", L"a"})
        EXPECT_FALSE(WhyNoRequestName(name).empty()) << name;
    for (const wchar_t* name : {L"a.drq", L"a b.xml", L"\u010d\u00e1p.drq"})
        EXPECT_TRUE(WhyNoRequestName(name).empty()) << name;
}

TEST(RequestNamesTest, TheNameOfTheStatusFileMustFit)
{
    // 255 bytes, less ".drq" and ".status.lock".
    EXPECT_TRUE(WhyNoRequestName(std::wstring(239, L'a') + L".drq").empty());
    EXPECT_FALSE(WhyNoRequestName(std::wstring(240, L'a') + L".drq").empty());
    EXPECT_FALSE(WhyNoRequestName(std::wstring(120, L'\u010d') + L".drq").empty());
}

} // namespace
