#pragma once

#include <ZEL_Processor/ZelTypes.h>

#include <cstdint>

struct sqlite3;

/// The memory that SQLite may have in this process.
inline constexpr std::int64_t kMaxSqliteMemory = std::int64_t{256} * 1024 * 1024;

/// The longest value and the longest row. SQLite's own limit of a gigabyte would let one small request take all memory;
/// and it is what one call of a function that can't be stopped (of JSON above all) works through.
inline constexpr int kMaxValueBytes = 4 * 1024 * 1024;

/// Bounds the memory of SQLite in this process: on Windows this module's own, elsewhere that of everybody who uses the
/// system's SQLite. A lower bound that somebody else has set stays. Costs nothing when it was done before.
void LimitSqliteMemory();

/// Puts the limits on a connection that is for requests.
void LimitStatements(sqlite3* database);

/// Why the last call failed: in SQLite's words, but for the limits of this module.
[[nodiscard]] CString SqliteErrorText(sqlite3* database);
