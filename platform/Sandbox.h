#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <optional>
#include <string>
#include <vector>

/// What a process for code of others is kept from for the rest of its life, with all that it starts.
namespace platform {

struct SSandbox {
    /// Existing directories in which it may make, change and remove ordinary files, and make directories; elsewhere it
    /// only reads and runs them. Beside these the devices that take anything, such as /dev/null.
    std::vector<std::wstring> writable;
    /// Sockets of other families than that of this machine's own files.
    bool mayUseNetwork = false;
    /// Existing directories in which it may also make symbolic links, pipes and sockets, and remove
    /// directories.
    std::vector<std::wstring> scratch = {};

    bool operator==(const SSandbox&) const = default;
};

/// What the running kernel can keep a process from. That it gets no more rights by the programs it starts, every one
/// can.
struct SSandboxSupport {
    /// The system's version of the rules for files, 0 without them. Below 2 no file may be moved to another directory,
    /// below 3 a file that may not be written can be truncated, below 6 other processes can be sent signals.
    int fileRules = 0;
    /// Calls of the system are refused.
    bool refusesCalls = false;
};

/// Empty on a system without sandboxes, which Windows is.
[[nodiscard]] ZEL_FRAMEWORK_API std::optional<SSandboxSupport> SandboxSupport();

/// From here on, for this thread and all that it starts: no program gives more rights, files are made, written, moved
/// and removed in the given directories alone (AccessDenied elsewhere; their modes, owners, times and attributes the
/// system has no rule for), and calls to trace processes, to limit others, to mount, to load modules, to enter
/// namespaces, to stop the machine and the like are refused (EPERM), as is a socket of the network. As much of that as
/// SandboxSupport tells; an error when that fails, after which some of it may hold. Before any other thread, for theirs
/// is not changed. NotSupported where SandboxSupport is empty.
[[nodiscard]] eOsError EnterSandbox(const SSandbox& sandbox);

/// The name of the first call that was refused to this process since the last time this was asked; empty for none. Not
/// those of programs that it has started: one that makes such a call ends with kSandboxKilled.
[[nodiscard]] ZEL_FRAMEWORK_API std::string TakeRefusedCall();

/// The exit code of a process, as CProcess tells it, which could not be told of a refusal: it has blocked the signal of
/// that, or it makes calls for another kind of processor.
inline constexpr int kSandboxKilled = 128 + 31;

} // namespace platform
