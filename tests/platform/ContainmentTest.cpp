#include "platform/Containment.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Process.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

namespace platform {
namespace {

using namespace std::chrono_literals;
constexpr auto kEndTime = 60s;

int TalkContained(const std::vector<std::wstring>&)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    CParentChannel channel;
    WriteConsoleText(eStream_Output, L"printed\n");
    std::wstring line;
    while (channel.ReadLine(line, 100))
        channel.WriteLine(L"got " + line + (HasLeftProcesses() ? L", others" : L""));
    channel.WriteLine(L"the end");
    return 4;
}
const testsupport::CChildPart containedTalkPart(L"containment-talk", &TalkContained);

int PrattleContained(const std::vector<std::wstring>&)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    CParentChannel channel;
    channel.WriteLine(L"short");
    channel.WriteLine(std::wstring(5000, L'x'));
    std::wstring line;
    static_cast<void>(channel.ReadLine(line, 100));
    return 0;
}
/// Reads only when something has come, and tells what that was.
int LookContained(const std::vector<std::wstring>&)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    CParentChannel channel;
    channel.WriteLine(channel.HasInput() ? L"something" : L"nothing");
    const auto end = SystemClock().Steady() + kEndTime;
    std::wstring line;
    do {
        while (!channel.HasInput() && SystemClock().Steady() < end)
            SystemClock().SleepFor(1ms);
        if (!channel.HasInput())
            return 8;
    } while (channel.ReadLine(line, 100) && channel.WriteLine(L"got " + line));
    channel.WriteLine(L"the end");
    return 0;
}
const testsupport::CChildPart lookPart(L"containment-look", &LookContained);

const testsupport::CChildPart prattlePart(L"containment-prattle", &PrattleContained);

/// Holds a lock file until it is ended from outside.
int HoldContained(const std::vector<std::wstring>& arguments)
{
    std::unique_ptr<ILockFile> lock;
    if (!Succeeded(Files().OpenLockFile(arguments[0], {}, lock)))
        return 9;
    testsupport::TellParent(L"held");
    SystemClock().SleepFor(kEndTime);
    return 0;
}
const testsupport::CChildPart heldContainedPart(L"containment-hold", &HoldContained);

/// Starts one that holds, and does as it is told then.
int LeaveContained(const std::vector<std::wstring>& arguments)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    CParentChannel channel;
    SProcessOptions options;
    options.pipeInput = true;
    static CProcess& left =
        *std::make_unique<CProcess>(testsupport::StartChild(L"containment-hold", {arguments[0]}, options)).release();
    const bool isHeld = static_cast<bool>(testsupport::WaitForChild(left, L"held"));
    // IsWine: it does not tell a process how many are in its own job.
    channel.WriteLine(isHeld && (HasLeftProcesses() || testsupport::IsWine()) ? L"left" : L"failed");
    std::wstring line;
    static_cast<void>(channel.ReadLine(line, 100));
    EndProcess(3);
}
const testsupport::CChildPart leavePart(L"containment-leave", &LeaveContained);

SProcessOptions Contained(std::uint64_t memory = 0)
{
    SProcessOptions options;
    options.containment = SContainment{memory, 0};
    return options;
}

/// Has a contained process of its own that leaves one behind, and waits to be killed.
int BeParent(const std::vector<std::wstring>& arguments)
{
    CProcess child = testsupport::StartChild(L"containment-leave", {arguments[0]}, Contained());
    testsupport::TellParent(testsupport::WaitForChild(child, L"left") ? L"ready" : L"failed");
    testsupport::WaitForParent();
    return 0;
}
const testsupport::CChildPart parentPart(L"containment-parent", &BeParent);

int TakeMemory(const std::vector<std::wstring>&)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    try {
        std::vector<std::unique_ptr<std::string>> taken;
        while (taken.size() < 1024)
            taken.push_back(std::make_unique<std::string>(std::size_t{1} << 20U, 'x'));
    } catch (const std::bad_alloc&) {
        return 5;
    }
    return 6;
}
const testsupport::CChildPart takeMemoryPart(L"containment-memory", &TakeMemory);

class ContainmentTest : public testing::Test {
protected:
    [[nodiscard]] bool IsFree() const
    {
        std::unique_ptr<ILockFile> lock;
        return Succeeded(Files().OpenLockFile(m_lock, {}, lock));
    }
    [[nodiscard]] bool BecomesFree() const
    {
        const auto end = Clock().Steady() + kEndTime;
        while (!IsFree()) {
            if (Clock().Steady() >= end)
                return false;
            Clock().SleepFor(5ms);
        }
        return true;
    }

    testsupport::CTemporaryDirectory m_root;
    const std::wstring m_lock = m_root / L"held";
};

TEST_F(ContainmentTest, TheChannelIsNobodysButTheProgramsWhoTakesIt)
{
    SProcessOptions options = Contained();
    options.errorFile = m_root / L"errors";
    CProcess child = testsupport::StartChild(L"containment-talk", {}, options);
    ASSERT_TRUE(child.WriteLine(L"one \u20ac"));
    EXPECT_TRUE(testsupport::WaitForChild(child, L"got one \u20ac"));
    ASSERT_TRUE(child.WriteLine(std::wstring(200, L'x'))) << "more than it takes";
    EXPECT_TRUE(testsupport::WaitForChild(child, L"the end"));
    int code = 0;
    ASSERT_TRUE(child.Wait(kEndTime, code));
    EXPECT_EQ(code, 4);
    std::string errors;
    ASSERT_TRUE(Succeeded(ReadWholeFile(options.errorFile, eOpenMode_ReadShared, errors, 10000)));
    EXPECT_NE(errors.find("printed"), std::string::npos) << errors;
}

TEST_F(ContainmentTest, ItSeesWhetherItsParentHasWritten)
{
    SProcessOptions options = Contained();
    options.pipeInput = true;
    CProcess child = testsupport::StartChild(L"containment-look", {}, options);
    EXPECT_TRUE(testsupport::WaitForChild(child, L"nothing"));
    ASSERT_TRUE(child.WriteLine(L"one\ntwo"));
    EXPECT_TRUE(testsupport::WaitForChild(child, L"got one"));
    EXPECT_TRUE(testsupport::WaitForChild(child, L"got two")) << "what has been read with the line before";
    ASSERT_TRUE(child.WriteLine(std::wstring(200, L'x'))) << "more than it takes";
    EXPECT_TRUE(testsupport::WaitForChild(child, L"the end"));
}

TEST_F(ContainmentTest, ALineThatIsTooLongIsTheEndOfTheOutput)
{
    SProcessOptions options = Contained();
    options.longestLine = 100;
    CProcess child = testsupport::StartChild(L"containment-prattle", {}, options);
    EXPECT_TRUE(testsupport::WaitForChild(child, L"short"));
    std::wstring line;
    while (child.ReadLine(line, kEndTime))
        ASSERT_LE(line.size(), 8192U) << "the rest of what was read, and no more";
    child.Kill();
    int code = 0;
    EXPECT_TRUE(child.Wait(kEndTime, code));
}

TEST_F(ContainmentTest, WhatItHasStartedEndsWithIt)
{
    CProcess child = testsupport::StartChild(L"containment-leave", {m_lock}, Contained());
    ASSERT_TRUE(testsupport::WaitForChild(child, L"left"));
    EXPECT_FALSE(IsFree());
    ASSERT_TRUE(child.WriteLine(L"go"));
    int code = 0;
    ASSERT_TRUE(child.Wait(kEndTime, code));
    EXPECT_EQ(code, 3);
    child = {}; // on Windows the last handle of the job
    EXPECT_TRUE(BecomesFree());
}

TEST_F(ContainmentTest, KillEndsAllOfThem)
{
    CProcess child = testsupport::StartChild(L"containment-leave", {m_lock}, Contained());
    ASSERT_TRUE(testsupport::WaitForChild(child, L"left"));
    child.Kill();
    int code = 0;
    ASSERT_TRUE(child.Wait(kEndTime, code));
    EXPECT_EQ(code, 128 + 9);
    EXPECT_TRUE(BecomesFree());
}

TEST_F(ContainmentTest, AllEndWithAParentThatIsKilled)
{
    CProcess parent = testsupport::StartChild(L"containment-parent", {m_lock});
    ASSERT_TRUE(testsupport::WaitForChild(parent, L"ready"));
    EXPECT_FALSE(IsFree());
    parent.Kill();
    EXPECT_TRUE(BecomesFree());
}

TEST_F(ContainmentTest, ItGetsNoMoreMemoryThanItMayTake)
{
    if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsAddressSanitized, IsThreadSanitized: the sanitizer takes terabytes of addresses";
    if (testsupport::IsWine())
        GTEST_SKIP() << "IsWine: it does not carry out a job's limit of memory";
    for (const auto& [memory, expected] : {std::pair(std::uint64_t{512} << 20U, 5), std::pair(std::uint64_t{0}, 6)}) {
        CProcess child = testsupport::StartChild(L"containment-memory", {}, Contained(memory));
        int code = 0;
        ASSERT_TRUE(child.Wait(kEndTime, code));
        EXPECT_EQ(code, expected) << memory;
    }
}

} // namespace
} // namespace platform
