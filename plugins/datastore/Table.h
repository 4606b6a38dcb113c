#pragma once

#include "plugins/datastore/DataSource.h"

#include <vector>

/// What a "Statistics" task asks for: columns of a table or view.
class CTable {
public:
    /// Reads it from a task. False, with a text for the client, when something is missing or wrong.
    [[nodiscard]] bool Read(IXMLDOMNode* task, CString& error);
    /// Opens the data source and finds the table and its columns. False, with a text for the client, when that fails.
    [[nodiscard]] bool Open(CDatabase& database, CString& error);

    [[nodiscard]] const CDataSource& DataSource() const { return m_source; }
    /// The following are as the data source spells them, once it was opened.
    [[nodiscard]] const std::string& Name() const { return m_strName; }
    [[nodiscard]] const std::vector<std::string>& Columns() const { return m_columns; }

    /// A name as it stands in a statement.
    [[nodiscard]] static std::string Quoted(std::string_view name);

private:
    [[nodiscard]] bool FindTable(CDatabase& database, CString& error);
    [[nodiscard]] bool FindColumns(CDatabase& database, CString& error);

    CDataSource m_source;
    std::string m_strAskedName;
    std::vector<std::string> m_askedColumns; ///< empty: all
    std::string m_strName;
    std::vector<std::string> m_columns;
};
