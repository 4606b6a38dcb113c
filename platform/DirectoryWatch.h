#pragma once

#include "platform/OsError.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace platform {

enum eWatchFilter : unsigned {
    eWatchFilter_FileName = 1,             ///< names created, removed, moved in or out, renamed
    eWatchFilter_FileNameAndLastWrite = 9, ///< and contents changed
    eWatchFilter_FileNameAndClosed = 17,   ///< and closed by who wrote it; on Windows, which can't tell, as FileName
    eWatchFilter_FileNameGone = 65,        ///< names removed or moved out; on Windows, which can't tell, as FileName
};

enum eWaitResult { eWaitResult_Changed, eWaitResult_Timeout, eWaitResult_Woken, eWaitResult_Failed };

/// Watches one directory, not what lies below it. A change is remembered from the moment the watch was made: nothing is
/// lost between two waits. Changes are hints, possibly merged and possibly caused by the watcher itself; the directory
/// is the truth.
class IDirectoryWatch {
public:
    virtual ~IDirectoryWatch() = default;
    IDirectoryWatch(const IDirectoryWatch&) = delete;
    IDirectoryWatch& operator=(const IDirectoryWatch&) = delete;

    /// Waits until something changed, Wake was called, or the time is over. An overflow of the system's queue is a
    /// change. After Changed, Rearm must be called before the next wait; a change stays signalled until then. A failure
    /// of the system's wait is Failed, at once: callers must not loop on it without a pause.
    virtual eWaitResult Wait(std::chrono::milliseconds timeout) = 0;
    /// Takes the signalled change and goes on watching. Fails when the directory is gone; call it again to try again,
    /// for a directory that came back is then watched anew. Until that, Wait is Failed, or Woken.
    virtual eOsError Rearm() = 0;
    /// As Rearm, and with the filter for closed files their names, and those of files that were moved in, are put into
    /// the list. Hints, too: on Windows there are none, in a flood at most kMostNames at a time, and a
    /// file that had no name when it was opened closes without one.
    virtual eOsError RearmNaming(std::vector<std::wstring>& names)
    {
        names.clear();
        return Rearm();
    }
    static constexpr std::size_t kMostNames = 1000;
    /// Ends the current or the next Wait with Woken, once. From any thread, and safe in a signal handler on POSIX.
    virtual void Wake() = 0;

protected:
    IDirectoryWatch() = default;
};

} // namespace platform
