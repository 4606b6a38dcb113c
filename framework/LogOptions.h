#pragma once

#include "framework/Log.h"
#include "platform/Export.h"
#include "platform/SourceLocation.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Brel::Log {

/// Where the loggers of the default host write, and how much.
enum eLogFormat { eLogFormat_Text, eLogFormat_Json };

/// One line as it was written, valid for the call.
struct SLogLine {
    eLogLevel level = eLogLevel_Info;
    std::string_view logger;
    std::string_view text;
    platform::SSourceLocation place;
};

struct SLogOptions {
    eLogLevel level = eLogLevel_Info;
    /// To standard error; in colour on a terminal that TERM names as capable of it, unless NO_COLOR is set.
    bool console = true;
    /// Appended to this file as well when not empty.
    std::wstring file = {};
    eLogFormat format = eLogFormat_Text;
    /// Whether a line tells its place in the source. Where it does not, file, line and function of JSON are null.
    bool places = true;
    /// Standard error is the journal of systemd: each line there begins with its priority, "<3>" for an error.
    bool journal = false;
    /// In bytes: a line that does not fit any more goes to a new file. The old ones are FILE.1, the newest, to FILE.5.
    /// 0: the file grows without limit.
    std::uint64_t maxFileSize = 0;
    /// Called for each line as well when not empty: on the thread that writes it, without a lock. It must not throw.
    std::function<void(const SLogLine&)> sink = {};
};

/// "<3>" for an error: what the journal takes for the priority of a line.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring JournalPriority(eLogLevel level);

/// How many old log files are kept beside the one that is written.
constexpr int kOldLogFiles = 5;

/// Sets the output of all loggers of the default host, those that exist and those to come, and opens the log file anew:
/// call it again after the file was moved away. A host that configures nothing gets the defaults of SLogOptions. False
/// when the file cannot be opened; then nothing has changed and errorText, when given, names it with the reason. From
/// any thread.
///
/// One line of the log as text:
///   2024-05-01T12:00:00.123Z info     [ZelProcessor] [4711] {name.drq} text (File.cpp:17)
/// with the time in UTC, the thread's number and the request that the thread works on (MOXCrashRpt::CScopedSubject);
/// without one the braces are missing, and so is an unknown place. Further lines of a text are led in by a bar, and
/// control characters are written as `\x1B`, in the name braces too: nothing that a request's name or content holds
/// passes for a line or a field of the log or reaches the terminal.
///
/// One line as JSON is an object:
///   {"time":"2024-05-01T12:00:00.123Z","level":"info","logger":"ZelProcessor","thread":4711,"request":"name.drq",
///    "text":"text","file":"folder/File.cpp","line":17,"function":"bool C::F()"}
/// The levels are "trace", "debug", "info", "warning", "error" and "critical". All fields are always there; request,
/// file, line and function are null when unknown or not to be told. Bytes that are no text are written as the four
/// characters `\xFF`.
///
/// Every line has been handed to the system when Write returns, so it survives the death of the process; not that of
/// the machine. Only one process may write to a file that has a size.
ZEL_FRAMEWORK_API bool Configure(const SLogOptions& options, std::wstring* errorText = nullptr);

} // namespace Brel::Log
