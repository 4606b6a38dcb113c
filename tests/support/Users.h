#pragma once

#include "platform/Path.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <sys/xattr.h>
#include <unistd.h>

/// Several accounts in one test, on systems that have users by number. None of them needs to exist.
namespace testsupport {

constexpr unsigned kServerUser = 64101;
constexpr unsigned kClientUser = 64102;
constexpr unsigned kOtherUser = 64103;

/// Why a test can't run here: whoever is not the superuser is himself alone.
[[nodiscard]] inline bool CanChangeUser()
{
    return geteuid() == 0;
}

/// This process is another user while an object of this class lives; 0 is the superuser. Objects nest.
class CAsUser {
public:
    explicit CAsUser(unsigned user) : m_before(geteuid()) { Become(user); }
    ~CAsUser() { Become(m_before); }
    CAsUser(const CAsUser&) = delete;
    CAsUser& operator=(const CAsUser&) = delete;

private:
    /// The superuser comes first: nobody else may become another user. Groups are those of nobody.
    static void Become(unsigned user)
    {
        if (seteuid(0) != 0 || setegid(user) != 0 || seteuid(user) != 0)
            std::abort();
    }
    const unsigned m_before;
};

/// An access list that a directory hands down: its owner, and this user, may read and write.
[[nodiscard]] inline std::array<std::uint32_t, 11> DefaultAccessList(std::uint32_t user)
{
    constexpr std::uint32_t none = ~0U;
    constexpr auto entry = [](std::uint32_t tag, std::uint32_t rights) { return tag | rights << 16; };
    return {2, entry(1, 7), none, entry(2, 7), user, entry(4, 0), none, entry(16, 7), none, entry(32, 7), none};
}

[[nodiscard]] inline bool SetDefaultAccessList(const std::wstring& directory, const std::array<std::uint32_t, 11>& list)
{
    return setxattr(platform::NarrowPath(directory).c_str(), "system.posix_acl_default", list.data(), sizeof list, 0) ==
           0;
}

} // namespace testsupport
