#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelTypes.h"

#include <atomic>
#include <memory>

namespace platform {
class ILockFile;
}

/// Mutual exclusion across processes: guards a file by holding a second one beside it, named like the guarded file with
/// ".lock" appended. The lock file vanishes when the holder unlocks or dies. It excludes threads as well as processes,
/// and is not re-entrant. One object must not be used by two threads at once; make one on the stack for each access.
class ZEL_API CLockFile {
public:
    /// Touches no file.
    explicit CLockFile(CString guardedPath);
    /// Both objects then refer to the same held lock; whichever unlocks first releases it.
    CLockFile(const CLockFile&);
    CLockFile& operator=(const CLockFile&);
    ~CLockFile();

    /// True when the lock is held on return. Without bWait one attempt, and no report of a failure. With bWait a busy
    /// lock is tried again, yielding, for 2 seconds ("Timeout expired"); another failure is not ("Unable to create lock
    /// file"). Throws CNotSupportedException when this object holds the lock already.
    bool Lock(bool bWait);
    /// The same, but the wait also ends, without a report, when goOn turns false.
    bool Lock(bool bWait, const std::atomic<bool>& goOn);
    /// Always true; harmless when nothing is held.
    bool Unlock();

private:
    enum eLockRetVal { eLockRet_Ok, eLockRet_Busy, eLockRet_Error };
    struct SHandle;

    [[nodiscard]] CString GetLockFileFullPath() const;
    [[nodiscard]] eLockRetVal CreateLockFile();
    [[nodiscard]] bool IsHeld() const;

    CString m_strPath;
    std::shared_ptr<SHandle> m_pHandle;
};
