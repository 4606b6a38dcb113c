#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>

/// Bytes that come from or go to what is no file: the standard streams of this process, pipes, devices. They may have
/// no end, and the other side may take its time, so every wait asks a caller's function now and then; when that is
/// false, the call ends with SharingViolation.
namespace platform {

using StreamGoOn = std::function<bool()>;

/// Keeps the places of standard streams that the caller of this program has closed from being given to files: their use
/// fails then, and goes nowhere else. First thing in main.
ZEL_FRAMEWORK_API void HoldClosedStreams();

/// What there is at standard input, at least one byte; read = 0 at its end.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError ReadInput(std::span<std::byte> buffer, std::size_t& read,
                                                   const StreamGoOn& goOn);

/// Where bytes go. A reader that is gone is BrokenPipe, and ends nobody with a signal.
class IByteSink {
public:
    virtual ~IByteSink() = default;
    IByteSink(const IByteSink&) = delete;
    IByteSink& operator=(const IByteSink&) = delete;

    /// Writes all bytes, or fails; what went out by then stays out. On Windows a pipe whose reader does not read is
    /// waited for without a question: the system has no way to ask for room in it.
    virtual eOsError Write(std::span<const std::byte> bytes, const StreamGoOn& goOn) = 0;
    /// Waits until the bytes are on the storage device where a file is behind it.
    virtual eOsError Finish() = 0;

protected:
    IByteSink() = default;
};

enum eSinkKind {
    eSinkKind_None,   ///< a file, a link to one, or nothing: it can be replaced
    eSinkKind_Output, ///< a name of this process's standard output
    eSinkKind_Device, ///< a device, pipe, or open file of a process: a file must never take its place
};
[[nodiscard]] ZEL_FRAMEWORK_API eSinkKind SinkKind(const std::wstring& path);

/// This process's standard output.
[[nodiscard]] ZEL_FRAMEWORK_API std::unique_ptr<IByteSink> OutputSink();
/// Opens what is there, never makes anything. A named pipe without a reader is waited for.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError OpenSink(const std::wstring& path, const StreamGoOn& goOn,
                                                  std::unique_ptr<IByteSink>& sink);

} // namespace platform
