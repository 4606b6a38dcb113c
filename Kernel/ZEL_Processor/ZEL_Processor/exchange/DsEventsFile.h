#pragma once

#include "ZELAutomation/ZELAutomationEnvFile.h"

#include <atomic>
#include <cstdint>

/// What the server needs of events files beside ZELAutomationEnvFile.
namespace DsEventsFile {

/// Whether a file of these events has at most so many bytes, which must be fewer than an archive holds. Throws what
/// writing them does.
[[nodiscard]] bool Fits(const CDsEventsDataVector& events, std::uint64_t maxBytes);

// WriteDsEventsFile and ReadDsEventsFile for whoever may be stopped: waiting for a file that the other side has open
// also ends, with false, when pGoOn turns false.

[[nodiscard]] bool Write(const CString& path, const CDsEventsDataVector& events, const std::atomic<bool>* pGoOn);

enum eRead {
    eRead_Done,
    eRead_NotOpened, ///< somebody holds it, say: what is in it is not known
    eRead_Damaged,
};
[[nodiscard]] eRead Read(const CString& path, CDsEventsDataVector& events, const std::atomic<bool>* pGoOn);

} // namespace DsEventsFile
