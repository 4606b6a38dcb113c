#pragma once

#include "ProtocolFiles.h"

#include <chrono>
#include <map>

/// Files that somebody else keeps open or locked while the server needs them.
namespace HeldFile {

/// "'path' is kept open by process 12 (tail)", or "by another process" where the system does not tell or was asked a
/// moment ago: strangers decide how often this is asked.
[[nodiscard]] CString Describe(const CString& path);

/// Passes goOn on, and tells the log once, by name, when the wait for this file has lasted for half a minute. One
/// object for each wait.
[[nodiscard]] Protocol::GoOn WithWarning(const CString& path, Protocol::GoOn goOn);

/// The files that were passed over because somebody kept them open, from look to look; of so many, strangers decide.
/// One that is met for half a minute is told to the log, once. For one thread.
class CPassedOver {
public:
    void Meet(const CString& path);
    /// Forgets what was not met since the last call.
    void EndLook();

private:
    struct SFile {
        std::chrono::nanoseconds since{};
        bool isTold = false;
        bool isMet = false;
    };
    std::map<CString, SFile> m_files;
};

} // namespace HeldFile
