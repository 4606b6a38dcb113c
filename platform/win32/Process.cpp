#include "platform/Process.h"

#include "platform/Text.h"
#include "platform/win32/ChildStreams.h"
#include "platform/win32/CommandLine.h"
#include "platform/win32/Containment.h"
#include "platform/win32/InheritedHandles.h"
#include "platform/win32/OutputPipe.h"
#include "platform/win32/StopRequest.h"
#include "platform/win32/SystemError.h"

#include <psapi.h>

#include <algorithm>
#include <optional>

namespace platform {

using win32::CHandle;
using win32::LastOsError;
using win32::ToWaitTime;

namespace {

constexpr UINT kKilledExitCode = 128 + 9; // what a killed process shows elsewhere

using Deadline = std::chrono::steady_clock::time_point;

Deadline DeadlineIn(std::chrono::milliseconds timeout)
{
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 365);
    return std::chrono::steady_clock::now() + (timeout < longest ? timeout : longest);
}

std::chrono::milliseconds TimeLeft(Deadline deadline)
{
    const auto left = deadline - std::chrono::steady_clock::now();
    return std::chrono::ceil<std::chrono::milliseconds>(left < left.zero() ? left.zero() : left);
}

/// A batch file is run by an interpreter that reads its arguments as commands, which no quoting makes safe.
bool IsBatchFile(const std::wstring& program)
{
    for (const wchar_t* const extension : {L".bat", L".cmd"}) {
        if (program.size() >= 4 && _wcsicmp(program.c_str() + program.size() - 4, extension) == 0) {
            return true;
        }
    }
    return false;
}

std::uint64_t TicksOf(const FILETIME& time)
{
    return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

} // namespace

struct CProcess::SState {
    CHandle process;
    CHandle job; ///< of a contained child
    std::size_t longestLine = 0;
    bool isTooLong = false; ///< a line was, and the output ends there
    CHandle input;
    CHandle stopEvent;
    win32::COutputPipe output;
    std::string received; ///< output that no line has been made of yet
    std::uint32_t id = 0;
    std::uint64_t peakMemory = 0; ///< of an ended process not every system tells it any more

    ~SState()
    {
        if (process && WaitForSingleObject(process.Get(), 0) != WAIT_OBJECT_0) {
            Kill();
            WaitForSingleObject(process.Get(), INFINITE);
        }
        if (process && job) {
            win32::EndJob(job, kKilledExitCode); // what it has left, too
        }
    }

    void Kill() const
    {
        if (job) {
            TerminateJobObject(job.Get(), kKilledExitCode);
        } else {
            TerminateProcess(process.Get(), kKilledExitCode);
        }
    }

    [[nodiscard]] eOsError MakeStreams(const SProcessOptions& options, win32::SChildStreams& streams)
    {
        eOsError error = win32::MakeInput(options.pipeInput, options.inputFile, streams.input, input);
        if (Succeeded(error) && options.pipeOutput) {
            error = output.Create(streams.output);
        } else if (Succeeded(error)) {
            streams.output = win32::ShareOwnStream(STD_OUTPUT_HANDLE);
        }
        return Succeeded(error) ? win32::MakeError(options.errorFile, streams.error) : error;
    }

    [[nodiscard]] eOsError Launch(const std::wstring& program, std::wstring commandLine, std::wstring environment,
                                  const win32::SChildStreams& streams, const SProcessOptions& options)
    {
        if (options.containment) {
            job = win32::MakeJob(*options.containment);
            if (!job) {
                return LastOsError();
            }
        }
        HANDLE inherited[] = {streams.input.Get(), streams.output.Get(), streams.error.Get()};
        win32::CInheritedHandles list;
        if (const eOsError error = list.Set(inherited); !Succeeded(error)) {
            return error;
        }
        STARTUPINFOEXW startup{};
        startup.StartupInfo.cb = sizeof(startup);
        startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        startup.StartupInfo.hStdInput = inherited[0];
        startup.StartupInfo.hStdOutput = inherited[1];
        startup.StartupInfo.hStdError = inherited[2];
        startup.lpAttributeList = list.Get();

        // In a group of its own, or a Ctrl-Break for it would be one for us. Suspended until its stop event is there.
        const DWORD flags = CREATE_NEW_PROCESS_GROUP | CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT |
                            EXTENDED_STARTUPINFO_PRESENT |
                            (options.containment ? win32::PriorityClassOf(*options.containment) : 0);
        PROCESS_INFORMATION made{};
        if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, flags, environment.data(),
                            options.folder.empty() ? nullptr : options.folder.c_str(), &startup.StartupInfo, &made)) {
            return LastOsError();
        }
        const CHandle thread(made.hThread);
        process = CHandle(made.hProcess);
        id = made.dwProcessId;
        stopEvent = win32::MakeStopEvent(id);
        if (job && !AssignProcessToJobObject(job.Get(), process.Get())) {
            const eOsError error = LastOsError();
            TerminateProcess(process.Get(), kKilledExitCode);
            return error;
        }
        return ResumeThread(thread.Get()) != static_cast<DWORD>(-1) ? eOsError_None : LastOsError();
    }

    /// Waits for more output.
    [[nodiscard]] win32::eReceiveResult Receive(std::chrono::milliseconds timeout)
    {
        isTooLong = isTooLong || (longestLine != 0 && received.size() > longestLine);
        return isTooLong ? win32::eReceiveResult_Ended : output.Receive(received, timeout);
    }

    /// Takes a line, or at the end of the output what is left, out of what was received.
    [[nodiscard]] bool TakeLine(std::wstring& line, bool ended)
    {
        std::size_t end = received.find('\n');
        if (end == std::string::npos && (!ended || received.empty())) {
            return false;
        }
        const bool whole = end != std::string::npos;
        end = whole ? end : received.size();
        std::size_t length = end;
        if (length > 0 && received[length - 1] == '\r') {
            --length;
        }
        line = FromUtf8(std::string_view(received).substr(0, length));
        received.erase(0, whole ? end + 1 : end);
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
    const std::wstring file = win32::FindProgram(program);
    if (IsBatchFile(file)) {
        return eOsError_NotSupported;
    }
    auto state = std::make_unique<SState>();
    win32::SChildStreams streams; // ours: they go with this function, or an end of output would never show
    eOsError error = state->MakeStreams(options, streams);
    if (Succeeded(error)) {
        error = state->Launch(file, win32::MakeCommandLine(file, arguments),
                              win32::MakeEnvironmentBlock(options.environment), streams, options);
    }
    if (Succeeded(error)) {
        state->longestLine = options.longestLine;
        m_pState = std::move(state);
    }
    return error;
}

bool CProcess::ReadLine(std::wstring& line, std::chrono::milliseconds timeout)
{
    if (!m_pState) {
        return false;
    }
    const Deadline deadline = DeadlineIn(timeout);
    while (!m_pState->TakeLine(line, false)) {
        const auto result = m_pState->Receive(TimeLeft(deadline));
        if (result != win32::eReceiveResult_Data) {
            return m_pState->TakeLine(line, result == win32::eReceiveResult_Ended);
        }
    }
    return true;
}

eProcessOutput CProcess::ReadSome(std::string& bytes, std::chrono::milliseconds timeout)
{
    if (!m_pState) {
        return eProcessOutput_Ended;
    }
    if (m_pState->received.empty()) {
        const auto result = m_pState->Receive(timeout);
        if (result != win32::eReceiveResult_Data) {
            return result == win32::eReceiveResult_Ended ? eProcessOutput_Ended : eProcessOutput_None;
        }
    }
    bytes += std::exchange(m_pState->received, {});
    return eProcessOutput_Data;
}

std::string CProcess::ReadAll(std::chrono::milliseconds timeout)
{
    if (!m_pState) {
        return {};
    }
    const Deadline deadline = DeadlineIn(timeout);
    while (m_pState->Receive(TimeLeft(deadline)) == win32::eReceiveResult_Data) {
    }
    return std::exchange(m_pState->received, {});
}

bool CProcess::WriteLine(const std::wstring& line)
{
    if (!m_pState || !m_pState->input) {
        return false;
    }
    const std::string bytes = ToUtf8(line) + '\n';
    for (std::size_t at = 0; at < bytes.size();) {
        DWORD written = 0;
        if (!WriteFile(m_pState->input.Get(), bytes.data() + at, static_cast<DWORD>(bytes.size() - at), &written,
                       nullptr)) {
            return false;
        }
        at += written;
    }
    return true;
}

void CProcess::CloseInput()
{
    if (m_pState) {
        m_pState->input.Close();
    }
}

bool CProcess::Wait(std::chrono::milliseconds timeout, int& exitCode)
{
    DWORD code = 0;
    if (!m_pState || WaitForSingleObject(m_pState->process.Get(), ToWaitTime(timeout)) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(m_pState->process.Get(), &code)) {
        return false;
    }
    exitCode = static_cast<int>(code);
    return true;
}

void CProcess::Kill()
{
    if (m_pState) {
        m_pState->Kill();
    }
}

void CProcess::RequestStop()
{
    if (!m_pState) {
        return;
    }
    SetEvent(m_pState->stopEvent.Get());
    // A program that does not know the event is asked in the system's own way, which takes a common console.
    const CHandle listening = win32::MakeListeningEvent(m_pState->id);
    if (WaitForSingleObject(listening.Get(), 0) != WAIT_OBJECT_0) {
        GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, m_pState->id);
    }
}

void CProcess::RequestReload()
{
    if (m_pState) {
        SetEvent(win32::MakeReloadEvent(m_pState->id).Get());
    }
}

std::uint32_t CProcess::Id() const
{
    return m_pState ? m_pState->id : 0;
}

std::chrono::nanoseconds CProcess::CpuTime() const
{
    constexpr std::int64_t nanosecondsPerTick = 100;
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    if (!m_pState || !GetProcessTimes(m_pState->process.Get(), &created, &ended, &kernel, &user)) {
        return {};
    }
    return std::chrono::nanoseconds(static_cast<std::int64_t>(TicksOf(kernel) + TicksOf(user)) * nanosecondsPerTick);
}

std::uint64_t CProcess::PeakMemory() const
{
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof(counters);
    if (!m_pState) {
        return 0;
    }
    if (GetProcessMemoryInfo(m_pState->process.Get(), &counters, sizeof(counters))) {
        m_pState->peakMemory = std::max<std::uint64_t>(m_pState->peakMemory, counters.PeakWorkingSetSize);
    }
    return m_pState->peakMemory;
}

} // namespace platform
