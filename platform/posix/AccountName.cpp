#include "platform/AccountName.h"

#include "platform/Text.h"

#include <array>
#include <charconv>
#include <pwd.h>

namespace platform {

std::wstring AccountName(const FileOwner& owner)
{
    uid_t user = 0;
    const auto [last, error] = std::from_chars(owner.data(), owner.data() + owner.size(), user);
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    const bool isKnown = error == std::errc() && last == owner.data() + owner.size() &&
                         getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr;
    return FromUtf8(isKnown ? entry.pw_name : owner.c_str());
}

} // namespace platform
