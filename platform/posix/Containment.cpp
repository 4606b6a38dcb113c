#include "platform/posix/Containment.h"

#include "platform/Module.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace platform {
namespace posix {
namespace {

constexpr int kKilled = 128 + SIGKILL; // as CProcess tells it

[[nodiscard]] int ExitCodeOf(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// The children of a process with one thread, as far as the kernel tells.
std::vector<pid_t> ChildrenOf(pid_t process)
{
    const std::string number = std::to_string(process);
    std::ifstream file("/proc/" + number + "/task/" + number + "/children");
    std::vector<pid_t> children;
    for (pid_t child = 0; file >> child;)
        children.push_back(child);
    return children;
}

/// Ends all that descends from this process: whatever loses its parent becomes its child. Where the kernel does not
/// tell which these are, those of its group, itself included.
void EndDescendants()
{
    for (;;) {
        const std::vector<pid_t> children = ChildrenOf(getpid());
        for (const pid_t child : children)
            kill(child, SIGKILL);
        const int flags = children.empty() ? WNOHANG : 0;
        const pid_t ended = Uninterrupted([&] { return waitpid(-1, nullptr, flags); });
        if (ended < 0)
            return;
        if (ended == 0 && ChildrenOf(getpid()).empty())
            kill(0, SIGKILL);
    }
}

/// Fetches the ends of children. True, with the status, when that of the worker is among them.
bool FetchEnds(pid_t worker, int& status)
{
    bool isEnded = false;
    for (;;) {
        int ended = 0;
        const pid_t child = Uninterrupted([&] { return waitpid(-1, &ended, WNOHANG); });
        if (child <= 0)
            return isEnded;
        isEnded = isEnded || child == worker;
        status = child == worker ? ended : status;
    }
}

/// Until the worker has ended, somebody has asked for that, or nobody is left who could.
[[noreturn]] void Guard(pid_t worker, const CDescriptor& signals)
{
    close(STDOUT_FILENO); // its end is the worker's to tell
    int code = kKilled;
    std::array<pollfd, 2> waits = {{{STDIN_FILENO, 0, 0}, {signals.Get(), POLLIN, 0}}};
    for (;;) {
        if (Uninterrupted([&] { return poll(waits.data(), waits.size(), -1); }) < 0 || waits[0].revents != 0)
            break;
        signalfd_siginfo received = {};
        if (Uninterrupted([&] { return read(signals.Get(), &received, sizeof received); }) != sizeof received)
            break;
        int status = 0;
        if (FetchEnds(worker, status)) {
            code = ExitCodeOf(status);
            break;
        }
        if (received.ssi_signo == SIGTERM)
            break;
    }
    kill(worker, SIGKILL);
    EndDescendants();
    _exit(code);
}

/// What whoever started this program has not kept from it: by a file, a socket or a directory that is open here a task
/// would get past the rules for names. All but standard input, output and errors.
eOsError CloseInherited()
{
    constexpr int kFirst = STDERR_FILENO + 1;
    if (syscall(SYS_close_range, kFirst, ~0U, 0) == 0)
        return eOsError_None;
    // Linux before 5.9, or who filters calls and does not know this one.
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir("/proc/self/fd"), &closedir);
    if (stream == nullptr)
        return LastOsError();
    std::vector<int> opened;
    while (const dirent* const entry = readdir(stream.get())) {
        const int descriptor = std::atoi(entry->d_name); // 0 of no number
        if (descriptor >= kFirst && descriptor != dirfd(stream.get()))
            opened.push_back(descriptor);
    }
    for (const int descriptor : opened)
        close(descriptor);
    return eOsError_None;
}

/// What the process that goes on may take; never more than it may already.
eOsError Limit(const SContainment& containment)
{
    if (containment.memory != 0) {
        rlimit limit = {};
        if (getrlimit(RLIMIT_AS, &limit) != 0)
            return LastOsError();
        limit.rlim_max = std::min<rlim_t>(limit.rlim_max, containment.memory);
        limit.rlim_cur = limit.rlim_max;
        if (setrlimit(RLIMIT_AS, &limit) != 0)
            return LastOsError();
        // Each further arena reserves as much of it as many a task needs.
        mallopt(M_ARENA_MAX, 1);
    }
    const int nice = std::max(getpriority(PRIO_PROCESS, 0), containment.nice);
    return containment.nice == 0 || setpriority(PRIO_PROCESS, 0, nice) == 0 ? eOsError_None : LastOsError();
}

void WriteDirectories(const std::vector<std::wstring>& directories, std::wostream& text)
{
    text << L" " << directories.size();
    for (const std::wstring& directory : directories)
        text << L" " << directory.size() << L" " << directory;
}

/// False for what is no list, or one of names that are longer than that.
bool ReadDirectories(std::wistream& text, std::size_t longest, std::vector<std::wstring>& directories)
{
    std::size_t left = 0;
    text >> left;
    for (std::size_t length = 0; left > 0 && text >> length && length <= longest; --left) {
        text.get(); // the blank
        std::wstring& directory = directories.emplace_back(length, L' ');
        text.read(directory.data(), static_cast<std::streamsize>(length));
    }
    return text && left == 0;
}

} // namespace

std::wstring ContainmentText(const SContainment& containment)
{
    std::wostringstream text;
    text << containment.memory << L" " << containment.nice << L" " << containment.sandbox.has_value();
    if (containment.sandbox) {
        text << L" " << containment.sandbox->mayUseNetwork;
        WriteDirectories(containment.sandbox->writable, text);
        WriteDirectories(containment.sandbox->scratch, text);
    }
    return text.str();
}

std::optional<SContainment> ParseContainment(const std::wstring& text)
{
    std::wistringstream parts(text);
    SContainment containment;
    bool isSandboxed = false;
    if (!(parts >> containment.memory >> containment.nice >> isSandboxed))
        return std::nullopt;
    if (isSandboxed) {
        SSandbox& sandbox = containment.sandbox.emplace();
        if (!(parts >> sandbox.mayUseNetwork) || !ReadDirectories(parts, text.size(), sandbox.writable) ||
            !ReadDirectories(parts, text.size(), sandbox.scratch))
            return std::nullopt;
    }
    return containment;
}

} // namespace posix

eOsError EnterContainment()
{
    const std::optional<SContainment> containment = posix::ParseContainment(Environment(posix::kContainmentVariable));
    if (!containment)
        return eOsError_NotSupported;
    SetEnvironment(posix::kContainmentVariable, {});
    if (const eOsError error = posix::CloseInherited(); !Succeeded(error))
        return error;
    sigset_t watched;
    sigset_t before;
    sigemptyset(&watched);
    sigaddset(&watched, SIGCHLD);
    sigaddset(&watched, SIGTERM);
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0 || sigprocmask(SIG_BLOCK, &watched, &before) != 0)
        return posix::LastOsError();
    posix::CDescriptor signals(signalfd(-1, &watched, SFD_CLOEXEC));
    const pid_t guard = getpid();
    const pid_t worker = signals ? fork() : -1;
    if (worker < 0)
        return posix::LastOsError();
    if (worker > 0)
        posix::Guard(worker, signals);
    signals.Reset();
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0)
        return posix::LastOsError();
    if (getppid() != guard) // it ended before that
        _exit(posix::kKilled);
    const eOsError error = posix::Limit(*containment);
    // Here and now, before any code of others and any thread, which it would not change.
    return Succeeded(error) && containment->sandbox ? EnterSandbox(*containment->sandbox) : error;
}

std::uint64_t MemoryInUse()
{
    std::ifstream file("/proc/self/statm"); // in pages: of addresses, in memory
    std::uint64_t addresses = 0;
    std::uint64_t pages = 0;
    return file >> addresses >> pages ? pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) : 0;
}

bool HasLeftProcesses()
{
    siginfo_t info = {};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 || posix::ChildrenOf(getppid()).size() > 1;
}

} // namespace platform
