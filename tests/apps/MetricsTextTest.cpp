#include "apps/zel-server/MetricsText.h"

#include "tests/apps/ProgramFixture.h"

using namespace std::chrono_literals;

namespace {

TEST(MetricsTextTest, RequestsAreCountedByTypeAndOutcome)
{
    SZelServerFigures figures;
    figures.types = {{L"", 0, 0, 4}, {L"Query", 3, 2, 1}, {L"unknown", 0, 0, 5}};
    const std::string text = MetricsText(figures, {.outputDir = L"/out"});
    EXPECT_TRUE(Contains(text, "\nzel_requests_total{server=\"/out\",type=\"Query\",outcome=\"failed\"} 2\n")) << text;
    EXPECT_TRUE(Contains(text, "\nzel_requests_total{server=\"/out\",type=\"unknown\",outcome=\"cancelled\"} 9\n"))
        << "no line stands there twice: " << text;
}

TEST(MetricsTextTest, WhatOthersNamedEndsNoLabel)
{
    SZelServerFigures figures;
    figures.types = {{L"a\"} 1\nb\\", 1, 0, 0}};
    const std::string text = MetricsText(figures, {.outputDir = L"C:\\out"});
    EXPECT_TRUE(Contains(text, "{server=\"C:\\\\out\",type=\"a\\\"} 1\\nb\\\\\",outcome=\"done\"} 1\n")) << text;
}

TEST(MetricsTextTest, TimesAreCountedUpToEachLimit)
{
    SZelServerFigures figures;
    figures.waiting.Add(1ms);
    figures.waiting.Add(4ms);
    figures.waiting.Add(10h);
    const std::string text = MetricsText(figures, {.outputDir = L"o"});
    const std::string name = "\nzel_request_wait_seconds";
    EXPECT_TRUE(Contains(text, name + "_bucket{server=\"o\",le=\"0.002\"} 1\n")) << text;
    EXPECT_TRUE(Contains(text, name + "_bucket{server=\"o\",le=\"0.005\"} 2\n")) << text;
    EXPECT_TRUE(Contains(text, name + "_bucket{server=\"o\",le=\"3600\"} 2\n")) << text;
    EXPECT_TRUE(Contains(text, name + "_bucket{server=\"o\",le=\"+Inf\"} 3\n")) << text;
    EXPECT_TRUE(Contains(text, name + "_count{server=\"o\"} 3\n")) << text;
    EXPECT_TRUE(Contains(text, name + "_sum{server=\"o\"} 36000.005\n")) << text;
}

} // namespace
