#include "platform/DeferredSync.h"

#include "platform/Os.h"

#include <algorithm>
#include <utility>

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
    static_cast<void>(SyncAll());
}

eOsError CDeferredDirectorySync::Sync()
{
    return outermost == this ? SyncAll() : eOsError_None;
}

eOsError CDeferredDirectorySync::SyncAll()
{
    auto first = eOsError_None;
    for (const SDirectory& directory : m_directories) {
        const auto error = directory.sync->Sync();
        first = Succeeded(first) ? error : first;
    }
    m_directories.clear();
    return first;
}

bool CDeferredDirectorySync::IsActive()
{
    return outermost != nullptr;
}

eOsError CDeferredDirectorySync::Add(const std::wstring& directory)
{
    // A scan has one or two target directories: a search from the end is all the index it takes.
    auto& directories = outermost->m_directories;
    const auto isThis = [&directory](const SDirectory& known) { return known.path == directory; };
    if (std::any_of(directories.rbegin(), directories.rend(), isThis)) {
        return eOsError_None;
    }
    std::unique_ptr<IDirectorySync> sync;
    const auto error = Files().OpenForSync(directory, sync);
    if (Succeeded(error)) {
        directories.push_back({directory, std::move(sync)});
    }
    return error;
}

} // namespace platform
