#include "platform/Fault.h"

#include "platform/Process.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

#include <csignal>
#include <unistd.h>

namespace platform {
namespace {

using namespace std::chrono_literals;

volatile std::uintptr_t g_badAddress = 24;

__attribute__((noinline, no_sanitize("undefined", "thread"))) void WriteToBadAddress()
{
    *reinterpret_cast<volatile int*>(g_badAddress) = 1;
}

constexpr int kHandlersExit = 71;

void EndFromHandler(int)
{
    _exit(kHandlersExit);
}

/// Has a handler of its own from before the first contained run, as a host with its own crash handling has.
int FaultWithOlderHandler(const std::vector<std::wstring>&)
{
    std::signal(SIGSEGV, &EndFromHandler);
    SFaultRecord record;
    if (RunContained(&WriteToBadAddress, record))
        return 1;
    testsupport::TellParent(L"contained");
    WriteToBadAddress();
    return 2;
}
const testsupport::CChildPart handlerPart(L"fault-older-handler", &FaultWithOlderHandler);

/// Sets a handler of its own in a contained run, as a plug-in with its own crash handling does, and faults in the next.
int FaultWithYoungerHandler(const std::vector<std::wstring>&)
{
    SFaultRecord record;
    static_cast<void>(RunContained([] { std::signal(SIGSEGV, &EndFromHandler); }, record));
    if (RunContained(&WriteToBadAddress, record))
        return 1;
    testsupport::TellParent(L"contained");
    WriteToBadAddress();
    return 2;
}
const testsupport::CChildPart youngerPart(L"fault-younger-handler", &FaultWithYoungerHandler);

struct sigaction g_chained = {};

void PassToChained(int number, siginfo_t* info, void* context)
{
    g_chained.sa_sigaction(number, info, context);
}

/// Sets a handler that passes on to the one it found, and waits in the next run for a signal that somebody sends.
int WaitWithChainedHandler(const std::vector<std::wstring>&)
{
    SFaultRecord record;
    static_cast<void>(RunContained(
        [] {
            struct sigaction action = {};
            action.sa_sigaction = &PassToChained;
            action.sa_flags = SA_SIGINFO;
            sigaction(SIGABRT, &action, &g_chained);
        },
        record));
    static_cast<void>(RunContained(
        [] {
            testsupport::TellParent(L"inside");
            testsupport::WaitForParent();
        },
        record));
    return 3;
}
const testsupport::CChildPart chainedPart(L"fault-chained-handler", &WaitWithChainedHandler);

/// Sits in a contained run and waits for a signal that somebody sends.
int WaitInsideForSignal(const std::vector<std::wstring>&)
{
    SFaultRecord record;
    const bool returned = RunContained(
        [] {
            testsupport::TellParent(L"inside");
            testsupport::WaitForParent();
        },
        record);
    return returned ? 3 : 4;
}
const testsupport::CChildPart insidePart(L"fault-wait-inside", &WaitInsideForSignal);

TEST(PosixFaultTest, FaultsOutsideGoToTheHandlerThatWasThereBefore)
{
    auto child = testsupport::StartChild(L"fault-older-handler", {});
    EXPECT_TRUE(testsupport::WaitForChild(child, L"contained"));
    EXPECT_EQ(testsupport::FinishChild(child), kHandlersExit);
}

TEST(PosixFaultTest, AHandlerThatARunSetsIsOutOfTheWayInTheNextAndThereAgainAfterIt)
{
    auto child = testsupport::StartChild(L"fault-younger-handler", {});
    EXPECT_TRUE(testsupport::WaitForChild(child, L"contained"));
    EXPECT_EQ(testsupport::FinishChild(child), kHandlersExit);
}

TEST(PosixFaultTest, AHandlerThatPassesOnToOursIsNotPassedOnTo)
{
    auto child = testsupport::StartChild(L"fault-chained-handler", {});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"inside"));
    ASSERT_EQ(kill(static_cast<pid_t>(child.Id()), SIGABRT), 0);
    int exitCode = 0;
    ASSERT_TRUE(child.Wait(60s, exitCode));
    EXPECT_EQ(exitCode, 128 + SIGABRT) << "two handlers that call each other would use the stack up";
}

TEST(PosixFaultTest, OutsideOfRunsTheHandlersAreTheHosts)
{
    const auto handlerOf = [](int number) {
        struct sigaction action = {};
        EXPECT_EQ(sigaction(number, nullptr, &action), 0);
        return action;
    };
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        const struct sigaction before = handlerOf(number);
        SFaultRecord record;
        ASSERT_TRUE(RunContained(
            [&] { EXPECT_NE(handlerOf(number).sa_sigaction, before.sa_sigaction) << "ours within"; }, record));
        ASSERT_FALSE(RunContained(&WriteToBadAddress, record));
        EXPECT_EQ(handlerOf(number).sa_sigaction, before.sa_sigaction) << number;
    }
}

TEST(PosixFaultTest, ASignalThatSomebodySendsIsNoFaultOfTheRun)
{
    for (const int number : {SIGSEGV, SIGABRT}) {
        auto child = testsupport::StartChild(L"fault-wait-inside", {});
        ASSERT_TRUE(testsupport::WaitForChild(child, L"inside"));
        ASSERT_EQ(kill(static_cast<pid_t>(child.Id()), number), 0);
        int exitCode = 0;
        ASSERT_TRUE(child.Wait(60s, exitCode));
        EXPECT_EQ(exitCode, 128 + number);
    }
}

TEST(PosixFaultTest, TheSignalMaskIsAsItWas)
{
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    SFaultRecord record;
    ASSERT_FALSE(RunContained(
        [] {
            sigset_t all;
            sigfillset(&all);
            sigdelset(&all, SIGSEGV);
            pthread_sigmask(SIG_SETMASK, &all, nullptr);
            WriteToBadAddress();
        },
        record));
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int number = 1; number < 32; ++number)
        EXPECT_EQ(sigismember(&before, number), sigismember(&after, number)) << number;
}

TEST(PosixFaultTest, SignalsThatAThreadRaisesItselfAreContained)
{
    SFaultRecord record;
    EXPECT_FALSE(RunContained([] { std::raise(SIGFPE); }, record));
    EXPECT_EQ(record.kind, eFaultKind_Division);
    EXPECT_EQ(record.code, static_cast<std::uint32_t>(SIGFPE));
}

#if defined(__x86_64__)

__attribute__((noinline)) void FaultWithALostStack()
{
    // Neither the stack pointer nor the frame pointer leads anywhere, so that walking the stack faults as well.
    asm volatile("movq $0x30, %%rbp\n"
                 "movq $0x40, %%rsp\n"
                 "movq $1, 0x18\n" ::
                     : "memory");
}

TEST(PosixFaultTest, AFaultWhileTheStackIsWalkedIsContainedToo)
{
    for (int i = 0; i < 20; ++i) {
        SFaultRecord record;
        ASSERT_FALSE(RunContained(&FaultWithALostStack, record));
        EXPECT_EQ(record.kind, eFaultKind_AccessViolation);
        EXPECT_GE(record.frameCount, 1U);
    }
}

#endif

} // namespace
} // namespace platform
