#include "platform/HostName.h"

#include "platform/Text.h"

#include <array>

#include <unistd.h>

namespace platform {

std::wstring HostName()
{
    std::array<char, 256> name{}; // one more than the longest: a cut one need not end
    return gethostname(name.data(), name.size() - 1) == 0 ? FromUtf8(name.data()) : std::wstring();
}

} // namespace platform
