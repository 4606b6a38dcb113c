#pragma once

#include "HandOver.h"

#include <chrono>

/// Files that somebody else keeps open or locked while the server needs them.
namespace HeldFile {

/// "'path' is kept open by process 12 (tail)", or "by another process" where the system does not tell or was asked a
/// moment ago: strangers decide how often this is asked.
[[nodiscard]] CString Describe(const CString& path);

/// Passes goOn on, and tells the log once, by name, when the wait for this file has lasted for so long; 0: never. One
/// object for each wait.
[[nodiscard]] Protocol::GoOn WithWarning(const CString& path, Protocol::GoOn goOn,
                                         std::chrono::milliseconds after = std::chrono::seconds(30));

} // namespace HeldFile
