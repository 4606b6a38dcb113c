#pragma once

#include "plugins/datastore/Value.h"

#include <ZEL_Processor/ZelProcessorContext.h>
#include <ZEL_Processor/ZelTypes.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

enum eStepResult {
    eStep_Row,
    eStep_Done,
    eStep_Canceled, ///< the context says so
    eStep_Failed,   ///< CDatabase::ErrorText tells why
};

/// A prepared statement. Must end before its database.
class CStatement {
public:
    CStatement() = default;
    explicit CStatement(sqlite3_stmt* statement) : m_pStatement(statement) {}

    [[nodiscard]] explicit operator bool() const { return m_pStatement != nullptr; }
    [[nodiscard]] int ParameterCount() const;
    /// Parameters count from 1. The text is copied. False for a failure of the database (a number out of range, no
    /// memory).
    [[nodiscard]] bool Bind(int parameter, const SValue& value);

    [[nodiscard]] int ColumnCount() const;
    [[nodiscard]] std::string ColumnName(int column) const;
    /// A value of the current row; columns count from 0.
    [[nodiscard]] SValue Column(int column) const;

private:
    friend class CDatabase;
    struct SFinalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    std::unique_ptr<sqlite3_stmt, SFinalize> m_pStatement;
};

/// A SQLite database that can only be read: it is opened so, and every statement but one that reads is refused when it
/// is prepared.
class CDatabase {
public:
    /// With a context, which must outlive this: statements ask it and stop when it says so, and the lock of a writer is
    /// waited for up to 5 seconds. Without one nothing is waited for.
    explicit CDatabase(CZelProcessorContext* context = nullptr);
    ~CDatabase();
    CDatabase(const CDatabase&) = delete;
    CDatabase& operator=(const CDatabase&) = delete;

    /// For a look beforehand, without a context: statements end after some 20 milliseconds of work. Before Open.
    void LimitWork() { m_bLimited = true; }
    /// Statements end when the flag, which must outlive this, is set. Before Open.
    void StopBy(const std::atomic<bool>& stop) { m_pStop = &stop; }
    /// Statements fail that run when this time has passed from now on; 0: never.
    void LimitTime(std::chrono::milliseconds limit);
    /// True when the limit of work ended a statement.
    [[nodiscard]] bool IsCutShort() const { return m_nLooks > kMaxLooks; }

    /// Opens an existing file. Nothing of it is read yet, so one that is no database is found at the first statement.
    [[nodiscard]] bool Open(const std::wstring& path);
    /// All that is read from now on is one state of the data, whatever others write meanwhile.
    [[nodiscard]] bool BeginSnapshot() { return RunOwn("BEGIN"); }
    [[nodiscard]] bool EndSnapshot() { return RunOwn("COMMIT"); }

    /// Runs a statement of this module's own, which may be any that does not write, and calls back with each row. Not
    /// for anything that comes from a request.
    using RowVisitor = std::function<void(const CStatement& row)>;
    [[nodiscard]] bool RunOwn(std::string_view sql, const RowVisitor& visitor = {});

    /// Prepares one statement that gives rows. False when it is none, when it is more than one, or when it would do
    /// more than read.
    [[nodiscard]] bool Prepare(std::string_view sql, CStatement& statement);
    [[nodiscard]] eStepResult Step(CStatement& statement);

    /// Lets go of memory that is kept to be faster next time.
    void ReleaseMemory();

    /// Asked by what runs long inside of a statement.
    [[nodiscard]] bool IsToStop();

    /// Why the last call failed.
    [[nodiscard]] const CString& ErrorText() const { return m_strError; }
    /// True when it failed because another program is writing the database.
    [[nodiscard]] bool IsBusy() const { return m_bBusy; }
    /// True when it failed because there was no memory, which may be because a request has it all.
    [[nodiscard]] bool IsOutOfMemory() const { return m_bNoMemory; }

private:
    /// Looks at a statement with limited work before it is ended.
    static constexpr int kMaxLooks = 10'000;

    struct SClose {
        void operator()(sqlite3* database) const;
    };
    static int Authorize(void* self, int action, const char* first, const char* second, const char* schema,
                         const char* trigger);
    static int AskToStop(void* self);
    static int WaitForLock(void* self, int attempt);

    /// True when statements are stopped while they run; else they are only prepared, to be looked at.
    [[nodiscard]] bool IsRunning() const { return m_pContext != nullptr || m_pStop != nullptr || m_bLimited; }
    [[nodiscard]] bool LimitValuesFor(const CStatement& statement);
    bool Compile(std::string_view sql, CStatement& statement, std::string_view& rest);
    [[nodiscard]] bool HasTimedOut() const;
    bool Fail(const CString& error);
    bool FailByDatabase();
    bool Restrict();

    std::unique_ptr<sqlite3, SClose> m_pDatabase;
    CZelProcessorContext* const m_pContext;
    const std::atomic<bool>* m_pStop = nullptr;
    std::chrono::milliseconds m_timeLimit{0};
    std::chrono::milliseconds m_start{0}; ///< of the time that is limited
    std::string m_strRefused;             ///< what the statement tried that it must not
    bool m_bOwnStatement = false;         ///< the statement being run is not the request's
    bool m_bSelecting = false;            ///< the statement has been found to be a SELECT
    bool m_bBusy = false;
    bool m_bNoMemory = false;
    bool m_bLimited = false;
    int m_nLooks = 0;
    CString m_strError;
};
