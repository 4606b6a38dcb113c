#include "platform/HostName.h"

#include "platform/win32/WindowsHeader.h"

#include <array>

namespace platform {

std::wstring HostName()
{
    std::array<wchar_t, 256> name{};
    auto length = static_cast<DWORD>(name.size());
    const BOOL told = GetComputerNameExW(ComputerNameDnsHostname, name.data(), &length);
    return told != 0 ? std::wstring(name.data(), length) : std::wstring();
}

} // namespace platform
