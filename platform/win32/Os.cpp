#include "platform/Os.h"

#include "platform/win32/WindowsHeader.h"

#include <ntsecapi.h>
#include <stdexcept>

namespace platform {

std::array<std::uint8_t, 16> NewUniqueId()
{
    std::array<std::uint8_t, 16> id{};
    if (!RtlGenRandom(id.data(), static_cast<ULONG>(id.size()))) {
        throw std::runtime_error("The system has no random numbers to give");
    }
    // The third field of a GUID is a little-endian 16-bit number: its high half, with the version, is byte 7.
    id[7] = static_cast<std::uint8_t>((id[7] & 0x0F) | 0x40);
    id[8] = static_cast<std::uint8_t>((id[8] & 0x3F) | 0x80);
    return id;
}

std::uint32_t CurrentProcessId()
{
    return GetCurrentProcessId();
}

std::uint32_t CurrentThreadId()
{
    return GetCurrentThreadId();
}

} // namespace platform
