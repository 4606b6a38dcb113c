#include "platform/FolderRemoval.h"

#include "platform/posix/Descriptor.h"
#include "platform/posix/NativePath.h"
#include "platform/posix/SystemError.h"

#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

// By descriptors of the folders, not by paths: whoever may write beside a folder can put a link in its place at any
// moment, and would choose whose files are removed.

namespace platform {
namespace posix {
namespace {

constexpr int kNoLink = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// False when something is left. namesLeft: how many may still be removed.
bool EmptyFolder(CDescriptor folder, bool hasFolders, std::size_t& namesLeft)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(folder.Get()), &closedir);
    if (stream == nullptr) {
        return false;
    }
    const int opened = folder.Release(); // the stream closes it
    bool isEmpty = true;
    while (const dirent* const entry = readdir(stream.get())) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        if (namesLeft == 0) {
            return false;
        }
        --namesLeft;
        if (unlinkat(opened, entry->d_name, 0) == 0 || errno == ENOENT) {
            continue;
        }
        CDescriptor inner(hasFolders ? openat(opened, entry->d_name, kNoLink) : -1);
        isEmpty = inner && EmptyFolder(std::move(inner), false, namesLeft) &&
                  unlinkat(opened, entry->d_name, AT_REMOVEDIR) == 0 && isEmpty;
    }
    return isEmpty;
}

} // namespace
} // namespace posix

eOsError RemoveFolder(const std::wstring& path, std::size_t maxNames)
{
    const posix::CNativePath native(path);
    if (const auto error = native.Check(); error != eOsError_None) {
        return error;
    }
    posix::CDescriptor folder(open(native.c_str(), posix::kNoLink));
    if (!folder) {
        return posix::DirectoryError(errno, native.c_str());
    }
    if (!posix::EmptyFolder(std::move(folder), true, maxNames)) {
        return eOsError_DirectoryNotEmpty;
    }
    return rmdir(native.c_str()) == 0 ? eOsError_None : posix::PathError(errno, native.c_str());
}

} // namespace platform
