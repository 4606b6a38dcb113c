#include "platform/FileSystem.h"
#include "platform/Os.h"

#include <algorithm>

namespace platform {
namespace {

// A pointer, not the list itself: MinGW frees the memory of a thread's variables before it calls their destructors.
thread_local CDeferredDirectorySync* outermost = nullptr;

} // namespace

CDeferredDirectorySync::CDeferredDirectorySync()
{
    if (outermost == nullptr) {
        outermost = this;
    }
}

CDeferredDirectorySync::~CDeferredDirectorySync()
{
    if (outermost != this) {
        return;
    }
    outermost = nullptr;
    for (const std::wstring& directory : m_directories) {
        // Nobody is left to tell: the moves themselves are done, and what a failed sync risks is that they are undone
        // by a power failure, after which the files are where they were before.
        static_cast<void>(Files().SyncDirectory(directory));
    }
}

bool CDeferredDirectorySync::IsActive()
{
    return outermost != nullptr;
}

void CDeferredDirectorySync::Add(std::wstring_view directory)
{
    // A scan has one or two target directories: a search from the end is all the index it takes.
    auto& directories = outermost->m_directories;
    if (std::find(directories.rbegin(), directories.rend(), directory) == directories.rend()) {
        directories.emplace_back(directory);
    }
}

} // namespace platform
