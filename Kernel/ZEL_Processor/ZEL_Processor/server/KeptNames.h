#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/Mutex.h"

#include <cstddef>
#include <functional>
#include <map>

/// How many hold the kept file of a name, and whether the request that it is of has failed. A name is used again while
/// the file of the request before is kept still, and another thread may keep the new one in its place: the last of them
/// lets the file go, as that of the last request. Safe from any thread.
class CKeptNames {
public:
    /// Before the file is there. hasFailed: counts when nobody else holds the name.
    void Hold(const CString& name, bool hasFailed = false);
    /// By who holds it, when its file is there. Whether it counted as failed before.
    bool SetFailed(const CString& name, bool hasFailed);
    void Release(const CString& name);
    /// letGo: called when nobody else holds the name, and nobody does before it returns: who wants to, waits for that,
    /// so it must neither wait nor look for more than this file. Without a lock. hasFailed: counts for a name that
    /// nobody held, as of a file that an earlier server has kept.
    void Release(const CString& name, bool hasFailed, const std::function<void(bool hasFailed)>& letGo);

private:
    struct SName {
        std::size_t holders = 0; ///< 0 while its file goes
        bool hasFailed = false;
    };
    enum eRelease { eRelease_Goes, eRelease_Held, eRelease_GoesAlready };
    /// False while its file goes.
    bool TryHold(const CString& name, bool hasFailed);
    eRelease TryRelease(const CString& name, bool& hasFailed);
    void Forget(const CString& name);

    platform::CMutex m_cs;
    std::map<CString, SName> m_names ZEL_GUARDED_BY(m_cs);
};
