#include "plugins/datastore/Table.h"

#include "platform/Text.h"
#include "plugins/datastore/XmlElements.h"

#include <algorithm>

namespace {

/// SQLite compares names without regard to the case of ASCII letters.
bool IsSameName(std::string_view left, std::string_view right)
{
    const auto lower = [](char letter) { return letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter + 0; };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char one, char other) { return lower(one) == lower(other); });
}

} // namespace

bool CTable::Read(IXMLDOMNode* task, CString& error)
{
    CString name;
    if (!m_source.Read(task, error) || !RequiredText(task, L"Table", name, error))
        return false;
    m_strAskedName = platform::ToUtf8(Trimmed(name));
    m_askedColumns.clear();
    for (const auto& column : ChildElements(task, L"Column"))
        m_askedColumns.push_back(platform::ToUtf8(Trimmed(ElementText(column.Get()))));
    return true;
}

bool CTable::Open(CDatabase& database, CString& error)
{
    return m_source.Open(database, error) && FindTable(database, error) && FindColumns(database, error);
}

bool CTable::FindTable(CDatabase& database, CString& error)
{
    CStatement statement;
    if (!database.Prepare("SELECT name FROM sqlite_master WHERE type IN ('table', 'view')", statement)) {
        error = m_source.ErrorOf(database.ErrorText());
        return false;
    }
    eStepResult step = eStep_Done;
    while ((step = database.Step(statement)) == eStep_Row) {
        m_strName = statement.Column(0).bytes;
        if (IsSameName(m_strName, m_strAskedName))
            return true;
    }
    error = m_source.ErrorOf(step == eStep_Done ? L"there is no table \"" + platform::FromUtf8(m_strAskedName) + L"\""
                                                : database.ErrorText());
    return false;
}

bool CTable::FindColumns(CDatabase& database, CString& error)
{
    CStatement statement;
    if (!database.Prepare("SELECT * FROM " + Quoted(m_strName), statement)) {
        error = m_source.ErrorOf(database.ErrorText());
        return false;
    }
    std::vector<std::string> present;
    for (int column = 0; column < statement.ColumnCount(); ++column)
        present.push_back(statement.ColumnName(column));
    if (m_askedColumns.empty()) {
        m_columns = std::move(present);
        return true;
    }
    m_columns.clear();
    for (const std::string& asked : m_askedColumns) {
        const auto found = std::find_if(present.begin(), present.end(),
                                        [&](const std::string& name) { return IsSameName(name, asked); });
        if (found == present.end()) {
            error = m_source.ErrorOf(L"table \"" + platform::FromUtf8(m_strName) + L"\" has no column \"" +
                                     platform::FromUtf8(asked) + L"\"");
            return false;
        }
        m_columns.push_back(*found);
    }
    return true;
}

std::string CTable::Quoted(std::string_view name)
{
    std::string quoted = "\"";
    for (const char character : name)
        quoted.append(character == '"' ? 2 : 1, character);
    return quoted + "\"";
}
