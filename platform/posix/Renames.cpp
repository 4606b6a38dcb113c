#include "platform/posix/Renames.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace platform::posix {
int RenameNoReplace(const char* from, const char* to)
{
    const int error = renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0 ? 0 : errno;
    if (error != ENOSYS && error != EINVAL) {
        return error;
    }
    // An old kernel, or a file system that does not know the flag. A link never replaces either. Between the two calls
    // the file has both names: who dies there leaves a second name of the same file behind, never a lost or half one.
    if (link(from, to) != 0) {
        return errno;
    }
    if (unlink(from) == 0) {
        return 0;
    }
    const int unlinkError = errno;
    unlink(to);
    return unlinkError;
}

} // namespace platform::posix
