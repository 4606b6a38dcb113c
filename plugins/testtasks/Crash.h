#pragma once

#include <ZEL_Processor/ZelTypes.h>

/// The ways in which a task can bring its thread down.
[[nodiscard]] bool IsCrashKind(const CString& kind);

/// The line of Crash.cpp that the crash happens in, for those kinds that happen in one; else 0.
[[nodiscard]] int CrashLine(const CString& kind);

/// Crashes; returns for a kind that is unknown only, and for damage to the heap (Heap...) that the heap bears. Not
/// noexcept: two of the kinds are exceptions.
void Crash(const CString& kind);
