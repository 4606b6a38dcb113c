#include "apps/zel-server/FiguresJson.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

using namespace std::chrono_literals;

namespace {

class FiguresJsonTest : public testing::Test {
protected:
    FiguresJsonTest()
    {
        m_facts.now = 1'000'000;
        m_facts.steadyNow = 500s;
        m_facts.heartbeat = 30;
    }
    [[nodiscard]] std::string Text() const { return FiguresJson(m_figures, m_history, m_facts); }
    [[nodiscard]] nlohmann::json Object() const { return nlohmann::json::parse(Text()); }

    SZelServerFigures m_figures;
    CFigureHistory m_history;
    SFigureFacts m_facts;
};

TEST_F(FiguresJsonTest, WhatOthersNamedIsInertAndComesBackAsItWas)
{
    const std::wstring hostile = L"</script><script>alert(1)//\x2028\x2029&\"'\\\n\x1b[0m";
    m_figures.runs.resize(1);
    m_figures.runs[0].name = m_figures.runs[0].comment = hostile;
    m_figures.firstWaiting.resize(1);
    m_figures.firstWaiting[0].name = m_figures.firstWaiting[0].client = hostile;
    m_figures.failed.resize(1);
    m_figures.failed[0].name = m_figures.failed[0].type = m_figures.failed[0].reason = hostile;
    const std::string text = Text();
    EXPECT_EQ(text.find_first_of("<>&\n\x1b"), std::string::npos) << text;
    EXPECT_TRUE(std::ranges::all_of(text, [](char byte) { return byte >= ' ' && byte < 0x7f; })) << text;
    const std::string expected = "</script><script>alert(1)//\xe2\x80\xa8\xe2\x80\xa9&\"'\\\n\x1b[0m";
    EXPECT_EQ(Object()["running"][0]["comment"], expected);
    EXPECT_EQ(Object()["waiting"]["first"][0]["client"], expected);
    EXPECT_EQ(Object()["failed"][0]["reason"], expected);
}

TEST_F(FiguresJsonTest, HalfACharacterDoesNoHarm)
{
    m_figures.runs.resize(1);
    m_figures.runs[0].name = {L'a', static_cast<wchar_t>(0xD83D)};
    EXPECT_TRUE(Object()["running"][0]["name"].get<std::string>().starts_with("a"));
}

TEST_F(FiguresJsonTest, TimesAreThoseOfTheCalendar)
{
    m_figures.runs.resize(1);
    m_figures.runs[0].since = 499s;
    m_figures.ended.resize(1);
    m_figures.ended[0].when = 498s;
    m_figures.ended[0].waited = 20ms;
    m_figures.ended[0].ran = 3s;
    m_figures.ended[0].outcome = eRequestStatus_ServerError;
    const nlohmann::json object = Object();
    EXPECT_EQ(object["written"], 1'000'000);
    EXPECT_EQ(object["running"][0]["since"], 999'000);
    EXPECT_EQ(object["answers"][0]["when"], 998'000);
    EXPECT_EQ(object["answers"][0]["waited_ms"], 20);
    EXPECT_EQ(object["answers"][0]["ran_ms"], 3000);
    EXPECT_EQ(object["answers"][0]["outcome"], "failed");
}

TEST_F(FiguresJsonTest, TotalsAreOfAllTypes)
{
    m_figures.types = {{L"Query", 3, 2, 1}, {L"", 0, 0, 4}};
    const nlohmann::json totals = Object()["totals"];
    EXPECT_EQ(totals["done"], 3);
    EXPECT_EQ(totals["failed"], 2);
    EXPECT_EQ(totals["cancelled"], 5);
    EXPECT_TRUE(totals["wait"][0].is_null());
}

TEST_F(FiguresJsonTest, AllThatAPageReadsIsThereWhenNothingHappened)
{
    const nlohmann::json object = Object();
    for (const char* name : {"version", "written", "heartbeat", "ended", "language", "server", "disk", "running",
                             "waiting", "paused", "held", "failed", "answers", "clients", "totals", "series"})
        EXPECT_TRUE(object.contains(name)) << name;
    EXPECT_TRUE(object["disk"]["output"]["free"].is_null());
    EXPECT_EQ(object["version"], 1);
    EXPECT_EQ(object["ended"], false);
}

} // namespace
