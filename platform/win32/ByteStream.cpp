#include "platform/ByteStream.h"

#include "platform/Os.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/WindowsHeader.h"

#include <algorithm>
#include <array>

namespace platform {
namespace win32 {
namespace {

constexpr std::chrono::milliseconds kStreamNap{10};
constexpr std::size_t kStreamChunk = 4096;

bool MayGoOn(const StreamGoOn& goOn)
{
    return !goOn || goOn();
}

bool IsEndOfPipe(DWORD error)
{
    return error == ERROR_BROKEN_PIPE || error == ERROR_PIPE_NOT_CONNECTED;
}

/// Waits until something can be read without waiting. At the end of a pipe, too.
eOsError WaitForBytes(HANDLE input, const StreamGoOn& goOn)
{
    const DWORD type = GetFileType(input);
    for (;;) {
        DWORD available = 0;
        bool isReady = type == FILE_TYPE_DISK;
        if (type == FILE_TYPE_PIPE)
            isReady = !PeekNamedPipe(input, nullptr, 0, nullptr, &available, nullptr) || available != 0;
        else if (!isReady) // a console, until a key is pressed; its line is waited for in the read, which Ctrl-C ends
            isReady = WaitForSingleObject(input, 0) != WAIT_TIMEOUT;
        if (isReady)
            return eOsError_None;
        if (!MayGoOn(goOn))
            return eOsError_SharingViolation;
        Clock().SleepFor(kStreamNap);
    }
}

class CHandleSink final : public IByteSink {
public:
    /// owned: none for a handle that stays open.
    CHandleSink(HANDLE handle, CHandle owned) : m_handle(handle), m_owned(std::move(owned)) {}

    eOsError Write(std::span<const std::byte> bytes, const StreamGoOn& goOn) override
    {
        if (m_handle == nullptr || m_handle == INVALID_HANDLE_VALUE)
            return eOsError_BrokenPipe;
        while (!bytes.empty()) {
            if (!MayGoOn(goOn))
                return eOsError_SharingViolation;
            DWORD written = 0;
            const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kStreamChunk));
            if (!WriteFile(m_handle, bytes.data(), wanted, &written, nullptr))
                return LastOsError();
            if (written == 0)
                return eOsError_IoError;
            bytes = bytes.subspan(written);
        }
        return eOsError_None;
    }

    eOsError Finish() override
    {
        return GetFileType(m_handle) != FILE_TYPE_DISK || FlushFileBuffers(m_handle) ? eOsError_None : LastOsError();
    }

private:
    const HANDLE m_handle;
    const CHandle m_owned;
};

/// A console takes characters, and a piece may end in one, so it gets whole lines as far as there are lines.
class CConsoleSink final : public IByteSink {
public:
    eOsError Write(std::span<const std::byte> bytes, const StreamGoOn& goOn) override
    {
        if (!MayGoOn(goOn))
            return eOsError_SharingViolation;
        m_rest.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        const std::size_t lineEnd = m_rest.rfind('\n');
        return Print(lineEnd == std::string::npos ? 0 : lineEnd + 1);
    }
    eOsError Finish() override { return Print(m_rest.size()); }

private:
    eOsError Print(std::size_t length)
    {
        const bool isPrinted = length == 0 || WriteConsoleText(eStream_Output, FromUtf8(m_rest.substr(0, length)));
        m_rest.erase(0, length);
        return isPrinted ? eOsError_None : eOsError_BrokenPipe;
    }

    std::string m_rest;
};

} // namespace
} // namespace win32

void HoldClosedStreams()
{
    // A standard stream is a handle of its own here; nothing else gets its place.
}

eOsError ReadInput(std::span<std::byte> buffer, std::size_t& read, const StreamGoOn& goOn)
{
    read = 0;
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    if (input == nullptr || input == INVALID_HANDLE_VALUE)
        return eOsError_BrokenPipe;
    if (!win32::MayGoOn(goOn))
        return eOsError_SharingViolation;
    if (const eOsError error = win32::WaitForBytes(input, goOn); !Succeeded(error))
        return error;
    DWORD got = 0;
    constexpr std::size_t longest = std::size_t{1} << 30;
    if (!ReadFile(input, buffer.data(), static_cast<DWORD>(std::min(buffer.size(), longest)), &got, nullptr) &&
        !win32::IsEndOfPipe(GetLastError()))
        return win32::LastOsError();
    read = got;
    return eOsError_None;
}

eSinkKind SinkKind(const std::wstring& path)
{
    // The system tells a device, such as NUL in any directory, by the path that it makes of its name.
    std::array<wchar_t, MAX_PATH> full{};
    const DWORD length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    const bool isDevice = length != 0 && length < full.size() && std::wstring_view(full.data()).starts_with(L"\\\\.\\");
    return isDevice ? eSinkKind_Device : eSinkKind_None;
}

std::unique_ptr<IByteSink> OutputSink()
{
    if (IsTerminal(eStream_Output))
        return std::make_unique<win32::CConsoleSink>();
    return std::make_unique<win32::CHandleSink>(GetStdHandle(STD_OUTPUT_HANDLE), win32::CHandle());
}

eOsError OpenSink(const std::wstring& path, const StreamGoOn& goOn, std::unique_ptr<IByteSink>& sink)
{
    for (;;) {
        win32::CHandle opened(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, 0, nullptr));
        if (opened) {
            const HANDLE handle = opened.Get();
            sink = std::make_unique<win32::CHandleSink>(handle, std::move(opened));
            return eOsError_None;
        }
        const DWORD error = GetLastError();
        if (error != ERROR_PIPE_BUSY)
            return win32::ToOsError(error);
        if (!win32::MayGoOn(goOn))
            return eOsError_SharingViolation;
        Clock().SleepFor(win32::kStreamNap);
    }
}

} // namespace platform
