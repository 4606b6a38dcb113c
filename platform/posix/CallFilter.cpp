#include "platform/posix/CallFilter.h"

#include "platform/Sandbox.h"
#include "platform/posix/SystemError.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
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
    SCall{SYS_swapoff, "swapoff"}, SCall{SYS_quotactl, "quotactl"}, SCall{SYS_open_by_handle_at, "open_by_handle_at"},
    SCall{SYS_fanotify_init, "fanotify_init"},
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
    SCall{SYS_settimeofday, "settimeofday"}, SCall{SYS_clock_settime, "clock_settime"}};

/// Refused for some of their first arguments.
constexpr std::array kRefusedAtTimes = {SCall{SYS_clone, "clone"}, SCall{SYS_socket, "socket"}};

/// Said to be missing, as a kernel without them does, so that who calls them takes another way: the arguments of clone3
/// no filter can see, and io_uring opens sockets that none sees.
constexpr std::array kMissing = {SYS_clone3, SYS_io_uring_setup};

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
        // The lower half of an argument, in which the kernel looks for these, too.
        constexpr std::uint32_t kArgument = offsetof(seccomp_data, args[0]);
        Skip(SYS_clone, 4);
        Load(kArgument);
        If(BPF_JSET, kNamespaces, SECCOMP_RET_TRAP);
        Return(SECCOMP_RET_ALLOW);
        if (!mayUseNetwork) {
            Skip(SYS_socket, 3);
            Load(kArgument);
            Unless(BPF_JEQ, AF_UNIX, SECCOMP_RET_TRAP);
        }
        Return(SECCOMP_RET_ALLOW);
    }

    [[nodiscard]] sock_fprog Program() { return {static_cast<unsigned short>(m_steps.size()), m_steps.data()}; }

private:
    void Load(std::uint32_t offset) { m_steps.push_back({BPF_LD | BPF_W | BPF_ABS, 0, 0, offset}); }
    void Return(std::uint32_t action) { m_steps.push_back({BPF_RET | BPF_K, 0, 0, action}); }
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
    /// So many of what follows, for any other call.
    void Skip(long number, std::uint8_t count) { Jump(BPF_JEQ, static_cast<std::uint32_t>(number), 0, count); }

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
    const auto find = [number](const auto& calls) {
        for (const posix::SCall& call : calls) {
            if (call.number == number)
                return call.name;
        }
        return "";
    };
    const std::string name = find(posix::kRefused);
    return name.empty() ? find(posix::kRefusedAtTimes) : name;
}

} // namespace platform
