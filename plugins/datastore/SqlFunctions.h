#pragma once

struct sqlite3;
class CDatabase;

/// Puts functions in the place of those of SQLite's that take hours for one call on long values (instr, replace, trim,
/// ltrim, rtrim), in which no cancellation is asked for. They give the same results; a call that is long asks the
/// database whether it is to stop. False for a failure of the connection, which then has some of them.
[[nodiscard]] bool AddSqlFunctions(sqlite3* connection, CDatabase& database);
