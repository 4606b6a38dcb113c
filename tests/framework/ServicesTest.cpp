#include "framework/Services.h"

#include "framework/Host.h"
#include "platform/Os.h"
#include "tests/support/RecordingHost.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

TEST(FormatTextTest, PutsArgumentsInOrder)
{
    EXPECT_EQ(FormatText(L"from %s to %ls", {L"a", L"b"}), L"from a to b");
    EXPECT_EQ(FormatText(L"%d %ld %li 0x%lx %lu", {L"1", L"2", L"3", L"4", L"5"}), L"1 2 3 0x4 5");
}

TEST(FormatTextTest, TwoPercentSignsAreOne)
{
    EXPECT_EQ(FormatText(L"%s is 100%%, %%s is no placeholder", {L"it"}), L"it is 100%, %s is no placeholder");
}

TEST(FormatTextTest, PlaceholdersWithoutArgumentStayAsTheyStand)
{
    EXPECT_EQ(FormatText(L"%s and %ls", {L"one"}), L"one and %ls");
    EXPECT_EQ(FormatText(L"%s", {}), L"%s");
}

TEST(FormatTextTest, ArgumentsWithoutPlaceholderAreLeftOut)
{
    EXPECT_EQ(FormatText(L"nothing", {L"one", L"two"}), L"nothing");
}

TEST(FormatTextTest, ArgumentsAreNotReadAsTexts)
{
    EXPECT_EQ(FormatText(L"%s %s", {L"%s", L"%%"}), L"%s %%");
}

TEST(FormatTextTest, OtherPercentSignsAreText)
{
    EXPECT_EQ(FormatText(L"50 % of %s, %q, %", {L"x"}), L"50 % of x, %q, %");
    EXPECT_EQ(FormatText(L"%l", {L"x"}), L"%l");
    EXPECT_EQ(FormatText(L"", {L"x"}), L"");
}

TEST(SetResourceTest, NestsAndGivesBackWhatWasCurrent)
{
    EXPECT_STREQ(CWQ_SetResource::Current(), "");
    {
        const CWQ_SetResource outer("ZEL_Processor");
        EXPECT_STREQ(CWQ_SetResource::Current(), "ZEL_Processor");
        {
            const CWQ_SetResource inner("Other");
            EXPECT_STREQ(CWQ_SetResource::Current(), "Other");
        }
        EXPECT_STREQ(CWQ_SetResource::Current(), "ZEL_Processor");
    }
    EXPECT_STREQ(CWQ_SetResource::Current(), "");
}

TEST(SetResourceTest, IsTheThreadsOwn)
{
    const CWQ_SetResource resource("ZEL_Processor");
    std::string other = "not asked";
    std::thread([&other] { other = CWQ_SetResource::Current(); }).join();
    EXPECT_EQ(other, "");
}

TEST(ReportErrorTest, ReachesTheHostWithAllFiveParts)
{
    CRecordingHost host;
    WQ_ReportError(1234567890123, L"Kernel/X", 312, L"CX::Run()", L"Request failed");
    const auto reports = host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].time, 1234567890123);
    EXPECT_EQ(reports[0].sourceFile, L"Kernel/X");
    EXPECT_EQ(reports[0].sourceLine, 312);
    EXPECT_EQ(reports[0].function, L"CX::Run()");
    EXPECT_EQ(reports[0].message, L"Request failed");
}

TEST(ReportErrorTest, NowIsTheTimeOfTheClock)
{
    CRecordingHost host;
    const std::int64_t before = platform::Clock().UtcSeconds();
    WQ_ReportErrorNow(L"X", 1, L"F", L"M");
    const std::int64_t after = platform::Clock().UtcSeconds();
    const auto reports = host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_GE(reports[0].time, before);
    EXPECT_LE(reports[0].time, after);
}

TEST(ReportErrorTest, ANullSourceFileIsAnEmptyOne)
{
    CRecordingHost host;
    WQ_ReportErrorNow(nullptr, 1, L"F", L"M");
    EXPECT_EQ(host.TakeReports().at(0).sourceFile, L"");
}

TEST(MessageBoxTest, MessageAndQuestionReachTheHost)
{
    CRecordingHost host;
    EXPECT_EQ(WQ_MessageBox(L"a message", eMessageStyle_Error), eMessageAnswer_Ok);
    EXPECT_EQ(WQ_MessageBoxAuto(L"a question", eMessageStyle_YesNo | eMessageStyle_Warning, eMessageAnswer_Yes, 0),
              eMessageAnswer_Yes);
    host.AnswerQuestions(eMessageAnswer_No);
    EXPECT_EQ(WQ_MessageBoxAuto(L"another", eMessageStyle_YesNo, eMessageAnswer_Yes, 0), eMessageAnswer_No);
    const auto boxes = host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 3U);
    EXPECT_EQ(boxes[0].text, L"a message");
    EXPECT_EQ(boxes[0].style, 16U);
    EXPECT_FALSE(boxes[0].isQuestion);
    EXPECT_EQ(boxes[1].style, 52U);
    EXPECT_TRUE(boxes[1].isQuestion);
    EXPECT_EQ(boxes[2].answer, eMessageAnswer_No);
}

TEST(HostTest, TheDefaultHostIsThereWhenNoneIsInstalled)
{
    IWQ_Host& byDefault = WQ_Host();
    IWQ_Host* const installedBefore = SetWQ_Host(nullptr);
    EXPECT_EQ(installedBefore, nullptr);
    {
        const CRecordingHost host;
        EXPECT_EQ(&WQ_Host(), &host);
    }
    EXPECT_EQ(&WQ_Host(), &byDefault);
}

TEST(HostTest, HostsNest)
{
    CRecordingHost outer;
    {
        CRecordingHost inner;
        WQ_ReportErrorNow(L"X", 1, L"F", L"to the inner");
        inner.ExpectReport(1, L"to the inner");
    }
    WQ_ReportErrorNow(L"X", 2, L"F", L"to the outer");
    outer.ExpectReport(2, L"to the outer");
}

} // namespace
