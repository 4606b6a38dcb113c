#include "platform/FaultDeadline.h"

#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace platform {
namespace {

using namespace std::chrono_literals;

/// Is contained, and waits then for what never comes.
int HangAfterAFault(const std::vector<std::wstring>& arguments)
{
    CFaultDeadline deadline(arguments.at(0) == L"limited" ? 50ms : 0ms);
    SFaultRecord record;
    if (RunContained([] { std::abort(); }, record))
        return 1;
    testsupport::TellParent(L"contained");
    deadline.Start(record);
    // What the report would do: contained runs of its own.
    static_cast<void>(RunContained([] { testsupport::WaitForParent(); }, record));
    return 3;
}
const testsupport::CChildPart hangPart(L"fault-deadline-hang", &HangAfterAFault);

TEST(FaultDeadlineTest, WhoHangsAfterAFaultEndsByIt)
{
    auto child = testsupport::StartChild(L"fault-deadline-hang", {L"limited"});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"contained"));
    int code = 0;
    ASSERT_TRUE(child.Wait(60s, code)) << "it hangs";
    EXPECT_TRUE(code == 128 + SIGABRT || code == SIGABRT) << code;
}

TEST(FaultDeadlineTest, WithoutALimitItTakesAsLongAsItTakes)
{
    auto child = testsupport::StartChild(L"fault-deadline-hang", {L"unlimited"});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"contained"));
    EXPECT_EQ(testsupport::FinishChild(child), 3);
}

TEST(FaultDeadlineTest, WhatEndsInTimeIsNotDisturbed)
{
    SFaultRecord record;
    for (int round = 0; round < 3; ++round) {
        CFaultDeadline deadline(1h);
        ASSERT_FALSE(RunContained([] { std::abort(); }, record));
        deadline.Start(record);
    }
    const CFaultDeadline unused(1h);
}

} // namespace
} // namespace platform
