#include "platform/DeferredSync.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace platform {
namespace {

struct SDeferral {
    unsigned depth = 0;
    std::vector<std::wstring> directories;
};

SDeferral& ThisThread()
{
    thread_local SDeferral deferral;
    return deferral;
}

} // namespace

bool IsDirectorySyncDeferred()
{
    return ThisThread().depth > 0;
}

void DeferDirectorySync(std::wstring_view directory)
{
    // A scan has one or two target directories: a search from the end is all the index it takes.
    auto& directories = ThisThread().directories;
    if (std::find(directories.rbegin(), directories.rend(), directory) == directories.rend()) {
        directories.emplace_back(directory);
    }
}

CDeferredDirectorySync::CDeferredDirectorySync()
{
    ++ThisThread().depth;
}

CDeferredDirectorySync::~CDeferredDirectorySync()
{
    SDeferral& deferral = ThisThread();
    if (--deferral.depth > 0) {
        return;
    }
    const auto directories = std::exchange(deferral.directories, {});
    for (const std::wstring& directory : directories) {
        // Nobody is left to tell: the moves themselves are done, and what a failed sync risks is that they are undone
        // by a power failure, after which the files are where they were before.
        static_cast<void>(Files().SyncDirectory(directory));
    }
}

} // namespace platform
