#pragma once

#include "plugins/datastore/DataSource.h"

#include <vector>

/// What a "Query" task asks for.
class CQuery {
public:
    /// Reads it from a task. False, with a text for the client, when something is missing or wrong.
    [[nodiscard]] bool Read(IXMLDOMNode* task, CString& error);
    /// Opens the data source and prepares the statement with its parameters. False, with a text for the client, when
    /// that fails.
    [[nodiscard]] bool Prepare(CDatabase& database, CStatement& statement, CString& error) const;

    [[nodiscard]] const CDataSource& DataSource() const { return m_source; }

private:
    struct SParameter {
        SValue value;     ///< its bytes are not used: the text below may move
        std::string text; ///< UTF-8
    };
    [[nodiscard]] static bool ReadParameter(IXMLDOMNode* element, std::size_t number, SParameter& parameter,
                                            CString& error);

    CDataSource m_source;
    std::string m_strSql; ///< UTF-8
    std::vector<SParameter> m_parameters;
};
