#pragma once

#include "framework/CrashReport.h"

#include <string>

/// Writes a report file and removes old ones. True with the path of the file, else false with the reason. Never throws
/// and never faults.
[[nodiscard]] bool WriteCrashReport(const SMOXCrashRecord& record, std::wstring& path, std::wstring& error);
