#include "tests/platform/posix/SandboxFixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// Calls of the system that are refused for what they are asked for.

namespace platform {
namespace {

/// The headers need not have it; its number is that of all machines.
constexpr int kFchmodat2 = 452;

/// What others get of the machine; the guard runs for the same user, who may lower it.
int LimitOthers(const std::vector<std::wstring>&)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    int failures = 0;
    const auto expect = [&failures](const std::string& what, long result, bool isRefused) {
        const bool isSo = isRefused ? result == -1 && errno == EPERM : result != -1;
        failures += isSo ? 0 : Answer(what + (isRefused ? " of others" : " of its own"), !isRefused);
    };
    rlimit limit = {};
    getrlimit(RLIMIT_CORE, &limit);
    cpu_set_t processors;
    sched_getaffinity(0, sizeof processors, &processors);
    sched_param plain = {};
    constexpr int kOneProcess = 1;               // IOPRIO_WHO_PROCESS
    constexpr int kUsualOfDisks = (2 << 13) | 4; // best effort, in the middle
    struct {
        std::uint32_t size = 48;
        std::uint32_t policy = SCHED_OTHER;
        std::uint64_t others[5] = {};
    } attributes;
    for (const pid_t who : {getppid(), 0}) {
        const bool isRefused = who != 0;
        expect("limits", syscall(SYS_prlimit64, who, RLIMIT_CORE, &limit, nullptr), isRefused);
        failures += TakeRefusedCall() == (isRefused ? "prlimit64" : "") ? 0 : Answer("told of limits", !isRefused);
        expect("priority", setpriority(PRIO_PROCESS, static_cast<id_t>(who), 0), isRefused);
        expect("processors", sched_setaffinity(who, sizeof processors, &processors), isRefused);
        expect("policy", sched_setscheduler(who, SCHED_OTHER, &plain), isRefused);
        expect("parameters", sched_setparam(who, &plain), isRefused);
        expect("attributes", syscall(SYS_sched_setattr, who, &attributes, 0), isRefused);
        expect("priority of disks", syscall(SYS_ioprio_set, kOneProcess, who, kUsualOfDisks), isRefused);
    }
    expect("priority of its group", setpriority(PRIO_PGRP, 0, 0), true);
    expect("priority of its user", setpriority(PRIO_USER, 0, 0), true);
    failures += TakeRefusedCall().empty() ? 0 : Answer("told of priorities", true);
    return failures;
}
const testsupport::CChildPart limitPart(L"sandbox-others", &LimitOthers);

/// A program of this user's rights for others.
int GiveRights(const std::vector<std::wstring>& arguments)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    const std::string path(arguments[0].begin(), arguments[0].end());
    int failures = 0;
    const auto expect = [&failures](const std::string& what, long result, bool isRefused) {
        const bool isSo = isRefused ? result == -1 && errno == EPERM : result != -1;
        failures += isSo ? 0 : Answer(what, !isRefused);
    };
    const int file = open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0700);
    expect("makes", file, false);
    for (const mode_t more : {mode_t{S_ISUID}, mode_t{S_ISGID}, mode_t{S_ISVTX}}) {
        const bool isRefused = more != S_ISVTX;
        const mode_t mode = 0700 | more;
        const std::string other = path + std::to_string(more);
        expect("chmod", chmod(path.c_str(), mode), isRefused);
        expect("fchmod", fchmod(file, mode), isRefused);
        expect("fchmodat", syscall(SYS_fchmodat, AT_FDCWD, path.c_str(), mode), isRefused);
        if (isRefused) // not every kernel has it
            expect("fchmodat2", syscall(kFchmodat2, AT_FDCWD, path.c_str(), mode, 0), isRefused);
        expect("openat", syscall(SYS_openat, AT_FDCWD, (other + "a").c_str(), O_CREAT | O_WRONLY, mode), isRefused);
        expect("mknodat", syscall(SYS_mknodat, AT_FDCWD, (other + "b").c_str(), S_IFREG | mode, 0), isRefused);
#if defined(__x86_64__)
        expect("chmod itself", syscall(SYS_chmod, path.c_str(), mode), isRefused);
        expect("open", syscall(SYS_open, (other + "c").c_str(), O_CREAT | O_WRONLY, mode), isRefused);
        expect("creat", syscall(SYS_creat, (other + "d").c_str(), mode), isRefused);
        expect("mknod", syscall(SYS_mknod, (other + "e").c_str(), S_IFREG | mode, 0), isRefused);
#endif
        expect("opens what is there", syscall(SYS_openat, AT_FDCWD, path.c_str(), O_RDONLY, mode), false);
    }
    failures += TakeRefusedCall().empty() ? 0 : Answer("told of modes", true);
    return failures;
}
const testsupport::CChildPart rightsPart(L"sandbox-rights", &GiveRights);

#if defined(__x86_64__)
void CallAsOldProgram()
{
    long result = 20; // its getpid
    asm volatile("int $0x80" : "+a"(result) : : "memory");
}
void CallWithShortPointers()
{
    syscall(0x40000000 | SYS_getpid);
}
int SignalOf(void (*call)())
{
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGSEGV, SIG_DFL); // a sanitizer's
        call();
        _exit(0);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

/// The same kernel by its other tables, in which the calls have other numbers.
int CallByOtherTables(const std::vector<std::wstring>&)
{
    const bool hasOldCalls = SignalOf(&CallAsOldProgram) == 0;
    if (!Succeeded(EnterContainment()))
        return 9;
    int failures = SignalOf(&CallWithShortPointers) == SIGSYS ? 0 : Answer("short pointers", true);
    failures += !hasOldCalls || SignalOf(&CallAsOldProgram) == SIGSYS ? 0 : Answer("calls of i386", true);
    return failures;
}
const testsupport::CChildPart tablesPart(L"sandbox-tables", &CallByOtherTables);
#endif

using SandboxCallsTest = CSandboxFixture;

TEST_F(SandboxCallsTest, OthersKeepTheirLimitsAndTheirShareOfTheMachine)
{
    if (!SandboxSupport()->refusesCalls)
        GTEST_SKIP() << "SandboxSupport: the system refuses no calls";
    EXPECT_EQ(Run(L"sandbox-others", {{m_root.Path()}, false}), 0) << m_strSaid;
}

TEST_F(SandboxCallsTest, NoProgramIsMadeThatGivesItsUsersRights)
{
    if (!SandboxSupport()->refusesCalls)
        GTEST_SKIP() << "SandboxSupport: the system refuses no calls";
    EXPECT_EQ(Run(L"sandbox-rights", {{m_root.Path()}, false}, {m_root / L"program"}), 0) << m_strSaid;
}

#if defined(__x86_64__)
TEST_F(SandboxCallsTest, WhoCallsByAnotherTableIsEnded)
{
    if (!SandboxSupport()->refusesCalls)
        GTEST_SKIP() << "SandboxSupport: the system refuses no calls";
    EXPECT_EQ(Run(L"sandbox-tables", {{m_root.Path()}, false}), 0) << m_strSaid;
}
#endif

} // namespace
} // namespace platform
