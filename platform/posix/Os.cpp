#include "platform/Os.h"

#include <cerrno>
#include <stdexcept>
#include <sys/random.h>
#include <unistd.h>

namespace platform {

std::array<std::uint8_t, 16> NewUniqueId()
{
    std::array<std::uint8_t, 16> id{};
    // Requests this short are never cut short by a signal once the generator is seeded; before, they can be.
    ssize_t filled = getrandom(id.data(), id.size(), 0);
    while (filled < 0 && errno == EINTR) {
        filled = getrandom(id.data(), id.size(), 0);
    }
    if (filled != static_cast<ssize_t>(id.size())) {
        throw std::runtime_error("The system has no random numbers to give");
    }
    // The third field of a GUID is a little-endian 16-bit number: its high half, with the version, is byte 7.
    id[7] = static_cast<std::uint8_t>((id[7] & 0x0F) | 0x40);
    id[8] = static_cast<std::uint8_t>((id[8] & 0x3F) | 0x80);
    return id;
}

std::uint32_t CurrentProcessId()
{
    return static_cast<std::uint32_t>(getpid());
}

std::uint32_t CurrentThreadId()
{
    thread_local const auto id = static_cast<std::uint32_t>(gettid());
    return id;
}

} // namespace platform
