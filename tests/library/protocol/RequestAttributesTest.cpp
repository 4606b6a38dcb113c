#include "protocol/RequestAttributes.h"

#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

int Priority(const std::string& bytes)
{
    return SRequestAttributes::Parse(bytes).priority;
}

TEST(RequestAttributesTest, TheDocumentElementSaysThem)
{
    const SRequestAttributes expected{-7, "Anna's batch"};
    for (const char* text : {"<Request Priority=\"-7\" Client=\"Anna's batch\"><Task/></Request>",
                             "<?xml version='1.0'?>\r\n<!-- <Request Priority='9'> -->\n<?other ?><R\nClient = "
                             "\"Anna's batch\"\tOther='<' Priority\n=\n'-7'/>",
                             "\xEF\xBB\xBF <a:b Client=\"Anna's batch\" Priority='-7' >"})
        EXPECT_EQ(SRequestAttributes::Parse(text), expected) << text;
}

TEST(RequestAttributesTest, BothOrdersOfUtf16AreRead)
{
    std::string bytes = "\xFF\xFE" + platform::ToUtf16Le(L"<R Client='\u00e4' Priority='3'/>");
    EXPECT_EQ(SRequestAttributes::Parse(bytes), (SRequestAttributes{3, "\xC3\xA4"}));
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        std::swap(bytes[i], bytes[i + 1]);
    EXPECT_EQ(SRequestAttributes::Parse(bytes), (SRequestAttributes{3, "\xC3\xA4"}));
}

TEST(RequestAttributesTest, WhatIsNoSuchElementSaysNothing)
{
    for (const char* text : {"",
                             " ",
                             "<",
                             "<?",
                             "<!--",
                             "<R",
                             "<R Priority='1'",
                             "<R Priority='1",
                             "<R Priority='1' X>",
                             "<R Priority=1>",
                             "<R Priority>",
                             "<R ='1'>",
                             "< R Priority='1'>",
                             "R Priority='1'>",
                             "</R Priority='1'>",
                             "<R Priority='1'/",
                             "<!DOCTYPE R [<!ENTITY e '1'>]><R Priority='1'/>",
                             "<!DOCTYPE R><R Priority='1'/>",
                             "<!-- <R Priority='1'/>",
                             "x<R Priority='1'/>",
                             "<R Client='me' Priority='1' \x01"})
        EXPECT_EQ(SRequestAttributes::Parse(text), SRequestAttributes()) << text;
}

TEST(RequestAttributesTest, OnlyAWholeNumberIsAPriorityAndItsRangeIsLimited)
{
    EXPECT_EQ(Priority("<R Priority='100'/>"), 100);
    EXPECT_EQ(Priority("<R Priority='-100'/>"), -100);
    EXPECT_EQ(Priority("<R Priority='101'/>"), 100);
    EXPECT_EQ(Priority("<R Priority='-101'/>"), -100);
    EXPECT_EQ(Priority("<R Priority='99999999999999999999'/>"), 100);
    EXPECT_EQ(Priority("<R Priority='-99999999999999999999'/>"), -100);
    for (const char* value : {"", "high", "1.5", " 1", "1 ", "0x10", "--1", "&#49;"})
        EXPECT_EQ(Priority("<R Priority='" + std::string(value) + "'/>"), 0) << value;
}

TEST(RequestAttributesTest, ATimeWithItsZoneIsNotBeforeWhichItRuns)
{
    const auto notBefore = [](const std::string& value) {
        return SRequestAttributes::Parse("<R NotBefore='" + value + "'/>").notBefore;
    };
    EXPECT_EQ(notBefore("2026-11-23T06:00:00Z"), 1'795'413'600);
    EXPECT_EQ(notBefore("2026-11-23T08:00+02:00"), 1'795'413'600);
    for (const char* value : {"", "soon", "2026-11-23T06:00:00", "1795413600"})
        EXPECT_EQ(notBefore(value), 0) << value;
}

TEST(RequestAttributesTest, SecondsAreATimeLimitAndWhatIsNoneSetsNone)
{
    using std::chrono::milliseconds;
    const auto limit = [](const std::string& value) {
        return SRequestAttributes::Parse("<R TimeLimit='" + value + "'/>").timeLimit;
    };
    EXPECT_EQ(limit("3600"), milliseconds(3'600'000));
    EXPECT_EQ(limit("0.25"), milliseconds(250));
    EXPECT_EQ(limit("1000000000"), milliseconds(1'000'000'000'000));
    for (const char* value : {"", "0", "-1", "1e9", "NaN", "inf", "1000000000.001", "99999999999999999999", "5 ", "5s",
                              "1,5", "0.0001", "1.", ".5", "0x10"})
        EXPECT_EQ(limit(value), milliseconds(0)) << value;
}

TEST(RequestAttributesTest, FromOneToAHundredAttemptsCanBeAskedFor)
{
    const auto attempts = [](const std::string& value) {
        return SRequestAttributes::Parse("<R Attempts='" + value + "'/>").attempts;
    };
    EXPECT_EQ(attempts("1"), 1);
    EXPECT_EQ(attempts("3"), 3);
    EXPECT_EQ(attempts("100"), 100);
    EXPECT_EQ(attempts("101"), 100);
    EXPECT_EQ(attempts("99999999999999999999"), 100);
    for (const char* value : {"", "0", "-1", "-99999999999999999999", "two", "2.5", " 2", "2 ", "NaN", "1e1"})
        EXPECT_EQ(attempts(value), 1) << value;
}

TEST(RequestAttributesTest, TheNamesAreThoseAndNoOthers)
{
    EXPECT_EQ(SRequestAttributes::Parse(
                  "<R priority='1' client='me' x:Priority='2' Clients='3' notBefore='2026-11-23T06:00Z'/>"),
              SRequestAttributes());
    EXPECT_EQ(Priority("<R><Task Priority='5'/></R>"), 0) << "of another element";
}

TEST(RequestAttributesTest, TheElementEndsWithinTheLimit)
{
    const std::string start = "<R Priority='5' X='";
    const std::string end = "'>";
    const std::size_t room = SRequestAttributes::kMaxBytes - start.size() - end.size();
    EXPECT_EQ(Priority(start + std::string(room - 1, 'x') + end), 5);
    EXPECT_EQ(Priority(start + std::string(room, 'x') + end), 5);
    EXPECT_EQ(Priority(start + std::string(room + 1, 'x') + end), 0);
}

TEST(RequestAttributesTest, TheNameOfAClientIsCut)
{
    const std::string longest(SRequestAttributes::kMaxClientBytes, 'c');
    for (const char* more : {"", "c", "d"})
        EXPECT_EQ(SRequestAttributes::Parse("<R Client='" + longest + more + "'/>").client, longest);
}

TEST(RequestAttributesTest, EachPartOfADocumentIsReadWithoutHarm)
{
    const std::string whole = "<?xml version='1.0'?><!-- c --><R Priority='5' Client='me'/>";
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_EQ(SRequestAttributes::Parse(whole.substr(0, length)), SRequestAttributes()) << length;
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = whole;
            changed[place] = static_cast<char>(byte);
            const SRequestAttributes found = SRequestAttributes::Parse(changed);
            EXPECT_LE(std::abs(found.priority), SRequestAttributes::kHighest);
            EXPECT_LE(found.client.size(), whole.size());
        }
    }
}

TEST(RequestAttributesTest, OfAFileTheFirstBytesAreReadAndAMissingOneSaysNothing)
{
    const testsupport::CTemporaryDirectory dir;
    const std::wstring path = dir / L"a.drq";
    ASSERT_EQ(platform::WriteWholeFile(path, "<R Priority='5'>" + std::string(100'000, 'x')), platform::eOsError_None);
    EXPECT_EQ(SRequestAttributes::Read(path).priority, 5);
    EXPECT_EQ(SRequestAttributes::Read(dir / L"none"), SRequestAttributes());
    EXPECT_EQ(SRequestAttributes::Read(dir.Path()), SRequestAttributes());
}

} // namespace
