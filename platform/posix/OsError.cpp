#include "platform/OsError.h"

#include "platform/Text.h"
#include "platform/posix/SystemError.h"

#include <cstring>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace platform {
namespace {

// Bit 29 marks numbers that are nobody's but the program's own: an errno without a counterpart travels there.
constexpr std::uint32_t kErrnoFlag = 0x20000000U;

const wchar_t* NamedErrorText(eOsError error)
{
    switch (error) {
    case eOsError_None: return L"Success";
    case eOsError_FileNotFound: return L"No such file";
    case eOsError_PathNotFound: return L"No such directory";
    case eOsError_TooManyOpenFiles: return L"Too many open files";
    case eOsError_AccessDenied: return L"Access denied";
    case eOsError_OutOfMemory: return L"Out of memory";
    case eOsError_NotSameDevice: return L"The target is on another volume";
    case eOsError_SharingViolation: return L"The file is in use";
    case eOsError_NotSupported: return L"Not supported";
    case eOsError_FileExists: return L"The file exists";
    case eOsError_InvalidParameter: return L"Invalid parameter";
    case eOsError_BrokenPipe: return L"The other end of the pipe is gone";
    case eOsError_DiskFull: return L"No space left on the volume";
    case eOsError_NameTooLong: return L"The name is too long";
    case eOsError_DirectoryNotEmpty: return L"The directory is not empty";
    case eOsError_AlreadyExists: return L"The target exists already";
    case eOsError_FileTooLarge: return L"The file is larger than it may be";
    case eOsError_NotADirectory: return L"Not a directory";
    case eOsError_LinkInTheWay: return L"A symbolic link is in the way";
    case eOsError_IoError: return L"Input/output error";
    case eOsError_ForeignOwner: return kForeignOwnerText;
    case eOsError_TooManyWatches: return L"No more directories can be watched (see fs.inotify in sysctl)";
    case eOsError_NotDurable: return kNotDurableText;
    }
    return nullptr;
}

} // namespace

std::wstring OsErrorText(eOsError error)
{
    if (const wchar_t* const text = NamedErrorText(error); text != nullptr) {
        return text;
    }
    const auto number = static_cast<std::uint32_t>(error);
    if ((number & kErrnoFlag) != 0) {
        char buffer[256] = {};
        // The variant that returns a text, in the buffer or elsewhere.
        return FromUtf8(strerror_r(static_cast<int>(number & ~kErrnoFlag), buffer, sizeof buffer));
    }
    return L"Error " + std::to_wstring(number);
}

namespace posix {

eOsError FromErrno(int error)
{
    switch (error) {
    case 0: return eOsError_None;
    case ENOENT: return eOsError_FileNotFound;
    case ENOTDIR: return eOsError_NotADirectory;
    case EMFILE:
    case ENFILE: return eOsError_TooManyOpenFiles;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ENXIO: return eOsError_AccessDenied; // the last: a pipe without a reader, or a device without a driver
    case ELOOP: return eOsError_LinkInTheWay;
    case ENOMEM: return eOsError_OutOfMemory;
    case EXDEV: return eOsError_NotSameDevice;
    case EAGAIN:
    case EBUSY:
    case ETXTBSY: return eOsError_SharingViolation;
    case ENOSYS:
    case EOPNOTSUPP: return eOsError_NotSupported;
    case EEXIST: return eOsError_AlreadyExists;
    case EINVAL: return eOsError_InvalidParameter;
    case EPIPE: return eOsError_BrokenPipe;
    case ENOSPC:
    case EDQUOT: return eOsError_DiskFull;
    case EFBIG: return eOsError_FileTooLarge;
    case ENAMETOOLONG: return eOsError_NameTooLong;
    case ENOTEMPTY: return eOsError_DirectoryNotEmpty;
    case EIO: return eOsError_IoError;
    default: return static_cast<eOsError>(kErrnoFlag | static_cast<std::uint32_t>(error));
    }
}

eOsError PathError(int error, const char* path)
{
    if (error == ENOTDIR) {
        return eOsError_PathNotFound;
    }
    if (error != ENOENT) {
        return FromErrno(error);
    }
    std::string_view parent(path);
    while (parent.size() > 1 && parent.back() == '/') {
        parent.remove_suffix(1);
    }
    const std::size_t slash = parent.rfind('/');
    const std::string directory(slash == std::string_view::npos ? std::string_view(".") : parent.substr(0, slash + 1));
    struct stat status = {};
    return stat(directory.c_str(), &status) == 0 && S_ISDIR(status.st_mode) ? eOsError_FileNotFound
                                                                            : eOsError_PathNotFound;
}

eOsError DirectoryError(int error, const char* path)
{
    if (error != ENOENT && error != ENOTDIR) {
        return FromErrno(error);
    }
    struct stat status = {};
    return stat(path, &status) == 0 ? eOsError_NotADirectory : eOsError_PathNotFound;
}

} // namespace posix
} // namespace platform
