#pragma once

#include <ZEL_Processor/ZelTypes.h>

/// The ways in which a task can bring its thread down.
[[nodiscard]] bool IsCrashKind(const CString& kind);

/// Crashes; returns for a kind that is unknown only. Not noexcept: two of the kinds are exceptions.
void Crash(const CString& kind);
