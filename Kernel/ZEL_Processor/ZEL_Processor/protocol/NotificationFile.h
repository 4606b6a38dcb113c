#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/OsError.h"

/// What the three files of a client have in common: nothing in one means no news, and its reader empties it.
namespace NotificationFile {

/// False also for a file that is not there.
[[nodiscard]] bool HasContent(const CString& path);

/// For the holder of the file's lock, which the other side waits for: whoever has the file open is waited for at most a
/// second.
platform::eOsError Empty(const CString& path);

} // namespace NotificationFile
