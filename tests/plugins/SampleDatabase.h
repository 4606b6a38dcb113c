#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <string>

struct sqlite3;

namespace plugintest {

/// A folder of data sources, which ZEL_DATA_DIR names while the object lives.
class CDataFolder {
public:
    CDataFolder();
    ~CDataFolder();
    CDataFolder(const CDataFolder&) = delete;
    CDataFolder& operator=(const CDataFolder&) = delete;

    /// Makes a data source, or changes one, by SQL statements. A failing one fails the test.
    void Make(const std::wstring& name, const std::string& sql) const;
    [[nodiscard]] std::wstring PathOf(const std::wstring& name) const;
    /// Names of the files in the folder.
    [[nodiscard]] std::size_t FileCount() const;

private:
    testsupport::CTemporaryDirectory m_folder;
};

/// Another value of ZEL_DATA_DIR while the object lives.
class CSavedFolder {
public:
    explicit CSavedFolder(const std::wstring& folder);
    ~CSavedFolder();
    CSavedFolder(const CSavedFolder&) = delete;
    CSavedFolder& operator=(const CSavedFolder&) = delete;

private:
    const std::wstring m_strFolder;
};

/// A connection of a program that edits a database.
class CConnection {
public:
    explicit CConnection(const std::wstring& path);
    ~CConnection();
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;
    /// A failing statement fails the test.
    void Execute(const std::string& sql);

private:
    sqlite3* m_pDatabase = nullptr;
};

/// A writer that keeps everybody else from a database until it lets go.
class CExclusiveWriter : public CConnection {
public:
    explicit CExclusiveWriter(const std::wstring& path) : CConnection(path) { Execute("BEGIN EXCLUSIVE"); }
};

/// The one value that a statement gives when SQLite runs it as it is, as text.
[[nodiscard]] std::string PlainAnswer(const std::string& sql);

/// Leaves a database as a program does that is killed in the middle of a change: half written, with a journal beside
/// it. The table is one whose rows have a text "name".
void LeaveHalfWritten(const std::wstring& path, const std::string& table);

/// True when somebody reads the database at this moment.
[[nodiscard]] bool IsBeingRead(const std::wstring& path);

/// `<Request><Task Type="Query">` for a data source and a statement, which is escaped here; parameters is markup.
[[nodiscard]] std::string QueryRequest(const std::string& source, const std::string& sql,
                                       const std::string& parameters = {});
/// `<Request><Task Type="Statistics">`; columns is markup.
[[nodiscard]] std::string StatisticsRequest(const std::string& source, const std::string& table,
                                            const std::string& columns = {});
/// `<Request><Task Type="Properties">`; item is markup: the element Id or ElementName.
[[nodiscard]] std::string PropertiesRequest(const std::string& source, const std::string& item,
                                            const std::string& property);

} // namespace plugintest
