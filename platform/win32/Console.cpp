#include "platform/Process.h"
#include "platform/Text.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/WindowsHeader.h"

#include <shellapi.h>
#include <stdio.h>

#include <algorithm>
#include <atomic>

namespace platform {

namespace {

constinit std::atomic<eOsError> g_outputError = eOsError_None;

HANDLE HandleOf(eStream stream)
{
    return GetStdHandle(stream == eStream_Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

bool IsConsole(HANDLE handle)
{
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != FALSE;
}

bool WriteToConsole(HANDLE handle, const std::wstring& text)
{
    constexpr std::size_t longest = 8192; // one call takes no more than fits into the system's buffer
    for (std::size_t at = 0; at < text.size();) {
        DWORD written = 0;
        const auto wanted = static_cast<DWORD>(std::min(text.size() - at, longest));
        if (!WriteConsoleW(handle, text.data() + at, wanted, &written, nullptr) || written == 0) {
            return false;
        }
        at += written;
    }
    return true;
}

bool WriteToFile(HANDLE handle, const std::string& bytes)
{
    constexpr std::size_t longest = std::size_t{1} << 30;
    for (std::size_t at = 0; at < bytes.size();) {
        DWORD written = 0;
        const auto wanted = static_cast<DWORD>(std::min(bytes.size() - at, longest));
        if (!WriteFile(handle, bytes.data() + at, wanted, &written, nullptr) || written == 0) {
            return false;
        }
        at += written;
    }
    return true;
}

} // namespace

bool WriteConsoleText(eStream stream, const std::wstring& text)
{
    // What the C library still holds was printed earlier and must appear earlier.
    fflush(stream == eStream_Output ? stdout : stderr);
    const HANDLE handle = HandleOf(stream);
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        return false;
    }
    const bool isWritten = IsConsole(handle) ? WriteToConsole(handle, text) : WriteToFile(handle, ToUtf8(text));
    const eOsError error = isWritten ? eOsError_None : win32::LastOsError();
    if (!isWritten && stream == eStream_Output && error != eOsError_BrokenPipe) {
        eOsError none = eOsError_None;
        g_outputError.compare_exchange_strong(none, error);
    }
    return isWritten;
}

eOsError OutputError()
{
    return g_outputError;
}

bool IsTerminal(eStream stream)
{
    return IsConsole(HandleOf(stream));
}

bool IsJournal(eStream)
{
    return false;
}

int TerminalWidth(eStream stream)
{
    constexpr int usual = 80;
    CONSOLE_SCREEN_BUFFER_INFO information{};
    if (!GetConsoleScreenBufferInfo(HandleOf(stream), &information)) {
        return usual;
    }
    const int width = information.srWindow.Right - information.srWindow.Left + 1;
    return width > 0 ? width : usual;
}

std::vector<std::wstring> ProgramArguments(int, char**)
{
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> result;
    for (int i = 1; arguments != nullptr && i < count; ++i) {
        result.emplace_back(arguments[i]);
    }
    LocalFree(arguments);
    return result;
}

} // namespace platform
