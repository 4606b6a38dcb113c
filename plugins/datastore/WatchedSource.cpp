#include "plugins/datastore/WatchedSource.h"

#include "framework/Log.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "plugins/datastore/SourceId.h"
#include "plugins/datastore/Table.h"

#include <utility>
#include <vector>

namespace {

/// Tables that hold rows themselves. Those of a full-text index and the like are reached through others.
constexpr std::string_view kListTables =
    "SELECT m.name, m.sql, l.wr FROM sqlite_master AS m JOIN pragma_table_list AS l ON l.schema = 'main' AND "
    "l.name = m.name WHERE m.type = 'table' AND l.type = 'table' AND m.name NOT LIKE 'sqlite~_%' ESCAPE '~'";

std::uint64_t HashOf(const CStatement& row)
{
    CRowHash hash;
    for (int column = 1; column < row.ColumnCount(); ++column)
        hash.Add(row.Column(column));
    return hash.Value();
}

bool IsLockTable(const std::string& name)
{
    return platform::EqualsNoCase(platform::FromUtf8(name), platform::FromUtf8(CWatchedSource::kLockTable));
}

} // namespace

bool CWatchedSource::Open(platform::FileTimeNs created)
{
    if (m_pDatabase != nullptr && created == m_created)
        return true;
    m_created = created;
    m_nVersion = -1;
    m_pDatabase = std::make_unique<CDatabase>();
    return m_pDatabase->Open(m_strPath);
}

eLook CWatchedSource::Look(CSourceChanges& changes, const std::atomic<bool>& stop)
{
    platform::SFileAttributes attributes;
    if (platform::IsAbsent(platform::Files().GetAttributes(m_strPath, attributes)))
        return eLook_Failed; // it went since the folder was listed; the next look will not find it there
    Tables tables;
    m_reasons.clear();
    const eLook look = Open(attributes.times.created) ? ReadCommitted(tables, stop) : Fail();
    if (look == eLook_Read || look == eLook_Failed)
        m_logged = std::move(m_reasons); // the others are no more: they would be news again
    if (look != eLook_Read)
        return look;
    Compare(tables, changes);
    m_tables = std::move(tables);
    return look;
}

eLook CWatchedSource::ReadCommitted(Tables& tables, const std::atomic<bool>& stop)
{
    std::int64_t version = -1;
    const auto readVersion = [&](const CStatement& row) { version = row.Column(0).integer; };
    if (!m_pDatabase->BeginSnapshot())
        return Fail();
    eLook look = eLook_Same;
    if (!m_pDatabase->RunOwn("PRAGMA data_version", readVersion))
        look = Fail();
    else if (version != m_nVersion)
        look = ReadTables(tables, stop);
    if (m_pDatabase != nullptr && !m_pDatabase->EndSnapshot())
        m_pDatabase.reset(); // it would go on seeing the old state
    if (look == eLook_Read)
        m_nVersion = version;
    return look;
}

eLook CWatchedSource::ReadTables(Tables& tables, const std::atomic<bool>& stop)
{
    std::map<std::string, std::string> columns;
    const auto readName = [&](const CStatement& row) {
        const std::string name(row.Column(0).bytes);
        tables.emplace(name, CTableSnapshot(std::string(row.Column(1).bytes)));
        columns.emplace(name, row.Column(2).integer == 0 ? "rowid, *" : "NULL, *");
    };
    if (!m_pDatabase->RunOwn(kListTables, readName))
        return Fail();
    for (auto& [name, table] : tables) {
        const eLook look = ReadTable(name, columns[name], table, stop);
        if (look != eLook_Read)
            return look;
    }
    return eLook_Read;
}

eLook CWatchedSource::ReadTable(const std::string& name, const std::string& columns, CTableSnapshot& table,
                                const std::atomic<bool>& stop)
{
    const std::string order = columns.starts_with("rowid") ? " ORDER BY rowid" : "";
    CStatement statement;
    eStepResult step = eStep_Failed;
    if (m_pDatabase->Prepare("SELECT " + columns + " FROM " + CTable::Quoted(name) + order, statement)) {
        while ((step = m_pDatabase->Step(statement)) == eStep_Row) {
            if (stop)
                return eLook_Stopped;
            if (!table.AddRow(statement.Column(0), HashOf(statement)))
                return eLook_Read;
        }
    }
    if (step == eStep_Done)
        return eLook_Read;
    // One table that can't be read (too long a value) does not keep the others from being watched.
    if (m_pDatabase->IsBusy())
        return Fail();
    Log(L"table \"" + platform::FromUtf8(name) + L"\" can't be watched row by row: " + m_pDatabase->ErrorText());
    table.GiveUp();
    return eLook_Read;
}

eLook CWatchedSource::Fail()
{
    if (m_pDatabase->IsBusy())
        return eLook_Busy;
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
