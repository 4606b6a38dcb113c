#include "platform/ReliableWatch.h"

#include "platform/win32/SystemPath.h"
#include "platform/win32/WindowsHeader.h"

#include <cwchar>

namespace platform {

namespace {

/// Empty when the system does not tell.
std::wstring VolumeOf(const std::wstring& directory)
{
    std::wstring volume(directory.size() + MAX_PATH, L'\0');
    if (!GetVolumePathNameW(win32::ToSystemPath(directory).c_str(), volume.data(), static_cast<DWORD>(volume.size()))) {
        return {};
    }
    volume.resize(std::wcslen(volume.c_str()));
    return volume;
}

} // namespace

bool IsChangedFromOutside(const std::wstring& directory)
{
    const std::wstring volume = VolumeOf(directory);
    return !volume.empty() && GetDriveTypeW(volume.c_str()) == DRIVE_REMOTE;
}

std::wstring FileSystemName(const std::wstring& directory)
{
    wchar_t name[MAX_PATH + 1] = {};
    const std::wstring volume = VolumeOf(directory);
    const bool isTold =
        !volume.empty() && GetVolumeInformationW(volume.c_str(), nullptr, 0, nullptr, nullptr, nullptr, name, MAX_PATH);
    return isTold ? name : L"";
}

} // namespace platform
