#include "plugins/datastore/Database.h"

#include "platform/Path.h"
#include "platform/Seconds.h"
#include "platform/Text.h"
#include "plugins/common/PluginOs.h"
#include "plugins/datastore/AllowedSql.h"
#include "plugins/datastore/SqlFunctions.h"
#include "plugins/datastore/SqliteLimits.h"
#include "plugins/datastore/TemporarySpace.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <span>
#include <utility>

namespace {

/// Virtual machine steps between two looks at the cancel flag, which come at the next jump: some 2 microseconds of a
/// query, but a step can be a call that takes 45 ms. How long a statement can be without a jump LimitValuesFor sees to.
constexpr int kStepsBetweenLooks = 100;

/// A lock of a writer is waited for so often and so long: 5 seconds in all, and a cancellation is seen in between.
constexpr int kLockAttempts = 500;
constexpr std::chrono::milliseconds kLockPause(10);

bool IsOneOf(const char* name, std::span<const std::string_view> names)
{
    return std::any_of(names.begin(), names.end(),
                       [&](std::string_view one) { return sqlite3_stricmp(name, one.data()) == 0; });
}

/// The pragmas have tables of their own, named after them.
bool IsPragmaTable(const char* table)
{
    return sqlite3_strnicmp(table, "pragma_", 7) == 0;
}

bool IsRefusedTable(const char* table)
{
    return IsPragmaTable(table) || IsOneOf(table, kRefusedTables);
}

std::string ActionName(int action, const char* first, const char* second)
{
    switch (action) {
    case SQLITE_READ: return IsPragmaTable(first) ? "PRAGMA" : "the table " + std::string(first);
    case SQLITE_INSERT: return "INSERT";
    case SQLITE_UPDATE: return "UPDATE";
    case SQLITE_DELETE: return "DELETE";
    case SQLITE_ATTACH: return "ATTACH";
    case SQLITE_DETACH: return "DETACH";
    case SQLITE_PRAGMA: return "PRAGMA";
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT: return "a transaction";
    case SQLITE_FUNCTION: return "the function " + std::string(second);
    default: return "a change of the schema";
    }
}

/// True for what a statement that reads is made of.
bool IsReading(int action, const char* first, const char* second)
{
    switch (action) {
    case SQLITE_SELECT:
    case SQLITE_RECURSIVE: return true;
    case SQLITE_READ: return first == nullptr || !IsRefusedTable(first);
    case SQLITE_FUNCTION: return second != nullptr && IsOneOf(second, kAllowedFunctions);
    case SQLITE_UPDATE:
        // A table that is a function (json_each) declares itself so; changing the schema table itself is refused
        // elsewhere.
        return first != nullptr && sqlite3_stricmp(first, "sqlite_master") == 0;
    default: return false;
    }
}

/// True when there is a journal to be played back, which takes the right to write. SQLite's own words for it speak of
/// an attempt to write that nobody made.
bool IsLeftHalfWritten(int code)
{
    return code == SQLITE_READONLY_ROLLBACK || code == SQLITE_READONLY_RECOVERY;
}

/// A full-text search inside of a SELECT asks in this way whether the data changed under it.
bool IsNeededToRead(int action, const char* first)
{
    return action == SQLITE_PRAGMA && first != nullptr && sqlite3_stricmp(first, "data_version") == 0;
}

} // namespace

void CStatement::SFinalize::operator()(sqlite3_stmt* statement) const
{
    sqlite3_finalize(statement);
}

int CStatement::ParameterCount() const
{
    return sqlite3_bind_parameter_count(m_pStatement.get());
}

bool CStatement::Bind(int parameter, const SValue& value)
{
    sqlite3_stmt* statement = m_pStatement.get();
    switch (value.type) {
    case eValue_Integer: return sqlite3_bind_int64(statement, parameter, value.integer) == SQLITE_OK;
    case eValue_Real: return sqlite3_bind_double(statement, parameter, value.real) == SQLITE_OK;
    case eValue_Text:
        return sqlite3_bind_text64(statement, parameter, value.bytes.data(), value.bytes.size(), SQLITE_TRANSIENT,
                                   SQLITE_UTF8) == SQLITE_OK;
    case eValue_Blob:
        return sqlite3_bind_blob64(statement, parameter, value.bytes.data(), value.bytes.size(), SQLITE_TRANSIENT) ==
               SQLITE_OK;
    case eValue_Null: break;
    }
    return sqlite3_bind_null(statement, parameter) == SQLITE_OK;
}

int CStatement::ColumnCount() const
{
    return sqlite3_column_count(m_pStatement.get());
}

std::string CStatement::ColumnName(int column) const
{
    const char* name = sqlite3_column_name(m_pStatement.get(), column);
    return name == nullptr ? std::string() : std::string(name);
}

SValue CStatement::Column(int column) const
{
    sqlite3_stmt* statement = m_pStatement.get();
    const auto bytes = [&](const void* data) {
        const auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
        return data == nullptr ? std::string_view() : std::string_view(static_cast<const char*>(data), length);
    };
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return {.type = eValue_Integer, .integer = sqlite3_column_int64(statement, column), .bytes = {}};
    case SQLITE_FLOAT: return {.type = eValue_Real, .real = sqlite3_column_double(statement, column), .bytes = {}};
    case SQLITE_TEXT: return {.type = eValue_Text, .bytes = bytes(sqlite3_column_text(statement, column))};
    case SQLITE_BLOB: return {.type = eValue_Blob, .bytes = bytes(sqlite3_column_blob(statement, column))};
    default: return {};
    }
}

void CDatabase::SClose::operator()(sqlite3* database) const
{
    sqlite3_close_v2(database);
}

CDatabase::CDatabase(CZelProcessorContext* context) : m_pContext(context) {}
CDatabase::~CDatabase() = default;

void CDatabase::LimitTime(std::chrono::milliseconds limit)
{
    m_timeLimit = limit;
    m_start = ElapsedTime();
}

bool CDatabase::Open(const std::wstring& path)
{
    sqlite3* database = nullptr;
    LimitSqliteMemory();
    const int result = sqlite3_open_v2(platform::NarrowPath(path).c_str(), &database,
                                       SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE,
                                       temporaryspace::FileSystem());
    m_pDatabase.reset(database); // there is one even after a failure, to tell the reason
    if (database == nullptr) {
        Fail(L"out of memory");
        m_bNoMemory = true;
        return false;
    }
    return (result == SQLITE_OK && Restrict()) || FailByDatabase();
}

bool CDatabase::Restrict()
{
    sqlite3* database = m_pDatabase.get();
    sqlite3_extended_result_codes(database, 1);
    // A schema that somebody prepared must not be able to call anything but plain functions either.
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
    LimitStatements(database);
    sqlite3_busy_handler(database, &CDatabase::WaitForLock, this);
    sqlite3_set_authorizer(database, &CDatabase::Authorize, this);
    if (IsRunning())
        sqlite3_progress_handler(database, kStepsBetweenLooks, &CDatabase::AskToStop, this);
    return AddSqlFunctions(database, *this);
}

void CDatabase::ReleaseMemory()
{
    static_cast<void>(sqlite3_db_release_memory(m_pDatabase.get()));
}

bool CDatabase::RunOwn(std::string_view sql, const RowVisitor& visitor)
{
    // For its steps as well: SQLite prepares a statement anew when it finds that the schema changed.
    struct SOwn {
        explicit SOwn(bool& own) : m_own(own) { m_own = true; }
        ~SOwn() { m_own = false; }
        bool& m_own;
    } const own(m_bOwnStatement);
    CStatement statement;
    std::string_view rest;
    eStepResult step = Compile(sql, statement, rest) ? Step(statement) : eStep_Failed;
    while (step == eStep_Row) {
        if (visitor)
            visitor(statement);
        step = Step(statement);
    }
    return step == eStep_Done;
}

bool CDatabase::Prepare(std::string_view sql, CStatement& statement)
{
    std::string_view rest;
    if (!Compile(sql, statement, rest))
        return false;
    if (!statement)
        return Fail(L"the SQL text holds no statement");
    // What follows may be blanks, semicolons and comments; whether it is only SQLite can tell.
    while (!rest.empty()) {
        CStatement second;
        if (!Compile(rest, second, rest) || second)
            return Fail(L"more than one statement; a request has exactly one");
    }
    if (sqlite3_stmt_readonly(statement.m_pStatement.get()) == 0 || statement.ColumnCount() == 0)
        return Fail(L"only statements that read and give rows are allowed");
    return !IsRunning() || LimitValuesFor(statement);
}

bool CDatabase::LimitValuesFor(const CStatement& statement)
{
    sqlite3_stmt* const compiled = statement.m_pStatement.get();
    LimitValues(m_pDatabase.get(), 0);
    if (sqlite3_stmt_isexplain(compiled) != 0)
        return true;
    std::int64_t work = 0;
    const auto addStep = [&](const CStatement& row) { work += WorkOfStep(row.Column(1).bytes, row.Column(4).integer); };
    if (!RunOwn(std::string(kExplain) + sqlite3_sql(compiled), addStep))
        return false;
    LimitValues(m_pDatabase.get(), work);
    return true;
}

bool CDatabase::Compile(std::string_view sql, CStatement& statement, std::string_view& rest)
{
    sqlite3_stmt* compiled = nullptr;
    const char* tail = nullptr;
    m_strRefused.clear();
    m_bSelecting = false;
    if (!m_bOwnStatement && sql.size() > std::size_t{kMaxSqlBytes})
        return Fail(L"the SQL text is too long");
    const int result =
        sqlite3_prepare_v2(m_pDatabase.get(), sql.data(), static_cast<int>(sql.size()), &compiled, &tail);
    statement = CStatement(compiled);
    if (result != SQLITE_OK && !m_strRefused.empty())
        return Fail(L"not allowed in a request: " + platform::FromUtf8(m_strRefused));
    if (result != SQLITE_OK)
        return FailByDatabase();
    // Nothing compiled and nothing passed over would be asked for ever.
    const auto read = static_cast<std::size_t>(tail - sql.data());
    rest = compiled == nullptr && read == 0 ? std::string_view() : sql.substr(read);
    return true;
}

eStepResult CDatabase::Step(CStatement& statement)
{
    const int result = HasTimedOut() ? SQLITE_INTERRUPT : sqlite3_step(statement.m_pStatement.get());
    switch (result) {
    case SQLITE_ROW: return eStep_Row;
    case SQLITE_DONE: return eStep_Done;
    default: break;
    }
    if (HasTimedOut())
        Fail(L"the request takes longer than the server allows (" + SecondsText(m_timeLimit) +
             L" s, --query-time-limit)");
    else
        FailByDatabase();
    return m_pContext != nullptr && m_pContext->IsCanceled() ? eStep_Canceled : eStep_Failed;
}

bool CDatabase::Fail(const CString& error)
{
    m_strError = error;
    m_bBusy = false;
    m_bNoMemory = false;
    return false;
}

bool CDatabase::FailByDatabase()
{
    const int code = sqlite3_extended_errcode(m_pDatabase.get());
    Fail(IsLeftHalfWritten(code)
             ? L"a program was killed while it wrote to it; to put it right, open it once for writing, "
               L"as \"sqlite3 FILE .schema\" does"
             : SqliteErrorText(m_pDatabase.get()));
    m_bBusy = (code & 0xFF) == SQLITE_BUSY;
    m_bNoMemory = (code & 0xFF) == SQLITE_NOMEM;
    return false;
}

int CDatabase::Authorize(void* self, int action, const char* first, const char* second, const char*, const char*)
{
    auto* database = static_cast<CDatabase*>(self);
    database->m_bSelecting = database->m_bSelecting || action == SQLITE_SELECT;
    if (database->m_bOwnStatement || IsReading(action, first, second) ||
        (database->m_bSelecting && IsNeededToRead(action, first)))
        return SQLITE_OK;
    try {
        if (database->m_strRefused.empty())
            database->m_strRefused = ActionName(action, first, second);
    } catch (const std::bad_alloc&) {
        return SQLITE_DENY; // which SQLite has words for as well
    }
    return SQLITE_DENY;
}

bool CDatabase::IsToStop()
{
    if (HasTimedOut() || (m_pStop != nullptr && *m_pStop))
        return true;
    return m_pContext != nullptr ? m_pContext->IsCanceled() : m_bLimited && ++m_nLooks > kMaxLooks;
}

bool CDatabase::HasTimedOut() const
{
    return m_timeLimit.count() != 0 && ElapsedTime() - m_start >= m_timeLimit;
}

int CDatabase::AskToStop(void* self)
{
    return static_cast<CDatabase*>(self)->IsToStop() ? 1 : 0;
}

int CDatabase::WaitForLock(void* self, int attempt)
{
    auto* database = static_cast<CDatabase*>(self);
    if (database->m_pContext == nullptr || attempt >= kLockAttempts || database->IsToStop())
        return 0;
    SleepFor(kLockPause);
    return 1;
}
