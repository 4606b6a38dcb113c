#pragma once

#include "ZELAutomation/ZELAutomationEnvFile.h"

#include <atomic>

/// WriteDsEventsFile and ReadDsEventsFile for whoever may be stopped: waiting for a file that the other side has open
/// also ends, with false, when pGoOn turns false.
namespace DsEventsFile {

[[nodiscard]] bool Write(const CString& path, const CDsEventsDataVector& events, const std::atomic<bool>* pGoOn);
[[nodiscard]] bool Read(const CString& path, CDsEventsDataVector& events, const std::atomic<bool>* pGoOn);

} // namespace DsEventsFile
