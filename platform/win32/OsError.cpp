#include "platform/OsError.h"

#include "platform/win32/SystemError.h"

namespace platform {

namespace win32 {

namespace {

constexpr LONG kStatusDeletePending = static_cast<LONG>(0xC0000056);

/// A file that is deleted but still open somewhere answers "access denied" to everybody. The status below the error
/// number tells that from a real refusal.
bool IsDeletePending()
{
    using LastStatusFunction = LONG(NTAPI*)();
    static const auto lastStatus = OptionalFunction<LastStatusFunction>(L"ntdll.dll", "RtlGetLastNtStatus");
    return lastStatus != nullptr && lastStatus() == kStatusDeletePending;
}

} // namespace

eOsError LastOsError()
{
    const DWORD error = GetLastError();
    if (error == ERROR_ACCESS_DENIED && IsDeletePending()) {
        return eOsError_SharingViolation; // it is in use, and gone as soon as its user closes it
    }
    return ToOsError(error);
}

eOsError ToOsError(DWORD error)
{
    switch (error) {
    case ERROR_SUCCESS: return eOsError_IoError; // asked only after a failure: one without a number is still one
    case ERROR_OUTOFMEMORY: return eOsError_OutOfMemory;
    case ERROR_HANDLE_DISK_FULL: return eOsError_DiskFull;
    case ERROR_BAD_PATHNAME: return eOsError_PathNotFound;
    case ERROR_NO_DATA:
    case ERROR_PIPE_NOT_CONNECTED: return eOsError_BrokenPipe;
    default: return static_cast<eOsError>(error);
    }
}

DWORD ToWaitTime(std::chrono::milliseconds duration)
{
    constexpr std::chrono::milliseconds::rep longest = INFINITE - 1;
    const auto count = duration.count();
    return static_cast<DWORD>(count < 0 ? 0 : count > longest ? longest : count);
}

} // namespace win32

std::wstring OsErrorText(eOsError error)
{
    switch (error) {
    case eOsError_NotDurable: return kNotDurableText;
    case eOsError_ForeignOwner: return kForeignOwnerText; // the system's words are about the one who gives it away
    default: break;
    }
    wchar_t* buffer = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, static_cast<DWORD>(error), 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring text;
    if (length != 0 && buffer != nullptr) {
        text.assign(buffer, length);
    }
    LocalFree(buffer);

    while (!text.empty() && (text.back() == L'\r' || text.back() == L'\n' || text.back() == L' ')) {
        text.pop_back();
    }
    return text.empty() ? L"Error " + std::to_wstring(static_cast<unsigned>(error)) : text;
}

} // namespace platform
