#include "plugins/datastore/WatchedSource.h"

#include "framework/Log.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "plugins/datastore/SourceId.h"
#include "plugins/datastore/Table.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

/// Tables that hold rows themselves. Those of a full-text index and the like are reached through others.
constexpr std::string_view kListTables =
    "SELECT m.name, m.sql, l.wr FROM sqlite_master AS m JOIN pragma_table_list AS l ON l.schema = 'main' AND "
    "l.name = m.name WHERE m.type = 'table' AND l.type = 'table' AND m.name NOT LIKE 'sqlite~_%' ESCAPE '~'";

std::uint64_t HashOf(const CStatement& row, std::size_t& bytes)
{
    CRowHash hash;
    bytes = sizeof(std::uint64_t);
    for (int column = 1; column < row.ColumnCount(); ++column) {
        const SValue value = row.Column(column);
        bytes += sizeof value.integer + value.bytes.size();
        hash.Add(value);
    }
    return hash.Value();
}

bool IsLockTable(const std::string& name)
{
    return platform::EqualsNoCase(platform::FromUtf8(name), platform::FromUtf8(CWatchedSource::kLockTable));
}

} // namespace

CWatchedSource::SFiles CWatchedSource::FilesNow() const
{
    SFiles files;
    platform::SFileAttributes attributes;
    if (platform::Succeeded(platform::Files().GetAttributes(m_strPath, attributes)))
        files = {.written = attributes.times.modified, .length = attributes.length};
    // An empty one may be a reader's.
    if (platform::Succeeded(platform::Files().GetAttributes(m_strPath + L"-wal", attributes)) &&
        attributes.length != 0) {
        files.logWritten = attributes.times.modified;
        files.logLength = attributes.length;
    }
    return files;
}

std::size_t CWatchedSource::KeptRows() const
{
    std::size_t rows = 0;
    for (const auto& [name, table] : m_tables)
        rows += table.KeptRows();
    return rows;
}

bool CWatchedSource::Open(platform::FileTimeNs created, const std::atomic<bool>& stop)
{
    if (m_pDatabase != nullptr && created == m_created)
        return true;
    m_created = created;
    m_nVersion = -1;
    m_pDatabase = std::make_unique<CDatabase>();
    m_pDatabase->StopBy(stop);
    return m_pDatabase->Open(m_strPath);
}

eLook CWatchedSource::Look(CSourceChanges& changes, const std::atomic<bool>& stop, std::size_t keptRows,
                           std::size_t& readBytes)
{
    platform::SFileAttributes attributes;
    if (platform::IsAbsent(platform::Files().GetAttributes(m_strPath, attributes)))
        return eLook_Failed; // it went since the folder was listed; the next look will not find it there
    Tables tables;
    m_reasons.clear();
    eLook look = eLook_Failed;
    if (Open(attributes.times.created, stop)) {
        SBudget budget = {.bytes = kMaxSourceBytes, .rows = keptRows};
        look = ReadCommitted(tables, stop, budget);
        readBytes += kMaxSourceBytes - budget.bytes;
    } else {
        look = Fail(stop);
        m_pDatabase.reset(); // it may lack functions of ours
    }
    if (m_pDatabase != nullptr)
        m_pDatabase->ReleaseMemory(); // many sources are open, and SQLite's memory has a limit
    if (look == eLook_Read || look == eLook_Failed)
        m_logged = std::move(m_reasons); // the others are no more: they would be news again
    if (look != eLook_Read)
        return look;
    // Asked after the reading: what was written in between is told again rather than not at all.
    if (!m_atStart || FilesNow() != *m_atStart)
        Compare(tables, changes);
    m_atStart.reset();
    m_tables = std::move(tables);
    return look;
}

eLook CWatchedSource::ReadCommitted(Tables& tables, const std::atomic<bool>& stop, SBudget& budget)
{
    std::int64_t version = -1;
    const auto readVersion = [&](const CStatement& row) { version = row.Column(0).integer; };
    if (!m_pDatabase->BeginSnapshot())
        return Fail(stop);
    eLook look = eLook_Same;
    if (!m_pDatabase->RunOwn("PRAGMA data_version", readVersion))
        look = Fail(stop);
    else if (version != m_nVersion)
        look = ReadTables(tables, stop, budget);
    if (m_pDatabase != nullptr && !m_pDatabase->EndSnapshot())
        m_pDatabase.reset(); // it would go on seeing the old state
    if (look == eLook_Read)
        m_nVersion = version;
    return look;
}

eLook CWatchedSource::ReadTables(Tables& tables, const std::atomic<bool>& stop, SBudget& budget)
{
    std::map<std::string, std::string> columns;
    const auto readName = [&](const CStatement& row) {
        const std::string name(row.Column(0).bytes);
        tables.emplace(name, CTableSnapshot(std::string(row.Column(1).bytes)));
        columns.emplace(name, row.Column(2).integer == 0 ? "rowid, *" : "NULL, *");
    };
    if (!m_pDatabase->RunOwn(kListTables, readName))
        return Fail(stop);
    for (auto& [name, table] : tables) {
        const eLook look = ReadTable(name, columns[name], table, stop, budget);
        if (look != eLook_Read)
            return look;
    }
    return eLook_Read;
}

eLook CWatchedSource::ReadTable(const std::string& name, const std::string& columns, CTableSnapshot& table,
                                const std::atomic<bool>& stop, SBudget& budget)
{
    const auto then = m_tables.find(name);
    const CTableSnapshot* old = then == m_tables.end() ? nullptr : &then->second;
    const CString tooLarge = L"table \"" + platform::FromUtf8(name) +
                             L"\" is too large to be watched row by row: each change of the data source counts as one "
                             L"of it";
    if (old != nullptr && table.IsToBeLeft(*old)) {
        Log(tooLarge);
        return eLook_Read;
    }
    const std::string order = columns.starts_with("rowid") ? " ORDER BY rowid" : "";
    CStatement statement;
    eStepResult step = eStep_Failed;
    if (m_pDatabase->Prepare("SELECT " + columns + " FROM " + CTable::Quoted(name) + order, statement) &&
        !ReadRows(statement, table, stop, budget, step)) {
        table.FindTooLarge(old);
        Log(tooLarge);
        return eLook_Read;
    }
    if (stop)
        return eLook_Stopped;
    if (step == eStep_Done)
        return eLook_Read;
    // One table that can't be read (too long a value) does not keep the others from being watched.
    if (m_pDatabase->IsBusy() || m_pDatabase->IsOutOfMemory())
        return Fail(stop);
    Log(L"table \"" + platform::FromUtf8(name) + L"\" can't be watched row by row: " + m_pDatabase->ErrorText());
    table.GiveUp();
    return eLook_Read;
}

bool CWatchedSource::ReadRows(CStatement& statement, CTableSnapshot& table, const std::atomic<bool>& stop,
                              SBudget& budget, eStepResult& step)
{
    std::size_t left = std::min(kMaxTableBytes, budget.bytes);
    while (!stop && (step = m_pDatabase->Step(statement)) == eStep_Row) {
        std::size_t bytes = 0;
        const std::uint64_t hash = HashOf(statement, bytes);
        if (bytes > left || table.KeptRows() >= budget.rows || !table.AddRow(statement.Column(0), hash)) {
            budget.bytes -= std::min(bytes, budget.bytes);
            return false;
        }
        left -= bytes;
        budget.bytes -= bytes;
    }
    budget.rows -= table.KeptRows();
    return true;
}

eLook CWatchedSource::Fail(const std::atomic<bool>& stop)
{
    if (stop)
        return eLook_Stopped;
    if (m_pDatabase->IsBusy() || m_pDatabase->IsOutOfMemory())
        return eLook_Busy; // it may be better soon
    Log(L"can't be watched: " + m_pDatabase->ErrorText());
    m_pDatabase.reset();
    return eLook_Failed;
}

void CWatchedSource::Log(const CString& reason)
{
    if (!m_reasons.insert(reason).second || m_logged.contains(reason))
        return;
    Brel::Log::Write(*Brel::Log::Get("ZelProcessor"), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     L"Data source \"" + m_strName + L"\": " + reason);
}

void CWatchedSource::Compare(const Tables& tables, CSourceChanges& changes) const
{
    for (const auto& [name, table] : tables) {
        const auto then = m_tables.find(name);
        CompareTable(name, &table, then == m_tables.end() ? nullptr : &then->second, changes);
    }
    for (const auto& [name, table] : m_tables) {
        if (!tables.contains(name))
            CompareTable(name, nullptr, &table, changes);
    }
}

void CWatchedSource::CompareTable(const std::string& name, const CTableSnapshot* now, const CTableSnapshot* then,
                                  CSourceChanges& changes) const
{
    const bool isOther = now == nullptr || then == nullptr || now->Definition() != then->Definition();
    STableChange rows;
    if (!isOther)
        rows = now->ChangeSince(*then);
    if (IsLockTable(name)) {
        if (isOther || rows.isWhole || rows.Count() != 0)
            changes.AddLocks();
        return;
    }
    const GUID table = TableId(platform::ToUtf8(m_strName), name);
    if (isOther)
        changes.AddStructure(table);
    else
        changes.AddRows(table, std::move(rows));
}

void CWatchedSource::Leave(CSourceChanges& changes) const
{
    for (const auto& [name, table] : m_tables)
        CompareTable(name, nullptr, &table, changes);
}
