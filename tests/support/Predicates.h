#pragma once

/// Why a test can't run here. A skipped test names one of these and says what is missing.
namespace testsupport {

/// Windows as Wine plays it.
[[nodiscard]] bool IsWine();
/// The system writes whole sectors of a lock file alone, and so may refuse the short text about its holder.
[[nodiscard]] bool IsNoteOfALockLost();
/// Built with the thread sanitizer, which keeps a stack of its own beside the real one.
[[nodiscard]] bool IsThreadSanitized();
/// Built with the address sanitizer.
[[nodiscard]] bool IsAddressSanitized();

} // namespace testsupport
