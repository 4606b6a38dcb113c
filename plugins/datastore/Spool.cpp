#include "plugins/datastore/Spool.h"

#include "plugins/datastore/SqliteLimits.h"
#include "plugins/datastore/TemporarySpace.h"

#include <sqlite3.h>

namespace {

/// Stored in pieces of this size: large enough to cost little each, small enough not to count.
constexpr std::size_t kPieceBytes = 256 * 1024;

struct SClose {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct SFinalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using StatementPtr = std::unique_ptr<sqlite3_stmt, SFinalize>;

StatementPtr Prepare(sqlite3* database, const char* sql)
{
    sqlite3_stmt* statement = nullptr;
    static_cast<void>(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr)); // null tells of the failure
    return StatementPtr(statement);
}

} // namespace

struct CSpool::SState {
    std::unique_ptr<sqlite3, SClose> database;
    StatementPtr insert;
};

CSpool::CSpool() = default;
CSpool::~CSpool() = default;

bool CSpool::Write(std::string_view bytes)
{
    m_strTail.append(bytes);
    if (m_strTail.size() >= kPieceBytes)
        m_bGood = m_bGood && Store();
    return m_bGood;
}

bool CSpool::Open()
{
    m_pState = std::make_unique<SState>();
    sqlite3* database = nullptr;
    // An empty name is a temporary database. One writer, nothing to roll back: no journal and no syncing.
    const int result = sqlite3_open_v2("", &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                                       temporaryspace::FileSystem());
    m_pState->database.reset(database);
    constexpr const char* kSetUp = "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA cache_size=-2048;"
                                   "PRAGMA page_size=16384; CREATE TABLE piece(bytes BLOB); BEGIN";
    if (result != SQLITE_OK || sqlite3_exec(database, kSetUp, nullptr, nullptr, nullptr) != SQLITE_OK)
        return false;
    m_pState->insert = Prepare(database, "INSERT INTO piece VALUES(?)");
    return m_pState->insert != nullptr;
}

bool CSpool::Store()
{
    if (m_pState == nullptr && !Open())
        return false;
    sqlite3_stmt* insert = m_pState->insert.get();
    const bool isStored =
        sqlite3_bind_blob64(insert, 1, m_strTail.data(), m_strTail.size(), SQLITE_STATIC) == SQLITE_OK &&
        sqlite3_step(insert) == SQLITE_DONE;
    const bool isReset = sqlite3_reset(insert) == SQLITE_OK;
    sqlite3_clear_bindings(insert);
    m_strTail.clear();
    return isStored && isReset;
}

bool CSpool::CopyTo(IZelByteSink& sink)
{
    if (!m_bGood)
        return false;
    if (m_pState != nullptr) {
        const StatementPtr read = Prepare(m_pState->database.get(), "SELECT bytes FROM piece ORDER BY rowid");
        int result = SQLITE_ERROR;
        while (read != nullptr && (result = sqlite3_step(read.get())) == SQLITE_ROW) {
            const void* bytes = sqlite3_column_blob(read.get(), 0);
            const auto length = static_cast<std::size_t>(sqlite3_column_bytes(read.get(), 0));
            if (bytes == nullptr || !sink.Write({static_cast<const char*>(bytes), length}))
                return false;
        }
        if (result != SQLITE_DONE)
            return false;
    }
    return sink.Write(m_strTail);
}

std::wstring CSpool::ErrorText() const
{
    if (m_pState == nullptr || sqlite3_errcode(m_pState->database.get()) == SQLITE_OK)
        return {};
    return SqliteErrorText(m_pState->database.get());
}
