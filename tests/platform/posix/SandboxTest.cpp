#include "tests/platform/posix/SandboxFixture.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Process.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <linux/landlock.h>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace platform {
namespace {

/// The headers need not have it; its number is that of all machines.
constexpr int kQuotactlFd = 443;

/// Each call with arguments that would have it fail in another way, were it not refused first.
int CallAll(const std::vector<std::wstring>&)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    const std::vector<std::pair<int, const char*>> calls = {
        {SYS_ptrace, "ptrace"},
        {SYS_process_vm_readv, "process_vm_readv"},
        {SYS_process_vm_writev, "process_vm_writev"},
        {SYS_kcmp, "kcmp"},
        {SYS_pidfd_getfd, "pidfd_getfd"},
        {SYS_mount, "mount"},
        {SYS_umount2, "umount2"},
        {SYS_pivot_root, "pivot_root"},
        {SYS_chroot, "chroot"},
        {SYS_move_mount, "move_mount"},
        {SYS_open_tree, "open_tree"},
        {SYS_fsopen, "fsopen"},
        {SYS_fsconfig, "fsconfig"},
        {SYS_fsmount, "fsmount"},
        {SYS_fspick, "fspick"},
        {SYS_mount_setattr, "mount_setattr"},
        {SYS_swapon, "swapon"},
        {SYS_swapoff, "swapoff"},
        {SYS_quotactl, "quotactl"},
        {SYS_open_by_handle_at, "open_by_handle_at"},
        {SYS_fanotify_init, "fanotify_init"},
        {SYS_init_module, "init_module"},
        {SYS_finit_module, "finit_module"},
        {SYS_delete_module, "delete_module"},
        {SYS_kexec_load, "kexec_load"},
        {SYS_kexec_file_load, "kexec_file_load"},
        {SYS_bpf, "bpf"},
        {SYS_perf_event_open, "perf_event_open"},
        {SYS_userfaultfd, "userfaultfd"},
        {SYS_add_key, "add_key"},
        {SYS_request_key, "request_key"},
        {SYS_keyctl, "keyctl"},
        {SYS_syslog, "syslog"},
        {SYS_acct, "acct"},
        {SYS_setns, "setns"},
        {SYS_unshare, "unshare"},
        {SYS_reboot, "reboot"},
        {SYS_sethostname, "sethostname"},
        {SYS_setdomainname, "setdomainname"},
        {SYS_settimeofday, "settimeofday"},
        {SYS_clock_settime, "clock_settime"},
        {SYS_adjtimex, "adjtimex"},
        {SYS_clock_adjtime, "clock_adjtime"},
        {SYS_prlimit64, "prlimit64"},
#if defined(__x86_64__)
        {SYS_iopl, "iopl"},
        {SYS_ioperm, "ioperm"},
#endif
        {kQuotactlFd, "quotactl_fd"}
    };
    int failures = 0;
    for (const auto& [number, name] : calls) {
        const bool isRefused = syscall(number, -1, -1, -1, -1, -1, -1) == -1 && errno == EPERM;
        failures += isRefused && TakeRefusedCall() == name ? 0 : Answer(name, false);
    }
    return failures;
}
const testsupport::CChildPart callAllPart(L"sandbox-calls", &CallAll);

/// What ordinary programs do, and what they must do without.
int LiveOn(const std::vector<std::wstring>& arguments)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    const bool mayUseNetwork = arguments[0] == L"1";
    int failures = 0;
    const auto opens = [](int family) {
        const int made = socket(family, SOCK_STREAM, 0);
        return made >= 0 && close(made) == 0;
    };
    failures += opens(AF_UNIX) ? 0 : Answer("a socket of this machine", false);
    failures += opens(AF_INET) == mayUseNetwork ? 0 : Answer("a socket of the network", !mayUseNetwork);
    failures += TakeRefusedCall() == (mayUseNetwork ? "" : "socket") ? 0 : Answer("told", false);
    failures += TakeRefusedCall().empty() ? 0 : Answer("told once", false);
    failures += syscall(SYS_clone, CLONE_NEWUSER | SIGCHLD, 0, 0, 0, 0) == -1 && errno == EPERM
                    ? 0
                    : Answer("a namespace", true);
    failures += TakeRefusedCall() == "clone" ? 0 : Answer("clone", false);
    for (const long missing : {SYS_io_uring_setup, SYS_clone3, SYS_openat2})
        failures += syscall(missing, 0, 0, 0, 0) == -1 && errno == ENOSYS ? 0 : Answer(std::to_string(missing), true);
    pthread_t thread{};
    failures += pthread_create(
                    &thread, nullptr, [](void*) -> void* { return nullptr; }, nullptr) == 0 &&
                        pthread_join(thread, nullptr) == 0
                    ? 0
                    : Answer("a thread", false);
    const pid_t child = fork();
    if (child == 0)
        _exit(7);
    int status = 0;
    failures += waitpid(child, &status, 0) == child && WEXITSTATUS(status) == 7 ? 0 : Answer("a child", false);
    failures += prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1 ? 0 : Answer("new privileges", true);
    return failures;
}
const testsupport::CChildPart liveOnPart(L"sandbox-live", &LiveOn);

int WriteAround(const std::vector<std::wstring>& arguments)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    const std::string allowed(arguments[0].begin(), arguments[0].end());
    const std::string refused(arguments[1].begin(), arguments[1].end());
    const std::string scratch(arguments[2].begin(), arguments[2].end());
    const int version = SandboxSupport()->fileRules;
    int failures = 0;
    const auto expect = [&failures](const std::string& what, bool isTrue) {
        failures += isTrue ? 0 : Answer(what, false);
    };
    const auto opens = [](const std::string& path, int flags) {
        const int file = open(path.c_str(), flags | O_CLOEXEC, 0600);
        return file >= 0 && close(file) == 0;
    };
    const std::string there = refused + "/there";
    expect("makes", opens(allowed + "/a", O_CREAT | O_WRONLY));
    expect("truncates", truncate((allowed + "/a").c_str(), 0) == 0);
    expect("makes a directory", mkdir((allowed + "/d").c_str(), 0700) == 0);
    expect("moves", version < 2 || rename((allowed + "/a").c_str(), (allowed + "/d/a").c_str()) == 0);
    expect("writes to /dev/null", opens("/dev/null", O_WRONLY));
    expect("reads", opens(there, O_RDONLY));
    for (const std::string& folder : {allowed, scratch}) {
        const bool isFree = folder == scratch;
        const auto expectIf = [&](const std::string& what, int result) {
            expect(what, isFree ? result == 0 : result != 0 && errno == EACCES);
        };
        expectIf("makes a link", symlink("elsewhere", (folder + "/link").c_str()));
        expectIf("makes a pipe", mkfifo((folder + "/pipe").c_str(), 0600));
        expect("makes a file", opens(folder + "/plain", O_CREAT | O_WRONLY));
        expect("makes a folder", mkdir((folder + "/made").c_str(), 0700) == 0);
        expectIf("removes a folder", rmdir((folder + "/made").c_str()));
        expect("removes a file", unlink((folder + "/plain").c_str()) == 0);
    }
    expect("moves no link there", version < 2 || rename((scratch + "/link").c_str(), (allowed + "/link").c_str()) != 0);
    expect("makes nothing elsewhere", !opens(refused + "/a", O_CREAT | O_WRONLY) && errno == EACCES);
    expect("writes nothing elsewhere", !opens(there, O_WRONLY) && errno == EACCES);
    expect("truncates nothing elsewhere", version < 3 || (truncate(there.c_str(), 0) != 0 && errno == EACCES));
    expect("removes nothing elsewhere", unlink(there.c_str()) != 0 && errno == EACCES);
    expect("makes no directory elsewhere", mkdir((refused + "/d").c_str(), 0700) != 0 && errno == EACCES);
    expect("makes no link elsewhere", symlink("a", (refused + "/l").c_str()) != 0 && errno == EACCES);
    expect("moves nothing away", rename(there.c_str(), (allowed + "/there").c_str()) != 0);
    expect("signals nobody", version < 6 || (kill(getppid(), 0) != 0 && errno == EPERM));
    expect("signals itself", kill(getpid(), 0) == 0);
    return failures;
}
const testsupport::CChildPart writePart(L"sandbox-write", &WriteAround);

/// With its signals blocked nobody can be told of a refusal.
int CallDeaf(const std::vector<std::wstring>&)
{
    if (!Succeeded(EnterContainment()))
        return 9;
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    syscall(SYS_ptrace, -1, -1, -1, -1);
    return 0;
}
const testsupport::CChildPart deafPart(L"sandbox-deaf", &CallDeaf);

using SandboxTest = CSandboxFixture;

TEST_F(SandboxTest, WhatNoTaskNeedsIsRefused)
{
    if (!SandboxSupport()->refusesCalls)
        GTEST_SKIP() << "SandboxSupport: the system refuses no calls";
    EXPECT_EQ(Run(L"sandbox-calls", {{m_root.Path()}, false}), 0) << m_strSaid;
    EXPECT_EQ(Run(L"sandbox-deaf", {{m_root.Path()}, false}), kSandboxKilled);
}

TEST_F(SandboxTest, WhatTasksNeedIsNot)
{
    if (!SandboxSupport()->refusesCalls)
        GTEST_SKIP() << "SandboxSupport: the system refuses no calls";
    for (const bool mayUseNetwork : {false, true})
        EXPECT_EQ(Run(L"sandbox-live", {{m_root.Path()}, mayUseNetwork}, {mayUseNetwork ? L"1" : L"0"}), 0)
            << m_strSaid;
}

TEST_F(SandboxTest, FilesAreWrittenInItsDirectoriesAlone)
{
    if (SandboxSupport()->fileRules == 0)
        GTEST_SKIP() << "SandboxSupport: the system has no rules for files";
    const std::wstring allowed = m_root / L"with a blank\nand an end of line";
    const std::wstring refused = m_root / L"refused";
    const std::wstring scratch = m_root / L"scratch 7";
    for (const std::wstring& folder : {allowed, refused, scratch})
        ASSERT_TRUE(Succeeded(Files().MakeDirectory(folder)));
    ASSERT_TRUE(Succeeded(WriteWholeFile(refused + L"/there", "x")));
    EXPECT_EQ(Run(L"sandbox-write", {{allowed}, true, {scratch}}, {allowed, refused, scratch}), 0) << m_strSaid;
}

TEST_F(SandboxTest, OneThatCannotBeMadeIsNotEntered)
{
    if (SandboxSupport()->fileRules == 0)
        GTEST_SKIP() << "SandboxSupport: the system has no rules for files";
    EXPECT_EQ(Run(L"sandbox-deaf", {{m_root / L"missing"}, true}), 9);
}

} // namespace
} // namespace platform
