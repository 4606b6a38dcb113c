#include "platform/posix/DirectorySync.h"

#include "platform/posix/SystemError.h"

#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace platform::posix {
namespace {

class CDirectorySync final : public IDirectorySync {
public:
    explicit CDirectorySync(CDescriptor directory) : m_directory(std::move(directory)) {}
    eOsError Sync() override { return SyncDirectoryOf(m_directory); }

private:
    const CDescriptor m_directory;
};

} // namespace

eOsError SyncDirectoryOf(const CDescriptor& directory)
{
    // EINVAL: a file system whose directories need no sync, or have none.
    return fsync(directory.Get()) == 0 || errno == EINVAL ? eOsError_None : LastOsError();
}

eOsError OpenDirectoryForSync(const CNativePath& directory, std::unique_ptr<IDirectorySync>& sync)
{
    CDescriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) {
        return DirectoryError(errno, directory.c_str());
    }
    sync = std::make_unique<CDirectorySync>(std::move(opened));
    return eOsError_None;
}

} // namespace platform::posix
