#include "platform/Process.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/posix/Containment.h"
#include "platform/posix/Output.h"
#include "platform/posix/ProcessUsage.h"
#include "platform/posix/Spawn.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <poll.h>
#include <string_view>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {
namespace posix {
namespace {

using std::chrono::milliseconds;
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
    std::size_t longestLine = 0;
    bool isContained = false;

    ~SState()
    {
        if (id < 0 || ended)
            return;
        if (isContained && EndContained())
            return;
        kill(id, SIGKILL);
        Reap(0);
    }

    /// Asks who guards the child and what it has started to end them all. False when he does not in time: then what
    /// belongs to his session is ended, and he with it.
    [[nodiscard]] bool EndContained()
    {
        input.Reset();
        kill(id, SIGTERM);
        const bool isDone = WaitForEnd(posix::EndOf(std::chrono::seconds(5)));
        if (!isDone)
            kill(-id, SIGKILL);
        return isDone;
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
        outputEnded = outputEnded || (longestLine != 0 && buffer.size() > longestLine);
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
    else if (!options.inputFile.empty())
        setup.ReadFromFile(STDIN_FILENO, NarrowPath(options.inputFile));
    if (output.write)
        setup.Redirect(output.write.Get(), STDOUT_FILENO);
    if (!options.errorFile.empty())
        setup.RedirectToFile(STDERR_FILENO, NarrowPath(options.errorFile));
    if (!options.folder.empty())
        setup.ChangeFolder(NarrowPath(options.folder));
    SProcessOptions told = options;
    if (options.containment) {
        setup.BeginSession();
        told.environment.emplace_back(posix::kContainmentVariable, posix::ContainmentText(*options.containment));
    }

    const std::string path = NarrowPath(program);
    std::vector<std::string> narrow = {path};
    for (const std::wstring& argument : arguments)
        narrow.push_back(ToUtf8(argument));

    auto state = std::make_unique<SState>();
    state->ownPeakAtStart = posix::OwnPeakMemory();
    if (const int error = setup.Spawn(path, std::move(narrow), posix::MergedEnvironment(told), state->id); error != 0) {
        state->id = -1;
        return posix::PathError(error, path.c_str());
    }
    // Not by its function: the header of glibc 2.36 declares that for C only.
    state->process.Reset(static_cast<int>(syscall(SYS_pidfd_open, state->id, 0)));
    state->input = std::move(input.write);
    state->output = std::move(output.read);
    state->longestLine = options.longestLine;
    state->isContained = options.containment.has_value();
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

eProcessOutput CProcess::ReadSome(std::string& bytes, std::chrono::milliseconds timeout)
{
    if (m_pState == nullptr)
        return eProcessOutput_Ended;
    if (m_pState->buffer.empty() && !m_pState->ReadMore(posix::EndOf(timeout)))
        return m_pState->outputEnded || !m_pState->output ? eProcessOutput_Ended : eProcessOutput_None;
    bytes += std::exchange(m_pState->buffer, {});
    return eProcessOutput_Data;
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
        kill(m_pState->id, m_pState->isContained ? SIGTERM : SIGKILL); // who guards the child ends it
}

void CProcess::RequestStop()
{
    if (m_pState != nullptr && !m_pState->ended)
        kill(m_pState->id, SIGTERM);
}

void CProcess::RequestReload()
{
    if (m_pState != nullptr && !m_pState->ended)
        kill(m_pState->id, SIGHUP);
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
