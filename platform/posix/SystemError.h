#pragma once

#include "platform/OsError.h"

#include <cerrno>

namespace platform::posix {

/// The layer's number for an errno. ENOENT is FileNotFound here; see MissingAt for the question which part is missing.
[[nodiscard]] eOsError FromErrno(int error);

/// FromErrno of the last failed call.
[[nodiscard]] inline eOsError LastOsError()
{
    return FromErrno(errno);
}

/// What a failed call on this path means. ENOENT and ENOTDIR don't tell whether the file or a directory on the way is
/// missing, as Windows does; a look at the parent directory does. Costs a system call, on these failures only.
[[nodiscard]] eOsError PathError(int error, const char* path);

/// What a failed call on this path, which should be a directory, means: PathNotFound, or NotADirectory when it is a
/// file.
[[nodiscard]] eOsError DirectoryError(int error, const char* path);

/// Repeats a system call that a signal interrupted.
template <typename TCall>
auto Uninterrupted(TCall call)
{
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace platform::posix
