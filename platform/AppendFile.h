#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace platform {

/// A file that grows at its end while others read it, such as a log. Destroying it closes it.
class IAppendFile {
public:
    virtual ~IAppendFile() = default;
    IAppendFile(const IAppendFile&) = delete;
    IAppendFile& operator=(const IAppendFile&) = delete;

    /// Hands all bytes to the system, or fails.
    virtual eOsError Write(std::string_view bytes) = 0;
    /// As far as the system tells; 0 for what has no length.
    [[nodiscard]] virtual std::uint64_t Length() const = 0;

protected:
    IAppendFile() = default;
};

/// Opens a file, or makes it; never waits. A symbolic link at the path's end is followed, for the path is the
/// operator's (so is /dev/stderr), and so may be a named pipe; one that nobody reads from is BrokenPipe.
///
/// Only in a folder that others may write into anybody could have put it there: then a link is LinkInTheWay, a file of
/// another user (root aside) ForeignOwner, and AccessDenied what is no file or has a second name. On Windows links are
/// followed even there, for it takes a privilege to make them, and no owner is asked for.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError OpenForAppending(const std::wstring& path, std::unique_ptr<IAppendFile>& file);

} // namespace platform
