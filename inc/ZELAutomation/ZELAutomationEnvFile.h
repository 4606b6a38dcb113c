#pragma once

#include "ZEL_Processor/Archive.h"
#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/ComPtr.h"
#include "framework/DsEventsData.h"

#include <vector>

/// The events file: what changed in the data storage, for one client. The server adds events, the client reads them and
/// empties the file. Both hold the file's lock (CLockFile) around every access; a moment in which the other side still
/// has the file open is waited out for 2 seconds. The form is in docs/archives.md. All functions need a thread whose
/// COM is initialised.

/// Events, oldest first.
using CDsEventsDataVector = std::vector<CComPtr<IWQ_DsEventsData>>;

/// Writes the events as the whole content of an existing file; never makes one. False when it does not exist, can't be
/// opened for 2 seconds, or an event can't be written. After a failure behind the opening the file is empty, not half
/// written. Reports nothing but what WriteDsList does.
ZEL_API bool WriteDsEventsFile(const CString& path, const CDsEventsDataVector& events);

class ZEL_API CZELEnvFileDsEventsFile {
public:
    /// Appends the events of a file. An empty file has none. False when the file does not exist, can't be opened for 2
    /// seconds, or is not whole; events read before a failure stay in the vector. Reports nothing.
    static bool ReadDsEventsFile(const CString& path, CDsEventsDataVector& events);
};

class ZEL_API CZELEnvFileDsList {
public:
    /// Writes one entry of a list: the key, the number of items and the items. Throws CComError when the archive or the
    /// items fail, and CNotSupportedException, after a report, when the items are not as many as they say.
    static void WriteDsList(_ar::archive& archive, const GUID& key, IWQ_DsItems& items);
};
