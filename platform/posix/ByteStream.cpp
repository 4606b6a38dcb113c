#include "platform/ByteStream.h"

#include "platform/Os.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/NativePath.h"
#include "platform/posix/Output.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace posix {
namespace {

/// How soon it is noticed that a wait is to end.
constexpr int kQuestionMs = 100;
constexpr std::chrono::milliseconds kReaderNap{10};
/// A pipe that has room takes as much without waiting.
constexpr std::size_t kPipeRoom = PIPE_BUF;

bool MayGoOn(const StreamGoOn& goOn)
{
    return !goOn || goOn();
}

/// Waits for bytes or room. What is wrong with the descriptor is told by its use.
eOsError WaitFor(int descriptor, short events, const StreamGoOn& goOn)
{
    for (;;) {
        pollfd ready = {descriptor, events, 0};
        const int count = Uninterrupted([&] { return poll(&ready, 1, kQuestionMs); });
        if (count < 0)
            return LastOsError();
        if (count > 0)
            return eOsError_None;
        if (!MayGoOn(goOn))
            return eOsError_SharingViolation;
    }
}

class CDescriptorSink final : public IByteSink {
public:
    /// owned: none for a descriptor that stays open.
    CDescriptorSink(int descriptor, CDescriptor owned) : m_descriptor(descriptor), m_owned(std::move(owned)) {}

    eOsError Write(std::span<const std::byte> bytes, const StreamGoOn& goOn) override
    {
        while (!bytes.empty()) {
            if (!MayGoOn(goOn))
                return eOsError_SharingViolation;
            if (const eOsError error = WaitFor(m_descriptor, POLLOUT, goOn); !Succeeded(error))
                return error;
            const std::span<const std::byte> part = bytes.first(std::min(bytes.size(), kPipeRoom));
            if (!WriteAll(m_descriptor, {reinterpret_cast<const char*>(part.data()), part.size()}))
                return LastOsError();
            bytes = bytes.subspan(part.size());
        }
        return eOsError_None;
    }

    eOsError Finish() override
    {
        struct stat status = {};
        const bool isFile = fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode);
        return !isFile || fdatasync(m_descriptor) == 0 ? eOsError_None : LastOsError();
    }

private:
    const int m_descriptor;
    const CDescriptor m_owned;
};

/// A link of the process file system, such as the one that /dev/stdout leads to, names an open file, not a place in a
/// directory.
bool NamesOpenFile(const CNativePath& path)
{
    constexpr std::string_view processes = "/proc/";
    char target[PATH_MAX] = {};
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    if (length > 0 && std::string_view(target, static_cast<std::size_t>(length)).starts_with(processes))
        return true;
    return realpath(path.Parent().c_str(), target) != nullptr && std::string_view(target).starts_with(processes);
}

bool IsOutput(const struct stat& status)
{
    struct stat output = {};
    return fstat(STDOUT_FILENO, &output) == 0 && output.st_ino == status.st_ino && output.st_dev == status.st_dev;
}

} // namespace
} // namespace posix

void HoldClosedStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The lowest free number is the next one given. Opened the wrong way round, so that its use fails.
        if (fcntl(stream, F_GETFD) == -1)
            static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
}

eOsError ReadInput(std::span<std::byte> buffer, std::size_t& read, const StreamGoOn& goOn)
{
    read = 0;
    if (!posix::MayGoOn(goOn))
        return eOsError_SharingViolation;
    if (const eOsError error = posix::WaitFor(STDIN_FILENO, POLLIN, goOn); !Succeeded(error))
        return error;
    const ssize_t got = posix::Uninterrupted([&] { return ::read(STDIN_FILENO, buffer.data(), buffer.size()); });
    if (got < 0)
        return posix::LastOsError();
    read = static_cast<std::size_t>(got);
    return eOsError_None;
}

eSinkKind SinkKind(const std::wstring& path)
{
    const posix::CNativePath native(path);
    struct stat name = {};
    struct stat named = {};
    if (!Succeeded(native.Check()) || lstat(native.c_str(), &name) != 0 || S_ISREG(name.st_mode) ||
        S_ISDIR(name.st_mode))
        return eSinkKind_None;
    if (stat(native.c_str(), &named) != 0) // a link to nothing may be one of an output that is closed
        return eSinkKind_Device;
    if (S_ISREG(named.st_mode) && !posix::NamesOpenFile(native))
        return eSinkKind_None;
    if (S_ISDIR(named.st_mode))
        return eSinkKind_None;
    return posix::IsOutput(named) ? eSinkKind_Output : eSinkKind_Device;
}

std::unique_ptr<IByteSink> OutputSink()
{
    return std::make_unique<posix::CDescriptorSink>(STDOUT_FILENO, posix::CDescriptor());
}

eOsError OpenSink(const std::wstring& path, const StreamGoOn& goOn, std::unique_ptr<IByteSink>& sink)
{
    const posix::CNativePath native(path);
    if (const eOsError error = native.Check(); !Succeeded(error))
        return error;
    for (;;) {
        struct stat status = {};
        if (stat(native.c_str(), &status) != 0)
            return posix::PathError(errno, native.c_str());
        // What stands in an open file already is somebody else's.
        const int append = S_ISREG(status.st_mode) ? O_APPEND : 0;
        posix::CDescriptor opened(posix::Uninterrupted(
            [&] { return open(native.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | append); }));
        if (opened) {
            const int descriptor = opened.Get();
            sink = std::make_unique<posix::CDescriptorSink>(descriptor, std::move(opened));
            return eOsError_None;
        }
        if (errno != ENXIO || !S_ISFIFO(status.st_mode))
            return posix::PathError(errno, native.c_str());
        if (!posix::MayGoOn(goOn))
            return eOsError_SharingViolation;
        Clock().SleepFor(posix::kReaderNap);
    }
}

} // namespace platform
