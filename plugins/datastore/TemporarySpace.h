#pragma once

#include <cstdint>

/// Bounds what SQLite writes to temporary files in this module: the rows of responses and what is sorted, grouped or
/// kept of a recursion. One bound for all of them together; what goes beyond fails with SQLITE_FULL. Any thread.
namespace temporaryspace {

/// A request has this much where nobody says otherwise.
inline constexpr std::int64_t kUsualBytes = std::int64_t{1024} * 1024 * 1024;

void SetLimit(std::int64_t bytes);
[[nodiscard]] std::int64_t Limit();
/// What the files have that are open.
[[nodiscard]] std::int64_t Used();
/// True when a write of this thread was refused since this thread set the limit.
[[nodiscard]] bool WasExceeded();

/// The name of SQLite's file system of this module, for sqlite3_open_v2; null, which is SQLite's own, when it can't be
/// made known.
[[nodiscard]] const char* FileSystem();

} // namespace temporaryspace
