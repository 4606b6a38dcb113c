#include "tests/platform/posix/LockCalls.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utility>

namespace {

std::function<void()> g_beforeSharing;
std::atomic<long> g_type = 0;

/// NFS makes a lock of a range of it, which takes a descriptor for what the lock is to protect from.
bool IsRefusedByNfs(int descriptor, int operation)
{
    const auto access = syscall(SYS_fcntl, descriptor, F_GETFL) & O_ACCMODE;
    return g_type == NFS_SUPER_MAGIC &&
           (((operation & LOCK_EX) != 0 && access == O_RDONLY) || ((operation & LOCK_SH) != 0 && access == O_WRONLY));
}

int Refuse(int error)
{
    errno = error;
    return -1;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int flock(int descriptor, int operation) noexcept
{
    if ((operation & LOCK_SH) != 0) {
        if (const auto hook = std::exchange(g_beforeSharing, nullptr))
            hook();
    }
    if (IsRefusedByNfs(descriptor, operation))
        return Refuse(EBADF);
    return static_cast<int>(syscall(SYS_flock, descriptor, operation));
}

extern "C" __attribute__((visibility("default"))) int fcntl(int descriptor, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    if (g_type != 0 && command == F_SETLEASE && static_cast<int>(argument) != F_UNLCK)
        return Refuse(EAGAIN);
    return static_cast<int>(syscall(SYS_fcntl, descriptor, command, argument));
}

extern "C" __attribute__((visibility("default"))) int fstatfs(int descriptor, struct statfs* status) noexcept
{
    const auto result = static_cast<int>(syscall(SYS_fstatfs, descriptor, status));
    if (result == 0 && g_type != 0)
        status->f_type = g_type;
    return result;
}

namespace testsupport {

void BeforeSharing(std::function<void()> hook)
{
    g_beforeSharing = std::move(hook);
}

CFarFiles::CFarFiles(long type)
{
    g_type = type;
}

CFarFiles::~CFarFiles()
{
    g_type = 0;
}

} // namespace testsupport
