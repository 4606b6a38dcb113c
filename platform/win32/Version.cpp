#include "platform/Version.h"

#include "platform/win32/SystemError.h"

namespace platform {

std::wstring SystemVersion()
{
    // The documented way tells programs without a manifest that they run on Windows 8.
    using GetVersionFunction = LONG(NTAPI*)(OSVERSIONINFOW*);
    const auto getVersion = win32::OptionalFunction<GetVersionFunction>(L"ntdll.dll", "RtlGetVersion");
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    if (getVersion == nullptr || getVersion(&version) != 0) {
        return L"Windows";
    }
    return L"Windows " + std::to_wstring(version.dwMajorVersion) + L"." + std::to_wstring(version.dwMinorVersion) +
           L"." + std::to_wstring(version.dwBuildNumber);
}

} // namespace platform
