#pragma once

#include <ZEL_Processor/ZelTypes.h>

#include <cstdint>
#include <string_view>

struct sqlite3;

/// The memory that SQLite may have in this process.
inline constexpr std::int64_t kMaxSqliteMemory = std::int64_t{256} * 1024 * 1024;

/// The longest value and the longest row. SQLite's own limit of a gigabyte would let one small request take all memory;
/// and it is what one call of a function that can't be stopped (of JSON above all) works through.
inline constexpr int kMaxValueBytes = 4 * 1024 * 1024;

/// The longest statement of a request.
inline constexpr int kMaxSqlBytes = 256 * 1024;

/// What makes a statement tell its steps instead of doing them.
inline constexpr std::string_view kExplain = "EXPLAIN ";

/// The work of a statement that may have values and rows of kMaxValueBytes: a row of 500 columns takes 508. At that
/// length a call of a function of JSON takes 45 ms, so 600 are some seconds.
inline constexpr std::int64_t kFullLengthWork = 600;

/// Bounds the memory of SQLite in this process: on Windows this module's own, elsewhere that of everybody who uses the
/// system's SQLite. A lower bound that somebody else has set stays. Costs nothing when it was done before.
void LimitSqliteMemory();

/// Puts the limits on a connection that is for requests.
void LimitStatements(sqlite3* database);

/// How much of a value one step may go through: 1 for copying, comparing or converting it once, more for a call. The
/// name of the step and its third operand are those that EXPLAIN shows.
[[nodiscard]] std::int64_t WorkOfStep(std::string_view step, std::int64_t third);

/// Between two jumps of a statement SQLite does not ask whether it is to stop. So the more it may do there, the shorter
/// values and rows it gets: its work times their length is limited. For the statement that runs next.
void LimitValues(sqlite3* database, std::int64_t work);

/// Why the last call failed: in SQLite's words, but for the limits of this module.
[[nodiscard]] CString SqliteErrorText(sqlite3* database);
