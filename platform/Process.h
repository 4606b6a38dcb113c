#pragma once

#include "platform/Containment.h"
#include "platform/Export.h"
#include "platform/OsError.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Child processes, the console and the signals of this process.
namespace platform {

struct SProcessOptions {
    std::vector<std::pair<std::wstring, std::wstring>> environment; ///< set in addition to the inherited variables
    bool pipeInput = false;                                         ///< WriteLine works
    bool pipeOutput = false; ///< ReadLine works; else output goes where ours goes
    std::wstring inputFile;  ///< standard input comes from this file when not empty; without pipeInput
    std::wstring errorFile;  ///< standard error goes to this new file when not empty
    std::wstring folder;     ///< the child's working directory; ours when empty
    /// For ReadLine, in bytes: for a child that sends more without an end of line it is the end of the output. 0: any
    /// length.
    std::size_t longestLine = 0;
    /// The child ends with all that it starts, whatever ends it, and when this process ends; Kill ends them all, too.
    /// It must call EnterContainment, and its input must be a pipe.
    std::optional<SContainment> containment = std::nullopt;
};

enum eProcessOutput {
    eProcessOutput_Data,
    eProcessOutput_None, ///< the time is over
    eProcessOutput_Ended
};

/// A started child. The destructor kills and reaps one that still runs, so that a failing test leaves nothing behind.
class ZEL_FRAMEWORK_API CProcess {
public:
    CProcess();
    ~CProcess();
    CProcess(CProcess&&) noexcept;
    CProcess& operator=(CProcess&&) noexcept;

    /// The program by its full path, or by a name alone, which is looked for where the system looks for programs.
    [[nodiscard]] eOsError Start(const std::wstring& program, const std::vector<std::wstring>& arguments,
                                 const SProcessOptions& options = {});
    /// One line of the child's standard output without its line end, decoded as UTF-8. False at the end of the output
    /// or when the time is over.
    [[nodiscard]] bool ReadLine(std::wstring& line, std::chrono::milliseconds timeout);
    /// Appends what there is of the output, some kilobytes at most; waits for the first of it.
    [[nodiscard]] eProcessOutput ReadSome(std::string& bytes, std::chrono::milliseconds timeout);
    /// All that is left of the output, until the child closes it or the time is over.
    [[nodiscard]] std::string ReadAll(std::chrono::milliseconds timeout);
    [[nodiscard]] bool WriteLine(const std::wstring& line);
    void CloseInput();
    /// Exit code of the ended child; false when it still runs at the end of the time. A child that was killed has 128 +
    /// the signal's number, on Windows whatever it was killed with.
    [[nodiscard]] bool Wait(std::chrono::milliseconds timeout, int& exitCode);
    /// At once and without a chance to clean up.
    void Kill();
    /// Asks it to stop: SIGTERM, or a Ctrl-Break event on Windows.
    void RequestStop();
    /// Asks a server to read again what it was configured by: SIGHUP, on Windows an event. It must listen already.
    void RequestReload();
    [[nodiscard]] std::uint32_t Id() const;
    /// Processor time used so far by the child, user and system.
    [[nodiscard]] std::chrono::nanoseconds CpuTime() const;
    /// Highest resident memory so far in bytes.
    [[nodiscard]] std::uint64_t PeakMemory() const;

private:
    struct SState;
    std::unique_ptr<SState> m_pState;
};

/// The program's arguments without its own name, as given, from main's parameters (ignored on Windows, which keeps them
/// wide).
[[nodiscard]] ZEL_FRAMEWORK_API std::vector<std::wstring> ProgramArguments(int argc, char** argv);

enum eStream { eStream_Output, eStream_Error };
/// Writes text to standard output or error, as UTF-8 to files and pipes and as the console wants it to a console;
/// flushes. False when the other side is gone.
ZEL_FRAMEWORK_API bool WriteConsoleText(eStream stream, const std::wstring& text);
/// The first failure of WriteConsoleText at standard output, for a program to end with. A reader that is gone is none:
/// he wanted no more.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError OutputError();
[[nodiscard]] ZEL_FRAMEWORK_API bool IsTerminal(eStream stream);
/// Whether the stream leads to the journal of systemd, which reads a priority at the beginning of each line.
[[nodiscard]] ZEL_FRAMEWORK_API bool IsJournal(eStream stream);
/// Width in characters; 80 when unknown.
[[nodiscard]] ZEL_FRAMEWORK_API int TerminalWidth(eStream stream);

enum eProgramSignal { eProgramSignal_Stop, eProgramSignal_Step, eProgramSignal_Reload };
/// Of a tool: Stop alone. Of a server: all, but standard input is left alone. Of one that is stepped by hand: that,
/// too.
enum eSignalSet { eSignalSet_Tool, eSignalSet_Server, eSignalSet_SteppedServer };
/// Receives the signals of a program: Stop for SIGTERM, SIGINT, SIGHUP and their console events on Windows; Step for
/// SIGUSR1, on Windows for a line on standard input; Reload for a SIGHUP that a server gets while it has the terminal
/// that it began with, or none, on Windows for a service that is told of changed parameters: somebody has moved its log
/// or changed its options. SIGHUP is no second Stop: a terminal that goes may send several. Where it is ignored, as
/// nohup has it, it stays so. While it lives, SIGXFSZ is ignored. Constructed once, in main, before other threads
/// start.
class ZEL_FRAMEWORK_API CProgramSignals {
public:
    explicit CProgramSignals(eSignalSet set);
    ~CProgramSignals();
    CProgramSignals(const CProgramSignals&) = delete;
    CProgramSignals& operator=(const CProgramSignals&) = delete;
    /// False when the time is over. For one thread at a time.
    [[nodiscard]] bool WaitFor(std::chrono::milliseconds timeout, eProgramSignal& received);
    /// What the last Stop was and where it came from, as far as known, for the log: "SIGTERM of process 4711". For the
    /// thread that has received it.
    [[nodiscard]] std::wstring Cause() const;
    /// As if this process had been asked to stop from outside. From any thread.
    void RequestStop();

private:
    struct SState;
    std::unique_ptr<SState> m_pState;
};

/// Ends this process here and now, with nothing of it cleaned up: for who has waited long enough for another thread.
[[noreturn]] ZEL_FRAMEWORK_API void EndProcess(int exitCode);

/// Tells the service manager about this process in the manner of sd_notify ("READY=1"). True when told; false where
/// none listens: no NOTIFY_SOCKET, on Windows outside of RunService. There the manager understands "READY=1",
/// "STOPPING=1" and "WATCHDOG=trigger", which tells it that the service has failed and ends the process.
ZEL_FRAMEWORK_API bool NotifyServiceManager(const std::string& state);

/// How often the service manager wants to hear "WATCHDOG=1" at the least; 0 where it does not ask for that. A Windows
/// service looks after itself: two minutes.
[[nodiscard]] ZEL_FRAMEWORK_API std::chrono::milliseconds WatchdogInterval();

} // namespace platform
