#include "platform/posix/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/file.h>

namespace platform::posix {

int LockForOne(CDescriptor& descriptor)
{
    if (flock(descriptor.Get(), LOCK_EX | LOCK_NB) == 0) {
        return 0;
    }
    if (errno != EBADF) {
        return -1;
    }
    // The file that is open, whatever its name means by now.
    const std::string same = "/proc/self/fd/" + std::to_string(descriptor.Get());
    CDescriptor writable(open(same.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!writable) {
        return flock(descriptor.Get(), LOCK_SH | LOCK_NB);
    }
    if (flock(writable.Get(), LOCK_EX | LOCK_NB) != 0) {
        return -1;
    }
    descriptor = std::move(writable);
    return 0;
}

} // namespace platform::posix
