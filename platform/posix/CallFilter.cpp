#include "platform/posix/CallFilter.h"

#include "platform/Sandbox.h"
#include "platform/posix/SystemError.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <initializer_list>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#include <utility>
#include <vector>

// A refused call raises SIGSYS in the thread that makes it. Its handler notes which call it was, has it return EPERM,
// and goes on: so the task can tell of a failure as it would of any other, and whoever asks is told of the sandbox.

namespace platform {
namespace posix {
namespace {

#if defined(__x86_64__)
constexpr std::uint32_t kMachine = AUDIT_ARCH_X86_64;
void SetResult(ucontext_t& context, long result)
{
    context.uc_mcontext.gregs[REG_RAX] = result;
}
#elif defined(__aarch64__)
constexpr std::uint32_t kMachine = AUDIT_ARCH_AARCH64;
void SetResult(ucontext_t& context, long result)
{
    context.uc_mcontext.regs[0] = static_cast<unsigned long long>(result);
}
#else
constexpr std::uint32_t kMachine = 0; // the handler would have to know where a result is returned
void SetResult(ucontext_t&, long) {}
#endif

struct SCall {
    int number;
    const char* name;
};

// Of calls that came later than the headers that this is built with may have; the numbers are those of all machines.
constexpr int kQuotactlFd = 443;
constexpr int kFchmodat2 = 452;

/// Refused whatever is asked for with them.
constexpr std::array kRefused = {
    // other processes
    SCall{SYS_ptrace, "ptrace"}, SCall{SYS_process_vm_readv, "process_vm_readv"},
    SCall{SYS_process_vm_writev, "process_vm_writev"}, SCall{SYS_kcmp, "kcmp"}, SCall{SYS_pidfd_getfd, "pidfd_getfd"},
    // file systems
    SCall{SYS_mount, "mount"}, SCall{SYS_umount2, "umount2"}, SCall{SYS_pivot_root, "pivot_root"},
    SCall{SYS_chroot, "chroot"}, SCall{SYS_move_mount, "move_mount"}, SCall{SYS_open_tree, "open_tree"},
    SCall{SYS_fsopen, "fsopen"}, SCall{SYS_fsconfig, "fsconfig"}, SCall{SYS_fsmount, "fsmount"},
    SCall{SYS_fspick, "fspick"}, SCall{SYS_mount_setattr, "mount_setattr"}, SCall{SYS_swapon, "swapon"},
    SCall{SYS_swapoff, "swapoff"}, SCall{SYS_quotactl, "quotactl"}, SCall{kQuotactlFd, "quotactl_fd"},
    SCall{SYS_open_by_handle_at, "open_by_handle_at"}, SCall{SYS_fanotify_init, "fanotify_init"},
    // the kernel
    SCall{SYS_init_module, "init_module"}, SCall{SYS_finit_module, "finit_module"},
    SCall{SYS_delete_module, "delete_module"}, SCall{SYS_kexec_load, "kexec_load"},
    SCall{SYS_kexec_file_load, "kexec_file_load"}, SCall{SYS_bpf, "bpf"}, SCall{SYS_perf_event_open, "perf_event_open"},
    SCall{SYS_userfaultfd, "userfaultfd"}, SCall{SYS_add_key, "add_key"}, SCall{SYS_request_key, "request_key"},
    SCall{SYS_keyctl, "keyctl"}, SCall{SYS_syslog, "syslog"}, SCall{SYS_acct, "acct"},
    // namespaces
    SCall{SYS_setns, "setns"}, SCall{SYS_unshare, "unshare"},
    // the machine
    SCall{SYS_reboot, "reboot"}, SCall{SYS_sethostname, "sethostname"}, SCall{SYS_setdomainname, "setdomainname"},
    SCall{SYS_settimeofday, "settimeofday"}, SCall{SYS_clock_settime, "clock_settime"}, SCall{SYS_adjtimex, "adjtimex"},
    SCall{SYS_clock_adjtime, "clock_adjtime"}};

#if defined(__x86_64__)
constexpr std::array kRefusedPorts = {SCall{SYS_iopl, "iopl"}, SCall{SYS_ioperm, "ioperm"}};
#else
constexpr std::array<SCall, 0> kRefusedPorts = {};
#endif

/// Refused for some of their first arguments.
constexpr std::array kRefusedAtTimes = {SCall{SYS_clone, "clone"}, SCall{SYS_socket, "socket"},
                                        SCall{SYS_prlimit64, "prlimit64"}};

/// Said to be missing, as a kernel without them does, so that who calls them takes another way: the arguments of clone3
/// and openat2 no filter can see, and io_uring opens sockets that none sees.
constexpr std::array kMissing = {SYS_clone3, SYS_openat2, SYS_io_uring_setup};

constexpr std::uint32_t kNamespaces =
    CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWCGROUP;

/// The calls of x86-64 with short pointers, a table of their own in the same kernel.
constexpr std::uint32_t kShortPointers = 0x40000000;

/// The code of a SIGSYS that a filter has raised; glibc has no name for it.
constexpr int kByFilter = 1;

std::atomic<int> g_refused = -1;

void TellRefusal(int /*number*/, siginfo_t* info, void* context)
{
    if (info->si_code != kByFilter)
        return; // somebody's kill
    int none = -1;
    g_refused.compare_exchange_strong(none, info->si_syscall);
    SetResult(*static_cast<ucontext_t*>(context), -EPERM);
}

constexpr std::uint32_t kFails = SECCOMP_RET_ERRNO | EPERM;

class CFilterProgram {
public:
    explicit CFilterProgram(bool mayUseNetwork)
    {
        Load(offsetof(seccomp_data, arch));
        Unless(BPF_JEQ, kMachine, SECCOMP_RET_KILL_PROCESS);
        Load(offsetof(seccomp_data, nr));
        if constexpr (kMachine == AUDIT_ARCH_X86_64)
            If(BPF_JGE, kShortPointers, SECCOMP_RET_KILL_PROCESS);
        for (const long number : kMissing)
            If(BPF_JEQ, static_cast<std::uint32_t>(number), SECCOMP_RET_ERRNO | ENOSYS);
        for (const SCall& call : kRefused)
            If(BPF_JEQ, static_cast<std::uint32_t>(call.number), SECCOMP_RET_TRAP);
        for (const SCall& call : kRefusedPorts)
            If(BPF_JEQ, static_cast<std::uint32_t>(call.number), SECCOMP_RET_TRAP);
        IfAll(SYS_clone, {{0, BPF_JSET, kNamespaces, true}}, SECCOMP_RET_TRAP);
        if (!mayUseNetwork)
            IfAll(SYS_socket, {{0, BPF_JEQ, AF_UNIX, false}}, SECCOMP_RET_TRAP);
        IfAll(SYS_prlimit64, {{0, BPF_JEQ, 0, false}}, SECCOMP_RET_TRAP);
        LeaveOthersAlone();
        GiveNoRights();
        Return(SECCOMP_RET_ALLOW);
    }

    [[nodiscard]] sock_fprog Program() { return {static_cast<unsigned short>(m_steps.size()), m_steps.data()}; }

private:
    /// Of an argument of the call, of which its lower half is looked at, as the kernel does for these.
    struct SCondition {
        unsigned argument;
        unsigned how;
        std::uint32_t value;
        bool isMet;
    };

    // What follows is not told of, and just fails: programs ask for it of themselves by number, or copy the mode of a
    // file, and go on without. By a signal they would end.

    /// How much of the processors and the disks other processes get; 0 is whoever calls.
    void LeaveOthersAlone()
    {
        constexpr std::uint32_t kIoPriorityOfOne = 1;
        for (const long number : {SYS_sched_setaffinity, SYS_sched_setscheduler, SYS_sched_setparam, SYS_sched_setattr})
            IfAll(number, {{0, BPF_JEQ, 0, false}}, kFails);
        for (const auto& [number, one] :
             {std::pair{SYS_setpriority, std::uint32_t{PRIO_PROCESS}}, {SYS_ioprio_set, kIoPriorityOfOne}}) {
            IfAll(number, {{0, BPF_JEQ, one, false}}, kFails);
            IfAll(number, {{1, BPF_JEQ, 0, false}}, kFails);
        }
    }

    /// A program that runs with the rights of the server's user, whoever starts it.
    void GiveNoRights()
    {
        const SCondition first = {1, BPF_JSET, S_ISUID | S_ISGID, true};
        const SCondition second = {2, BPF_JSET, S_ISUID | S_ISGID, true};
        IfAll(SYS_fchmod, {first}, kFails);
        IfAll(SYS_fchmodat, {second}, kFails);
        IfAll(kFchmodat2, {second}, kFails);
        IfAll(SYS_mknodat, {second}, kFails);
        // Whoever makes no file need not give a mode.
        constexpr std::uint32_t kMakes = O_CREAT | (O_TMPFILE & ~O_DIRECTORY);
        IfAll(SYS_openat, {{2, BPF_JSET, kMakes, true}, {3, BPF_JSET, S_ISUID | S_ISGID, true}}, kFails);
#if defined(__x86_64__)
        IfAll(SYS_open, {{1, BPF_JSET, kMakes, true}, second}, kFails);
        for (const long number : {SYS_chmod, SYS_creat, SYS_mknod})
            IfAll(number, {first}, kFails);
#endif
    }

    /// The answer to a call of which all this is true. The number of the call is loaded, before and behind.
    void IfAll(long number, std::initializer_list<SCondition> conditions, std::uint32_t action)
    {
        auto left = static_cast<std::uint8_t>(2 * conditions.size() + 2);
        Jump(BPF_JEQ, static_cast<std::uint32_t>(number), 0, left);
        for (const SCondition& condition : conditions) {
            left -= 2;
            Load(static_cast<std::uint32_t>(offsetof(seccomp_data, args) + 8 * condition.argument));
            const auto over = static_cast<std::uint8_t>(left - 1);
            Jump(condition.how, condition.value, condition.isMet ? 0 : over, condition.isMet ? over : 0);
        }
        Return(action);
        Load(offsetof(seccomp_data, nr));
    }

    void Load(std::uint32_t offset)
    {
        m_steps.push_back({BPF_LD | BPF_W | BPF_ABS, 0, 0, offset});
    }
    void Return(std::uint32_t action)
    {
        m_steps.push_back({BPF_RET | BPF_K, 0, 0, action});
    }
    void Jump(unsigned how, std::uint32_t value, std::uint8_t ifTrue, std::uint8_t ifFalse)
    {
        m_steps.push_back({static_cast<std::uint16_t>(BPF_JMP | how | BPF_K), ifTrue, ifFalse, value});
    }
    void If(unsigned how, std::uint32_t value, std::uint32_t action)
    {
        Jump(how, value, 0, 1);
        Return(action);
    }
    void Unless(unsigned how, std::uint32_t value, std::uint32_t action)
    {
        Jump(how, value, 1, 0);
        Return(action);
    }

    std::vector<sock_filter> m_steps;
};

} // namespace

bool CanRefuseCalls()
{
    return kMachine != 0 && prctl(PR_GET_SECCOMP, 0, 0, 0, 0) >= 0;
}

eOsError RefuseCalls(bool mayUseNetwork)
{
    struct sigaction action = {};
    action.sa_sigaction = &TellRefusal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER | SA_RESTART;
    CFilterProgram filter(mayUseNetwork);
    sock_fprog program = filter.Program();
    return sigaction(SIGSYS, &action, nullptr) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0
               ? eOsError_None
               : LastOsError();
}

} // namespace posix

std::string TakeRefusedCall()
{
    const int number = posix::g_refused.exchange(-1);
    std::string name;
    const auto find = [&](const auto& calls) {
        for (const posix::SCall& call : calls) {
            if (call.number == number)
                name = call.name;
        }
    };
    find(posix::kRefused);
    find(posix::kRefusedPorts);
    find(posix::kRefusedAtTimes);
    return name;
}

} // namespace platform
