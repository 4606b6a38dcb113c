#pragma once

/// Why a test can't run here. A skipped test names one of these and says what is missing.
namespace testsupport {

/// Windows as Wine plays it.
[[nodiscard]] bool IsWine();
/// Built with the thread sanitizer, which keeps a stack of its own beside the real one.
[[nodiscard]] bool IsThreadSanitized();
/// Built with the address sanitizer.
[[nodiscard]] bool IsAddressSanitized();

} // namespace testsupport
