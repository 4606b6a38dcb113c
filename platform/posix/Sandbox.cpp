#include "platform/Sandbox.h"

#include "platform/Text.h"
#include "platform/posix/CallFilter.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <linux/landlock.h>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace platform {
namespace {

// What came later than the headers that this is built with may have; the kernel's numbers never change.
constexpr std::uint64_t kRefer = 1ULL << 13U;    // 2: to move and link files to other directories
constexpr std::uint64_t kTruncate = 1ULL << 14U; // 3
constexpr std::uint64_t kDevice = 1ULL << 15U;   // 5: the controls of devices
constexpr std::uint64_t kScopeAbstractSockets = 1ULL << 0U;
constexpr std::uint64_t kScopeSignals = 1ULL << 1U;

constexpr int kWithRefer = 2;
constexpr int kWithTruncate = 3;
constexpr int kWithDevices = 5;
constexpr int kWithScopes = 6;

/// As the kernel's own structure has grown; a kernel is given as much as it knows.
struct SRules {
    std::uint64_t files = 0;
    std::uint64_t network = 0; // 4, which leaves out all but TCP: the filter of calls refuses all
    std::uint64_t scopes = 0;  // 6
};

/// All that changes something. What reads, and what runs a program, is nobody's rule and free.
std::uint64_t ChangesOfFiles(int version)
{
    std::uint64_t changes = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
                            LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_CHAR |
                            LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_SOCK |
                            LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM;
    changes |= version >= kWithRefer ? kRefer : 0;
    changes |= version >= kWithTruncate ? kTruncate : 0;
    return changes | (version >= kWithDevices ? kDevice : 0);
}

/// What a server's files never are. A link that leads elsewhere would be followed by others, who may write there.
constexpr std::uint64_t kSpecialFiles = LANDLOCK_ACCESS_FS_MAKE_SYM | LANDLOCK_ACCESS_FS_MAKE_CHAR |
                                        LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
                                        LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_REMOVE_DIR;

int VersionOfFileRules()
{
    const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    return static_cast<int>(std::max(version, 0L));
}

eOsError Allow(const posix::CDescriptor& rules, const std::string& path, std::uint64_t changes)
{
    const posix::CDescriptor place(open(path.c_str(), O_PATH | O_CLOEXEC));
    if (!place)
        return posix::LastOsError();
    landlock_path_beneath_attr beneath = {};
    beneath.allowed_access = changes;
    beneath.parent_fd = place.Get();
    return syscall(SYS_landlock_add_rule, rules.Get(), LANDLOCK_RULE_PATH_BENEATH, &beneath, 0) == 0
               ? eOsError_None
               : posix::LastOsError();
}

eOsError RuleFiles(const SSandbox& sandbox, int version)
{
    const std::uint64_t changes = ChangesOfFiles(version);
    SRules wanted;
    wanted.files = changes;
    std::size_t size = offsetof(SRules, network);
    if (version >= kWithScopes) {
        wanted.scopes = kScopeAbstractSockets | kScopeSignals;
        size = sizeof wanted;
    }
    const posix::CDescriptor rules(static_cast<int>(syscall(SYS_landlock_create_ruleset, &wanted, size, 0)));
    if (!rules)
        return posix::LastOsError();
    for (const auto& [directories, kept] :
         {std::pair{&sandbox.writable, kDevice | kSpecialFiles}, {&sandbox.scratch, kDevice}}) {
        for (const std::wstring& directory : *directories) {
            if (const eOsError error = Allow(rules, ToUtf8(directory), changes & ~kept); !Succeeded(error))
                return error;
        }
    }
    const std::uint64_t ofFile = changes & (LANDLOCK_ACCESS_FS_WRITE_FILE | kTruncate);
    for (const char* const device : {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom"}) {
        if (const eOsError error = Allow(rules, device, ofFile); !Succeeded(error) && error != eOsError_FileNotFound)
            return error;
    }
    return syscall(SYS_landlock_restrict_self, rules.Get(), 0) == 0 ? eOsError_None : posix::LastOsError();
}

} // namespace

std::optional<SSandboxSupport> SandboxSupport()
{
    return SSandboxSupport{VersionOfFileRules(), posix::CanRefuseCalls()};
}

eOsError EnterSandbox(const SSandbox& sandbox)
{
    const SSandboxSupport support = *SandboxSupport();
    eOsError error = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 ? eOsError_None : posix::LastOsError();
    if (Succeeded(error) && support.fileRules > 0)
        error = RuleFiles(sandbox, support.fileRules);
    if (Succeeded(error) && support.refusesCalls)
        error = posix::RefuseCalls(sandbox.mayUseNetwork);
    return error;
}

} // namespace platform
