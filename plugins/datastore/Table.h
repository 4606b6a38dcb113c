#pragma once

#include "plugins/datastore/DataSource.h"

#include <vector>

/// A table or view of a data source, and those of its columns that are asked for.
class CTable {
public:
    /// Reads it from a "Statistics" task. False, with a text for the client, when something is missing or wrong.
    [[nodiscard]] bool Read(IXMLDOMNode* task, CString& error);
    /// Takes it from a path: "source/table", or the source alone for its main table, which is the one that has the
    /// source's name, or the only one that there is. False, with a text for the client, when the source is no name.
    [[nodiscard]] bool SetPath(const CString& path, std::vector<std::string> columns, CString& error);
    /// Opens the data source and finds the table and its columns. False, with a text for the client, when that fails.
    [[nodiscard]] bool Open(CDatabase& database, CString& error);

    [[nodiscard]] const CDataSource& DataSource() const { return m_source; }
    /// The following are as the data source spells them, once it was opened.
    [[nodiscard]] const std::string& Name() const { return m_strName; }
    [[nodiscard]] const std::vector<std::string>& Columns() const { return m_columns; }

    /// Writes `Data source "name": table "name" reason`.
    [[nodiscard]] CString ErrorOf(const CString& reason) const;

    /// A name as it stands in a statement.
    [[nodiscard]] static std::string Quoted(std::string_view name);

private:
    [[nodiscard]] bool FindTable(CDatabase& database, CString& error);
    [[nodiscard]] bool FindMainTable(CDatabase& database, CString& error);
    [[nodiscard]] bool FindColumns(CDatabase& database, CString& error);

    CDataSource m_source;
    bool m_bMainTable = false; ///< no name was asked for
    std::string m_strAskedName;
    std::vector<std::string> m_askedColumns; ///< empty: all
    std::string m_strName;
    std::vector<std::string> m_columns;
};
