#include "platform/Process.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Output.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <string_view>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {
namespace posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

/// Time left until an end, as poll takes it.
int TimeLeft(steady_clock::time_point end)
{
    const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now()).count();
    return static_cast<int>(std::clamp<milliseconds::rep>(left, 0, INT_MAX));
}

steady_clock::time_point EndOf(milliseconds timeout)
{
    constexpr milliseconds longest = std::chrono::hours(24 * 20); // what fits poll
    return steady_clock::now() + std::min(timeout, longest);
}

/// Waits until the descriptor can be read. False when the time is over.
bool WaitReadable(int descriptor, steady_clock::time_point end)
{
    pollfd wait = {descriptor, POLLIN, 0};
    return Uninterrupted([&] { return poll(&wait, 1, TimeLeft(end)); }) > 0;
}

struct SPipe {
    CDescriptor read;
    CDescriptor write;

    bool Open()
    {
        std::array<int, 2> ends = {};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            return false;
        read.Reset(ends[0]);
        write.Reset(ends[1]);
        return true;
    }
};

/// The inherited variables with the given ones set.
std::vector<std::string> MergedEnvironment(const SProcessOptions& options)
{
    std::map<std::string, std::string, std::less<>> variables;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const std::size_t equals = text.find('=');
        variables.insert_or_assign(std::string(text.substr(0, equals)), std::string(text));
    }
    for (const auto& [name, value] : options.environment) {
        const std::string narrow = ToUtf8(name);
        variables.insert_or_assign(narrow, narrow + "=" + ToUtf8(value));
    }
    std::vector<std::string> merged;
    for (auto& [name, entry] : variables)
        merged.push_back(std::move(entry));
    return merged;
}

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// What the child does before it becomes the program.
class CSpawnSetup {
public:
    CSpawnSetup()
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawnattr_init(&m_attributes);
        // A program that fetches its signals has them blocked, and would leave a child deaf that does not. What it
        // ignores, the child would ignore, too.
        sigset_t none;
        sigemptyset(&none);
        sigset_t ordinary = none;
        for (const int number : {SIGPIPE, SIGTERM, SIGINT, SIGUSR1, SIGXFSZ})
            sigaddset(&ordinary, number);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setsigdefault(&m_attributes, &ordinary);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~CSpawnSetup()
    {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    CSpawnSetup(const CSpawnSetup&) = delete;
    CSpawnSetup& operator=(const CSpawnSetup&) = delete;

    void Redirect(int from, int to) { posix_spawn_file_actions_adddup2(&m_actions, from, to); }
    void RedirectToFile(int to, const std::string& path)
    {
        posix_spawn_file_actions_addopen(&m_actions, to, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    }

    int Spawn(const std::string& program, std::vector<std::string> arguments, std::vector<std::string> environment,
              pid_t& id) const
    {
        return posix_spawn(&id, program.c_str(), &m_actions, &m_attributes, Pointers(arguments).data(),
                           Pointers(environment).data());
    }

private:
    posix_spawn_file_actions_t m_actions = {};
    posix_spawnattr_t m_attributes = {};
};

std::uint64_t OwnPeakMemory()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

nanoseconds CpuTimeOf(const rusage& usage)
{
    const auto time = [](const timeval& value) {
        return std::chrono::seconds(value.tv_sec) + std::chrono::microseconds(value.tv_usec);
    };
    return time(usage.ru_utime) + time(usage.ru_stime);
}

/// User and system time of a running process from its status line, in which they are the 14th and 15th field. The
/// second, its name, is in parentheses and may hold anything.
nanoseconds CpuTimeOfRunning(pid_t id)
{
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t name = line.rfind(')');
    if (name == std::string::npos)
        return {};
    std::istringstream fields(line.substr(name + 1));
    std::string skipped;
    for (int field = 3; field < 14; ++field)
        fields >> skipped;
    std::uint64_t user = 0;
    std::uint64_t system = 0;
    fields >> user >> system;
    const auto ticks = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    return nanoseconds((user + system) * (1'000'000'000 / ticks));
}

std::uint64_t PeakMemoryOfRunning(pid_t id)
{
    std::ifstream file("/proc/" + std::to_string(id) + "/status");
    constexpr std::string_view wanted = "VmHWM:";
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(wanted))
            return std::stoull(line.substr(wanted.size())) * 1024;
    }
    return 0;
}

} // namespace
} // namespace posix

struct CProcess::SState {
    pid_t id = -1;
    posix::CDescriptor process; // becomes readable when the child ends
    posix::CDescriptor input;
    posix::CDescriptor output;
    std::string buffer; // read from the output, not yet asked for
    bool outputEnded = false;

    bool ended = false;
    int exitCode = 0;
    std::chrono::nanoseconds cpuTime{};
    std::uint64_t peakMemory = 0; // highest that was seen
    std::uint64_t ownPeakAtStart = 0;

    ~SState()
    {
        if (id < 0 || ended)
            return;
        kill(id, SIGKILL);
        Reap(0);
    }

    /// Fetches the end of the child when it has come; waits for it without the flag WNOHANG.
    void Reap(int flags)
    {
        int status = 0;
        rusage usage = {};
        if (ended || posix::Uninterrupted([&] { return wait4(id, &status, flags, &usage); }) != id)
            return;
        ended = true;
        exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        cpuTime = posix::CpuTimeOf(usage);
        // A child begins as a picture of its parent, whose memory the kernel counts as the child's first peak. A number
        // above that is the child's own; else what was seen while it ran is closer to the truth.
        const auto peak = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
        if (peak > ownPeakAtStart || peakMemory == 0)
            peakMemory = std::max(peak, peakMemory);
    }

    /// Waits for the child's end. False when the time is over.
    [[nodiscard]] bool WaitForEnd(std::chrono::steady_clock::time_point end)
    {
        if (process && posix::WaitReadable(process.Get(), end))
            Reap(0);
        // A kernel without process descriptors has no wait with a time-out: ask again and again.
        while (!process && !ended) {
            Reap(WNOHANG);
            if (ended || posix::TimeLeft(end) == 0)
                break;
            SystemClock().SleepFor(std::chrono::milliseconds(2));
        }
        return ended;
    }

    /// Waits for more output. False at its end or when the time is over.
    bool ReadMore(std::chrono::steady_clock::time_point end)
    {
        if (outputEnded || !output || !posix::WaitReadable(output.Get(), end))
            return false;
        std::array<char, 4096> chunk = {};
        const ssize_t got = posix::Uninterrupted([&] { return read(output.Get(), chunk.data(), chunk.size()); });
        if (got <= 0) {
            outputEnded = true;
            return false;
        }
        buffer.append(chunk.data(), static_cast<std::size_t>(got));
        return true;
    }
};

CProcess::CProcess() = default;
CProcess::~CProcess() = default;
CProcess::CProcess(CProcess&&) noexcept = default;
CProcess& CProcess::operator=(CProcess&&) noexcept = default;

eOsError CProcess::Start(const std::wstring& program, const std::vector<std::wstring>& arguments,
                         const SProcessOptions& options)
{
    posix::SPipe input;
    posix::SPipe output;
    if ((options.pipeInput && !input.Open()) || (options.pipeOutput && !output.Open()))
        return posix::LastOsError();
    posix::CSpawnSetup setup;
    if (input.read)
        setup.Redirect(input.read.Get(), STDIN_FILENO);
    if (output.write)
        setup.Redirect(output.write.Get(), STDOUT_FILENO);
    if (!options.errorFile.empty())
        setup.RedirectToFile(STDERR_FILENO, NarrowPath(options.errorFile));

    const std::string path = NarrowPath(program);
    std::vector<std::string> narrow = {path};
    for (const std::wstring& argument : arguments)
        narrow.push_back(ToUtf8(argument));

    auto state = std::make_unique<SState>();
    state->ownPeakAtStart = posix::OwnPeakMemory();
    if (const int error = setup.Spawn(path, std::move(narrow), posix::MergedEnvironment(options), state->id);
        error != 0) {
        state->id = -1;
        return posix::PathError(error, path.c_str());
    }
    // Not by its function: the header of glibc 2.36 declares that for C only.
    state->process.Reset(static_cast<int>(syscall(SYS_pidfd_open, state->id, 0)));
    state->input = std::move(input.write);
    state->output = std::move(output.read);
    m_pState = std::move(state);
    return eOsError_None;
}

bool CProcess::ReadLine(std::wstring& line, std::chrono::milliseconds timeout)
{
    if (m_pState == nullptr)
        return false;
    const auto end = posix::EndOf(timeout);
    std::string& buffer = m_pState->buffer;
    std::size_t newline = buffer.find('\n');
    while (newline == std::string::npos) {
        const std::size_t searched = buffer.size();
        if (!m_pState->ReadMore(end)) {
            if (!m_pState->outputEnded || buffer.empty())
                return false;
            newline = buffer.size(); // the last line, without an end
            break;
        }
        newline = buffer.find('\n', searched);
    }
    const bool carriageReturn = newline > 0 && buffer[newline - 1] == '\r';
    line = FromUtf8(std::string_view(buffer).substr(0, newline - (carriageReturn ? 1 : 0)));
    buffer.erase(0, newline + 1);
    return true;
}

std::string CProcess::ReadAll(std::chrono::milliseconds timeout)
{
    if (m_pState == nullptr)
        return {};
    const auto end = posix::EndOf(timeout);
    while (m_pState->ReadMore(end)) {
    }
    return std::exchange(m_pState->buffer, {});
}

bool CProcess::WriteLine(const std::wstring& line)
{
    return m_pState != nullptr && m_pState->input && posix::WriteAll(m_pState->input.Get(), ToUtf8(line) + "\n");
}

void CProcess::CloseInput()
{
    if (m_pState != nullptr)
        m_pState->input.Reset();
}

bool CProcess::Wait(std::chrono::milliseconds timeout, int& exitCode)
{
    if (m_pState == nullptr)
        return false;
    if (!m_pState->ended && !m_pState->WaitForEnd(posix::EndOf(timeout)))
        return false;
    exitCode = m_pState->exitCode;
    return true;
}

void CProcess::Kill()
{
    if (m_pState != nullptr && !m_pState->ended)
        kill(m_pState->id, SIGKILL);
}

void CProcess::RequestStop()
{
    if (m_pState != nullptr && !m_pState->ended)
        kill(m_pState->id, SIGTERM);
}

std::uint32_t CProcess::Id() const
{
    return m_pState != nullptr ? static_cast<std::uint32_t>(m_pState->id) : 0;
}

std::chrono::nanoseconds CProcess::CpuTime() const
{
    if (m_pState == nullptr)
        return {};
    m_pState->Reap(WNOHANG);
    return m_pState->ended ? m_pState->cpuTime : posix::CpuTimeOfRunning(m_pState->id);
}

std::uint64_t CProcess::PeakMemory() const
{
    if (m_pState == nullptr)
        return 0;
    m_pState->Reap(WNOHANG);
    if (!m_pState->ended)
        m_pState->peakMemory = std::max(m_pState->peakMemory, posix::PeakMemoryOfRunning(m_pState->id));
    return m_pState->peakMemory;
}

} // namespace platform
