#pragma once

#include "plugins/datastore/Database.h"
#include "plugins/datastore/SourceChanges.h"

#include "platform/FileSystem.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

enum eLook {
    eLook_Same,    ///< nothing was committed since the last look
    eLook_Read,    ///< what was committed has been read
    eLook_Busy,    ///< a writer keeps it locked: look again soon
    eLook_Failed,  ///< it can't be read as it is
    eLook_Stopped, ///< the reading was told to end
};

/// One data source that is watched: the state of its tables at the last look. Of one thread at a time.
class CWatchedSource {
public:
    CWatchedSource(CString name, CString path) : m_strName(std::move(name)), m_strPath(std::move(path)) {}

    /// Remembers how the files are, without reading them: nothing is told of a source that still is so when it is read
    /// for the first time.
    void RememberFiles() { m_atStart = FilesNow(); }
    /// Reads what was committed since the last look and adds the changes. The first look that succeeds finds all tables
    /// new, unless the files are as they are remembered. A failure is logged once for each reason, and what was read
    /// before stays. The flag ends the reading. No more than keptRows rows are kept in memory. What was read is added
    /// to readBytes.
    [[nodiscard]] eLook Look(CSourceChanges& changes, const std::atomic<bool>& stop, std::size_t keptRows,
                             std::size_t& readBytes);
    /// Rows that are kept in memory.
    [[nodiscard]] std::size_t KeptRows() const;
    /// Adds that all tables are gone.
    void Leave(CSourceChanges& changes) const;

    /// Of a table, and of all tables of a source, no more is read at one look. What is larger is told as changed with
    /// each change of its source.
    static constexpr std::size_t kMaxTableBytes = 64 * 1024 * 1024;
    static constexpr std::size_t kMaxSourceBytes = 128 * 1024 * 1024;

    /// A table of this name holds locks: a change of it is told as that and not as an event.
    static constexpr const char* kLockTable = "zel_locks";

private:
    using Tables = std::map<std::string, CTableSnapshot>;
    /// Of the file and of its write-ahead log; 0 for what there is not.
    struct SFiles {
        platform::FileTimeNs written = 0;
        std::uint64_t length = 0;
        platform::FileTimeNs logWritten = 0;
        std::uint64_t logLength = 0;
        bool operator==(const SFiles&) const = default;
    };
    /// What one look may still read and keep.
    struct SBudget {
        std::size_t bytes;
        std::size_t rows;
    };

    [[nodiscard]] SFiles FilesNow() const;
    [[nodiscard]] bool Open(platform::FileTimeNs created, const std::atomic<bool>& stop);
    [[nodiscard]] eLook ReadCommitted(Tables& tables, const std::atomic<bool>& stop, SBudget& budget);
    [[nodiscard]] eLook ReadTables(Tables& tables, const std::atomic<bool>& stop, SBudget& budget);
    [[nodiscard]] eLook ReadTable(const std::string& name, const std::string& columns, CTableSnapshot& table,
                                  const std::atomic<bool>& stop, SBudget& budget);
    /// Reads rows until the table ends or the budget does. False when the table is too large.
    [[nodiscard]] bool ReadRows(CStatement& statement, CTableSnapshot& table, const std::atomic<bool>& stop,
                                SBudget& budget, eStepResult& step);
    [[nodiscard]] eLook Fail(const std::atomic<bool>& stop);
    void Log(const CString& reason);
    void Compare(const Tables& tables, CSourceChanges& changes) const;
    void CompareTable(const std::string& name, const CTableSnapshot* now, const CTableSnapshot* then,
                      CSourceChanges& changes) const;

    const CString m_strName;
    const CString m_strPath;
    /// Stays open: only a connection that lives on can be asked whether others committed something.
    std::unique_ptr<CDatabase> m_pDatabase;
    platform::FileTimeNs m_created = 0; ///< of the file that is open, to notice that another one has its name
    std::int64_t m_nVersion = -1;       ///< of the data, as that connection counts it; -1: not read yet
    Tables m_tables;
    std::optional<SFiles> m_atStart; ///< until the first look that succeeds
    std::set<CString> m_logged;      ///< what the last look that came to an end found wrong
    std::set<CString> m_reasons;     ///< what this one has found so far
};
