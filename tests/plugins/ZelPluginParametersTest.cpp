#include <ZEL_Processor/ZelPluginParameters.h>

#include "tests/plugins/PluginHarness.h"

#include <gtest/gtest.h>

#include <clocale>

using namespace plugintest;

namespace {

class Parameters : public testing::Test {
protected:
    /// What stands in the "Task" element.
    CZelParameters& Of(const std::wstring& content)
    {
        CBstr xml(L"<Task Type=\"T\">" + content + L"</Task>");
        CString error;
        CComPtr<IXMLDOMElement> root;
        EXPECT_TRUE(CXMLTools::CreateXmlDomFromString(xml.Get(), root.Put(), error)) << error.c_str();
        m_parameters.emplace(root.Get());
        return *m_parameters;
    }
    template <class Value>
    [[nodiscard]] bool Takes(const std::wstring& text, Value& value)
    {
        return Of(L"<A>" + text + L"</A>").Get(L"A", value);
    }
    template <class Value>
    [[nodiscard]] CString Refusal(const std::wstring& text)
    {
        Value value{};
        EXPECT_FALSE(Takes(text, value)) << text.c_str();
        return m_parameters->Error();
    }

    CComponents m_components;
    std::optional<CZelParameters> m_parameters;
};

} // namespace

TEST_F(Parameters, NumbersHaveAPointInEveryCountry)
{
    const char* const before = std::setlocale(LC_ALL, nullptr);
    const std::string kept = before != nullptr ? before : "C";
    for (const char* const name : {"C", "de_DE.UTF-8", "fr_FR.UTF-8", "German_Germany.1252"}) {
        if (std::setlocale(LC_ALL, name) == nullptr)
            continue; // not on this machine; "C" always is
        double value = 0;
        EXPECT_TRUE(Takes(L"-12.5e2", value)) << name;
        EXPECT_EQ(value, -1250.0) << name;
        EXPECT_FALSE(Takes(L"12,5", value)) << name;
    }
    std::setlocale(LC_ALL, kept.c_str());
}

TEST_F(Parameters, ANumberIsTheWholeText)
{
    for (const wchar_t* const text : {L"", L"5x", L"x5", L"5 5", L"+5", L"inf", L"nan", L"1e999", L"0x10", L"\u0665"})
        EXPECT_NE(Refusal<double>(text).find(L"\"A\" is \""), CString::npos) << text;
    EXPECT_EQ(Refusal<double>(L"12,5"), L"\"A\" is \"12,5\", not a number like 0.5 or 1e9.");
}

TEST_F(Parameters, TheLongestNumberHas128Characters)
{
    double value = 0;
    EXPECT_TRUE(Takes(std::wstring(kZelLongestValue - 1, L'0') + L"1", value));
    EXPECT_EQ(value, 1.0);
    EXPECT_FALSE(Takes(std::wstring(kZelLongestValue, L'0') + L"1", value));
}

TEST_F(Parameters, WholeNumbersKeepToTheirType)
{
    std::uint16_t small = 0;
    EXPECT_TRUE(Takes(L"65535", small));
    EXPECT_EQ(small, 65535);
    EXPECT_EQ(Refusal<std::uint16_t>(L"65536"), L"\"A\" is \"65536\", not a whole number from 0 to 65535.");
    EXPECT_EQ(Refusal<std::uint16_t>(L"-1"), L"\"A\" is \"-1\", not a whole number from 0 to 65535.");
    std::int64_t large = 0;
    EXPECT_TRUE(Takes(L"-9223372036854775808", large));
    EXPECT_EQ(large, std::numeric_limits<std::int64_t>::min());
    EXPECT_NE(Refusal<std::int32_t>(L"1.0"), L"");
}

TEST_F(Parameters, TrueAndFalseAreXmls)
{
    bool value = false;
    EXPECT_TRUE(Takes(L"true", value) && value);
    EXPECT_TRUE(Takes(L"0", value) && !value);
    EXPECT_TRUE(Takes(L"1", value) && value);
    EXPECT_TRUE(Takes(L"false", value) && !value);
    EXPECT_EQ(Refusal<bool>(L"yes"), L"\"A\" is \"yes\", not true or false.");
}

TEST_F(Parameters, IdsHaveBraces)
{
    GUID id{};
    EXPECT_TRUE(Takes(L"{94a83206-5715-4640-A9EB-240C3A5A7915}", id));
    EXPECT_EQ(id, kTestTasksId);
    EXPECT_EQ(Refusal<GUID>(L"94A83206-5715-4640-A9EB-240C3A5A7915"),
              L"\"A\" is \"94A83206-5715-4640-A9EB-240C3A5A7915\", "
              L"not an id of the form {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}.");
}

TEST_F(Parameters, DatesAreThoseOfTheCalendar)
{
    using namespace std::chrono;
    year_month_day day;
    EXPECT_TRUE(Takes(L"2028-02-29", day));
    EXPECT_EQ(day, 2028y / February / 29);
    for (const wchar_t* const text : {L"2026-02-29", L"2026-13-01", L"2026-2-28", L"28.02.2026", L"2026-02-28Z", L""})
        EXPECT_NE(Refusal<year_month_day>(text), L"") << text;
    sys_seconds time;
    EXPECT_TRUE(Takes(L"2026-02-28T23:59:59Z", time));
    EXPECT_EQ(time.time_since_epoch(), 1772323199s);
    for (const wchar_t* const text : {L"2026-02-28", L"2026-02-28T24:00:00Z", L"2026-02-28T23:60:00Z",
                                      L"2026-02-28T23:59:60Z", L"2026-02-28T23:59:59", L"2026-02-28 23:59:59Z"})
        EXPECT_EQ(Refusal<sys_seconds>(text),
                  L"\"A\" is \"" + CString(text) + L"\", not a time like 2026-02-28T23:59:59Z.");
}

TEST_F(Parameters, WhatIsMissingIsNamed)
{
    double value = 7;
    EXPECT_FALSE(Of(L"<B>1</B>").Get(L"A", value));
    EXPECT_EQ(m_parameters->Error(), L"\"A\" is missing.");
    EXPECT_TRUE(Of(L"<B>1</B>").GetOptional(L"A", value));
    EXPECT_EQ(value, 7);
    EXPECT_FALSE(CZelParameters(nullptr).GetOptional(L"A", value));
}

TEST_F(Parameters, OneThatStandsThereTwiceIsNoOne)
{
    CString value;
    EXPECT_FALSE(Of(L"<A>1</A><A>2</A>").Get(L"A", value));
    EXPECT_EQ(m_parameters->Error(), L"\"A\" stands there twice.");
}

TEST_F(Parameters, OnlyChildrenCountAndTheCaseOfNamesDoesNot)
{
    CString value;
    EXPECT_TRUE(Of(L"<!-- A --><B><A>inner</A></B><a>own &amp; whole</a>").Get(L"A", value));
    EXPECT_EQ(value, L"own & whole");
    EXPECT_FALSE(Of(L"<B><A>inner</A></B>").Get(L"A", value));
}

TEST_F(Parameters, ListsKeepTheirOrderAndTheirLimit)
{
    std::vector<std::int32_t> values;
    EXPECT_TRUE(Of(L"<A>3</A><B/><A>1</A><A>2</A>").GetList(L"A", values, 3));
    EXPECT_EQ(values, (std::vector<std::int32_t>{3, 1, 2}));
    EXPECT_TRUE(m_parameters->GetList(L"C", values));
    EXPECT_TRUE(values.empty());
    EXPECT_FALSE(m_parameters->GetList(L"A", values, 2));
    EXPECT_EQ(m_parameters->Error(), L"\"A\" stands there more than 2 times.");
    EXPECT_FALSE(Of(L"<A>3</A><A>three</A>").GetList(L"A", values));
    EXPECT_EQ(m_parameters->Error(), L"\"A\" is \"three\", not a whole number from -2147483648 to 2147483647.");
}

TEST_F(Parameters, OfALongValueTheBeginningIsTold)
{
    EXPECT_EQ(Refusal<bool>(std::wstring(41, L'x')),
              L"\"A\" is \"" + std::wstring(40, L'x') + L"...\", not true or false.");
}
