#include "platform/Process.h"
#include "platform/Text.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Output.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace platform {
namespace posix {
namespace {

/// Keeps a write to a pipe without a reader from ending the process: the signal is blocked on this thread, and taken
/// away when this write made it. There is no flag for that on a write.
class CNoPipeSignal {
public:
    CNoPipeSignal()
    {
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        m_wasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_old);
    }
    ~CNoPipeSignal()
    {
        const int saved = errno;
        const timespec none = {};
        if (!m_wasPending)
            Uninterrupted([&] { return sigtimedwait(&m_pipe, nullptr, &none); });
        pthread_sigmask(SIG_SETMASK, &m_old, nullptr);
        errno = saved;
    }
    CNoPipeSignal(const CNoPipeSignal&) = delete;
    CNoPipeSignal& operator=(const CNoPipeSignal&) = delete;

private:
    sigset_t m_pipe = {};
    sigset_t m_old = {};
    bool m_wasPending = false;
};

constinit std::atomic<eOsError> g_outputError = eOsError_None;

int DescriptorOf(eStream stream)
{
    return stream == eStream_Output ? STDOUT_FILENO : STDERR_FILENO;
}

} // namespace

bool WriteAll(int descriptor, std::string_view bytes)
{
    const CNoPipeSignal noSignal;
    while (!bytes.empty()) {
        const ssize_t written = Uninterrupted([&] { return write(descriptor, bytes.data(), bytes.size()); });
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
            continue;
        }
        if (written == 0 || errno != EAGAIN)
            return false;
        // Somebody shares the descriptor and set it not to block. This waits for its reader as the write itself does on
        // one that blocks, a stopped terminal included; a reader that goes ends it.
        pollfd room = {descriptor, POLLOUT, 0};
        Uninterrupted([&] { return poll(&room, 1, -1); });
    }
    return true;
}

} // namespace posix

std::vector<std::wstring> ProgramArguments(int argc, char** argv)
{
    std::vector<std::wstring> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(FromUtf8(argv[i]));
    return arguments;
}

bool WriteConsoleText(eStream stream, const std::wstring& text)
{
    const bool isWritten = posix::WriteAll(posix::DescriptorOf(stream), ToUtf8(text));
    if (!isWritten && stream == eStream_Output && errno != EPIPE) {
        eOsError none = eOsError_None;
        posix::g_outputError.compare_exchange_strong(none, posix::LastOsError());
    }
    return isWritten;
}

eOsError OutputError()
{
    return posix::g_outputError;
}

bool IsTerminal(eStream stream)
{
    return isatty(posix::DescriptorOf(stream)) == 1;
}

bool IsJournal(eStream stream)
{
    // The variable is inherited by whoever writes elsewhere, so it names what it means.
    const char* const journal = std::getenv("JOURNAL_STREAM");
    struct stat status = {};
    return journal != nullptr && fstat(posix::DescriptorOf(stream), &status) == 0 &&
           std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == journal;
}

int TerminalWidth(eStream stream)
{
    winsize size = {};
    constexpr int unknown = 80;
    return ioctl(posix::DescriptorOf(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : unknown;
}

bool NotifyServiceManager(const std::string& state)
{
    const char* const path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address = {};
    if (path == nullptr || (*path != '/' && *path != '@') || std::strlen(path) >= sizeof address.sun_path)
        return false;
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path);
    if (*path == '@')
        address.sun_path[0] = '\0'; // a name that is not in the file system
    const posix::CDescriptor connection(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!connection)
        return false;
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
    const ssize_t sent = sendto(connection.Get(), state.data(), state.size(), MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr*>(&address), length);
    return sent == static_cast<ssize_t>(state.size());
}

std::chrono::milliseconds WatchdogInterval()
{
    const char* const process = std::getenv("WATCHDOG_PID");
    const char* const interval = std::getenv("WATCHDOG_USEC");
    if (interval == nullptr || (process != nullptr && std::strtoll(process, nullptr, 10) != getpid()))
        return std::chrono::milliseconds::zero();
    constexpr long long longest = 1'000'000LL * 60 * 60 * 24;
    const long long microseconds = std::clamp(std::strtoll(interval, nullptr, 10), 0LL, longest);
    return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::microseconds(microseconds));
}

} // namespace platform
