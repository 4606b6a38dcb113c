#include "platform/DiskSpace.h"

#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"
#include "platform/win32/WindowsHeader.h"

namespace platform {

eOsError GetDiskSpace(const std::wstring& directory, SDiskSpace& space)
{
    ULARGE_INTEGER available{};
    ULARGE_INTEGER total{};
    if (GetDiskFreeSpaceExW(win32::ToSystemPath(directory).c_str(), &available, &total, nullptr) == 0) {
        return win32::LastOsError();
    }
    space.total = total.QuadPart;
    space.available = available.QuadPart;
    return eOsError_None;
}

} // namespace platform
