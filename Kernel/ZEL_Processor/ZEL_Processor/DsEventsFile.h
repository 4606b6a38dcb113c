#pragma once

#include "ZELAutomation/ZELAutomationEnvFile.h"

#include <atomic>
#include <cstddef>

/// What the server needs of events files beside ZELAutomationEnvFile.
namespace DsEventsFile {

/// A longer file the server does not write: a client that does not read would make it grow until nobody can read it any
/// more. Room for the ids of four million items.
constexpr std::size_t kMaxBytes = std::size_t{16} << 20;

/// Whether a file of these events has at most kMaxBytes. Throws what writing them does.
[[nodiscard]] bool Fits(const CDsEventsDataVector& events);

// WriteDsEventsFile and ReadDsEventsFile for whoever may be stopped: waiting for a file that the other side has open
// also ends, with false, when pGoOn turns false.

[[nodiscard]] bool Write(const CString& path, const CDsEventsDataVector& events, const std::atomic<bool>* pGoOn);
[[nodiscard]] bool Read(const CString& path, CDsEventsDataVector& events, const std::atomic<bool>* pGoOn);

} // namespace DsEventsFile
