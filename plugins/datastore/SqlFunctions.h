#pragma once

struct sqlite3;
class CDatabase;

/// Puts functions in the place of those of SQLite's that take as long as the product of their arguments' lengths, in
/// which no cancellation is asked for (instr, replace, trim, ltrim, rtrim, like, glob). They give the same results;
/// what still can be long asks the database whether it is to stop. False for a failure of the connection, which then
/// has some of them.
[[nodiscard]] bool AddSqlFunctions(sqlite3* connection, CDatabase& database);
