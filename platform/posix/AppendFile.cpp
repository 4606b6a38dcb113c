#include "platform/AppendFile.h"

#include "platform/Text.h"
#include "platform/Trust.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/NativePath.h"
#include "platform/posix/SystemError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

class CAppendFile final : public IAppendFile {
public:
    explicit CAppendFile(posix::CDescriptor descriptor) : m_descriptor(std::move(descriptor)) {}

    eOsError Write(std::string_view bytes) override
    {
        while (!bytes.empty()) {
            const ssize_t put =
                posix::Uninterrupted([&] { return write(m_descriptor.Get(), bytes.data(), bytes.size()); });
            if (put <= 0)
                return put < 0 ? posix::LastOsError() : eOsError_IoError;
            bytes.remove_prefix(static_cast<std::size_t>(put));
        }
        return eOsError_None;
    }

    [[nodiscard]] std::uint64_t Length() const override
    {
        struct stat status = {};
        return fstat(m_descriptor.Get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
    }

private:
    const posix::CDescriptor m_descriptor;
};

/// What stands for a file in a folder that others may write into must be one, of this user's own, and not a second name
/// of another one of his.
eOsError CheckOwnFile(int descriptor)
{
    struct stat status = {};
    if (fstat(descriptor, &status) != 0)
        return posix::LastOsError();
    if (status.st_uid != geteuid() && status.st_uid != 0)
        return eOsError_ForeignOwner;
    return S_ISREG(status.st_mode) && status.st_nlink == 1 ? eOsError_None : eOsError_AccessDenied;
}

} // namespace

eOsError OpenForAppending(const std::wstring& path, std::unique_ptr<IAppendFile>& file)
{
    const posix::CNativePath native(path);
    if (const eOsError error = native.Check(); !Succeeded(error))
        return error;
    // O_NONBLOCK for the opening alone: that of a named pipe must not wait for its reader.
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const bool isTrusted = DistrustOf(FromUtf8(native.Parent())).empty();
    const int follow = isTrusted ? 0 : O_NOFOLLOW;
    posix::CDescriptor descriptor(posix::Uninterrupted([&] { return open(native.c_str(), flags | follow, 0666); }));
    if (!descriptor)
        return errno == ENXIO ? eOsError_BrokenPipe : posix::PathError(errno, native.c_str());
    if (const eOsError error = isTrusted ? eOsError_None : CheckOwnFile(descriptor.Get()); !Succeeded(error))
        return error;
    if (fcntl(descriptor.Get(), F_SETFL, O_APPEND) != 0)
        return posix::LastOsError();
    file = std::make_unique<CAppendFile>(std::move(descriptor));
    return eOsError_None;
}

} // namespace platform
