#include "plugins/datastore/SqliteLimits.h"

#include "platform/Text.h"
#include "plugins/datastore/TemporarySpace.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::int64_t kMebibyte = 1024 * 1024;

constexpr std::array<std::pair<int, int>, 11> kLimits = {{
    {SQLITE_LIMIT_LENGTH, kMaxValueBytes},
    {SQLITE_LIMIT_SQL_LENGTH, kMaxSqlBytes + static_cast<int>(kExplain.size())},
    {SQLITE_LIMIT_COLUMN, 500},
    {SQLITE_LIMIT_EXPR_DEPTH, 250},
    {SQLITE_LIMIT_COMPOUND_SELECT, 200},
    {SQLITE_LIMIT_VDBE_OP, 1'000'000},
    {SQLITE_LIMIT_FUNCTION_ARG, 64},
    {SQLITE_LIMIT_ATTACHED, 0},
    {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 1000}, // a comparison takes as long as value times pattern
    {SQLITE_LIMIT_VARIABLE_NUMBER, 10'000},
    {SQLITE_LIMIT_WORKER_THREADS, 0},
}};

/// The steps that call a function, or a table that is one: measured, up to ten times as long for a value as others.
constexpr std::array<std::string_view, 9> kCalls = {"AggFinal", "AggInverse", "AggStep", "AggStep1", "AggValue",
                                                    "Function", "PureFunc",   "VColumn", "VFilter"};
constexpr std::int64_t kWorkOfACall = 10;

CString Megabytes(std::int64_t bytes)
{
    return std::to_wstring(bytes / kMebibyte) + L" MiB";
}

} // namespace

void LimitSqliteMemory()
{
    const std::int64_t set = sqlite3_hard_heap_limit64(-1);
    if (set == 0 || set > kMaxSqliteMemory)
        sqlite3_hard_heap_limit64(kMaxSqliteMemory);
}

void LimitStatements(sqlite3* database)
{
    for (const auto& [limit, value] : kLimits)
        sqlite3_limit(database, limit, value);
}

std::int64_t WorkOfStep(std::string_view step, std::int64_t third)
{
    if (std::find(kCalls.begin(), kCalls.end(), step) != kCalls.end())
        return kWorkOfACall;
    return step == "Copy" ? 1 + third : 1; // it copies so many more
}

void LimitValues(sqlite3* database, std::int64_t work)
{
    const std::int64_t most = kMaxValueBytes * kFullLengthWork / std::max(work, kFullLengthWork);
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, static_cast<int>(most));
}

CString SqliteErrorText(sqlite3* database)
{
    switch (sqlite3_extended_errcode(database) & 0xFF) {
    case SQLITE_NOMEM:
        return L"more memory is needed than the data store may use (" + Megabytes(sqlite3_hard_heap_limit64(-1)) + L")";
    case SQLITE_FULL:
        if (temporaryspace::WasExceeded())
            return L"more temporary space is needed than a request may use (" + Megabytes(temporaryspace::Limit()) +
                   L", ZEL_QUERY_SPACE_LIMIT)";
        break;
    case SQLITE_TOOBIG:
        if (const int most = sqlite3_limit(database, SQLITE_LIMIT_LENGTH, -1); most < kMaxValueBytes)
            return L"a statement of so many steps and calls can't have values or rows of more than " +
                   std::to_wstring(most) + L" bytes";
        break;
    default: break;
    }
    return platform::FromUtf8(sqlite3_errmsg(database));
}
