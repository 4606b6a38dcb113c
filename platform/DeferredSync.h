#pragma once

#include "platform/FileSystem.h"

#include <memory>
#include <string>
#include <vector>

namespace platform {

/// Puts the syncing of target directories off: while an object of this class lives on a thread, moves of that thread
/// with WriteThrough neither sync the file nor its new directory; the outermost object syncs each such directory once.
/// For a scan that takes over many files whose data was synced by whoever handed them over. A directory is opened
/// before the first move into it, which fails, with nothing moved, when it can't be. One that may not be read is left
/// to the moves.
class ZEL_FRAMEWORK_API CDeferredDirectorySync {
public:
    CDeferredDirectorySync();
    /// Syncs what is left, untold: for who leaves early.
    ~CDeferredDirectorySync();
    CDeferredDirectorySync(const CDeferredDirectorySync&) = delete;
    CDeferredDirectorySync& operator=(const CDeferredDirectorySync&) = delete;

    /// Syncs now what was put off; for an object within another one that is nothing. The first failure: what was moved
    /// into that directory is there, but a power cut may undo it.
    [[nodiscard]] eOsError Sync();

    /// For the file systems' Move: true while such an object lives on this thread.
    [[nodiscard]] static bool IsActive();
    /// Opens a directory for the sync of the outermost object of this thread, once per directory.
    [[nodiscard]] static eOsError Add(const std::wstring& directory);

private:
    struct SDirectory {
        std::wstring path;
        std::unique_ptr<IDirectorySync> sync;
    };
    eOsError SyncAll();

    std::vector<SDirectory> m_directories; ///< of the outermost one
};

} // namespace platform
