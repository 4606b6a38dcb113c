#include "platform/Containment.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Process.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <iostream>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {
namespace {

using namespace std::chrono_literals;
constexpr auto kHereTime = 60s;

/// Leaves a process that has nothing to do with it any more: another session, another parent.
int LeaveDaemon(const std::vector<std::wstring>& arguments)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    CParentChannel channel;
    const pid_t middle = fork();
    if (middle == 0) {
        setsid();
        if (fork() != 0)
            _exit(0);
        std::unique_ptr<ILockFile> lock;
        while (!Succeeded(Files().OpenLockFile(arguments[0], {}, lock)))
            usleep(1000);
        for (;;)
            pause();
    }
    if (waitpid(middle, nullptr, 0) != middle) // unfetched it would count
        return 8;
    std::unique_ptr<ILockFile> lock;
    while (Succeeded(Files().OpenLockFile(arguments[0], {}, lock))) {
        lock.reset();
        usleep(1000);
    }
    channel.WriteLine(HasLeftProcesses() ? L"left" : L"alone");
    std::wstring line;
    static_cast<void>(channel.ReadLine(line, 100));
    return 3;
}
const testsupport::CChildPart daemonPart(L"containment-daemon", &LeaveDaemon);

int TellNice(const std::vector<std::wstring>&)
{
    return Succeeded(EnterContainment()) ? getpriority(PRIO_PROCESS, 0) : 99;
}
const testsupport::CChildPart nicePart(L"containment-nice", &TellNice);

constexpr rlim_t kHardLimit = rlim_t{1} << 50U; // more than there is, so that no sanitizer minds

/// Has less than it is asked to take already.
int KeepLess(const std::vector<std::wstring>&)
{
    rlimit limit = {kHardLimit, kHardLimit};
    if (setrlimit(RLIMIT_AS, &limit) != 0 || setpriority(PRIO_PROCESS, 0, 9) != 0)
        return 98;
    if (!Succeeded(EnterContainment()) || getrlimit(RLIMIT_AS, &limit) != 0)
        return 99;
    return limit.rlim_max == kHardLimit ? getpriority(PRIO_PROCESS, 0) : 97;
}
const testsupport::CChildPart lessPart(L"containment-less", &KeepLess);

/// What it inherits of the signal of ended children; once it is told to, for somebody who ignores it fetches no end.
int TellIgnored(const std::vector<std::wstring>&)
{
    const bool isIgnored = signal(SIGCHLD, SIG_DFL) == SIG_IGN;
    std::string line;
    std::getline(std::cin, line);
    return isIgnored ? 1 : 0;
}
const testsupport::CChildPart ignoredPart(L"containment-ignored", &TellIgnored);

int EnterUnasked(const std::vector<std::wstring>&)
{
    return EnterContainment() == eOsError_NotSupported ? 0 : 1;
}
const testsupport::CChildPart enterPart(L"containment-enter", &EnterUnasked);

int WriteFromCopy(const std::vector<std::wstring>&)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    CParentChannel channel;
    const pid_t copy = fork();
    if (copy == 0) {
        channel.WriteLine(L"from a copy");
        _exit(0);
    }
    if (waitpid(copy, nullptr, 0) != copy)
        return 8;
    std::wstring line;
    static_cast<void>(channel.ReadLine(line, 100));
    channel.WriteLine(L"from itself");
    return 0;
}
const testsupport::CChildPart copyPart(L"containment-copy", &WriteFromCopy);

/// As on a kernel that is older than it.
bool HideCloseRange()
{
    std::array<sock_filter, 4> steps = {
        {{BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
         {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, static_cast<std::uint32_t>(SYS_close_range)},
         {BPF_RET | BPF_K, 0, 0, static_cast<std::uint32_t>(SECCOMP_RET_ERRNO | ENOSYS)},
         {BPF_RET | BPF_K, 0, 0, static_cast<std::uint32_t>(SECCOMP_RET_ALLOW)}}};
    const sock_fprog program = {steps.size(), steps.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// Whether what it was left with is still open when it is contained.
int KeepDescriptor(const std::vector<std::wstring>& arguments)
{
    const int left = std::stoi(arguments[0]);
    const bool isHidden = arguments[1] == L"1";
    if (fcntl(left, F_GETFD) < 0 || (isHidden && !HideCloseRange()))
        return 7;
    if (!Succeeded(EnterContainment()))
        return 9;
    const bool isClosed = fcntl(left, F_GETFD) < 0 && errno == EBADF;
    return isClosed && fcntl(STDERR_FILENO, F_GETFD) >= 0 && fcntl(STDIN_FILENO, F_GETFD) >= 0 ? 0 : 1;
}
const testsupport::CChildPart descriptorPart(L"containment-descriptor", &KeepDescriptor);

SProcessOptions ContainedHere(int nice = 0)
{
    SProcessOptions options;
    options.containment = SContainment{0, nice};
    return options;
}

TEST(ContainmentHereTest, ADaemonThatItHasLeftEndsWithIt)
{
    const testsupport::CTemporaryDirectory root;
    const std::wstring path = root / L"held";
    std::unique_ptr<ILockFile> lock;
    for (const bool isKilled : {false, true}) {
        CProcess child = testsupport::StartChild(L"containment-daemon", {path}, ContainedHere());
        ASSERT_TRUE(testsupport::WaitForChild(child, L"left"));
        EXPECT_FALSE(Succeeded(Files().OpenLockFile(path, {}, lock)));
        if (isKilled)
            child.Kill();
        else
            ASSERT_TRUE(child.WriteLine(L"go"));
        int code = 0;
        ASSERT_TRUE(child.Wait(kHereTime, code));
        EXPECT_EQ(code, isKilled ? 128 + 9 : 3);
        EXPECT_TRUE(Succeeded(Files().OpenLockFile(path, {}, lock))) << "it is gone before the end is told";
        lock.reset();
    }
}

TEST(ContainmentHereTest, ItIsAsNiceAsItIsTold)
{
    CProcess child = testsupport::StartChild(L"containment-nice", {}, ContainedHere(7));
    int code = 0;
    ASSERT_TRUE(child.Wait(kHereTime, code));
    EXPECT_EQ(code, 7);
}

TEST(ContainmentHereTest, NobodyGetsMoreThanHeHad)
{
    SProcessOptions options;
    options.containment = SContainment{2 * kHardLimit, 3};
    CProcess child = testsupport::StartChild(L"containment-less", {}, options);
    int code = 0;
    ASSERT_TRUE(child.Wait(kHereTime, code));
    EXPECT_EQ(code, 9);
}

TEST(ContainmentHereTest, AProcessWaitsForItsChildrenThoughItsParentIgnoresThem)
{
    const auto before = signal(SIGCHLD, SIG_IGN);
    CProcess child = testsupport::StartChild(L"containment-ignored", {});
    signal(SIGCHLD, before);
    ASSERT_TRUE(child.WriteLine(L"go"));
    int code = -1;
    ASSERT_TRUE(child.Wait(kHereTime, code));
    EXPECT_EQ(code, 0);
}

TEST(ContainmentHereTest, NobodyEntersOneThatWasNotAskedFor)
{
    CProcess child = testsupport::StartChild(L"containment-enter", {});
    int code = -1;
    ASSERT_TRUE(child.Wait(kHereTime, code));
    EXPECT_EQ(code, 0);
}

TEST(ContainmentHereTest, ADescriptorThatItsParentHasLeakedIsClosed)
{
    constexpr int kHigh = 200; // which no file that the child opens itself has
    const int leaked = fcntl(STDERR_FILENO, F_DUPFD, kHigh);
    ASSERT_GE(leaked, kHigh);
    for (const wchar_t* const isHidden : {L"0", L"1"}) {
        CProcess child =
            testsupport::StartChild(L"containment-descriptor", {std::to_wstring(leaked), isHidden}, ContainedHere());
        int code = -1;
        ASSERT_TRUE(child.Wait(kHereTime, code));
        EXPECT_EQ(code, 0) << (isHidden[0] == L'1' ? "by its list" : "by the system");
    }
    close(leaked);
}

TEST(ContainmentHereTest, ACopyOfTheProcessSaysNothing)
{
    CProcess child = testsupport::StartChild(L"containment-copy", {}, ContainedHere());
    ASSERT_TRUE(child.WriteLine(L"go"));
    EXPECT_TRUE(testsupport::WaitForChild(child, L"from itself"));
    int code = -1;
    ASSERT_TRUE(child.Wait(kHereTime, code));
    EXPECT_EQ(code, 0);
}

} // namespace
} // namespace platform
