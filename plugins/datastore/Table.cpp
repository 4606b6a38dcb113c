#include "plugins/datastore/Table.h"

#include "platform/Text.h"
#include "plugins/datastore/XmlElements.h"

#include <algorithm>
#include <utility>

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

bool CTable::SetPath(const CString& path, std::vector<std::string> columns, CString& error)
{
    const CString trimmed = Trimmed(path);
    const auto slash = trimmed.find(L'/');
    m_bMainTable = slash == CString::npos;
    m_strAskedName.clear();
    m_askedColumns = std::move(columns);
    if (!m_source.SetName(trimmed.substr(0, slash), error))
        return false;
    if (m_bMainTable)
        return true;
    m_strAskedName = platform::ToUtf8(trimmed.substr(slash + 1));
    if (m_strAskedName.empty())
        error = L"\"" + trimmed.substr(0, slash + 1) + L"\" names no table behind the \"/\".";
    return !m_strAskedName.empty();
}

bool CTable::Open(CDatabase& database, CString& error)
{
    return m_source.Open(database, error) &&
           (m_bMainTable ? FindMainTable(database, error) : FindTable(database, error)) && FindColumns(database, error);
}

bool CTable::FindMainTable(CDatabase& database, CString& error)
{
    const std::string sourceName = platform::ToUtf8(m_source.Name());
    CStatement statement;
    eStepResult step = eStep_Failed;
    std::size_t count = 0;
    if (database.Prepare("SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite~_%' ESCAPE '~'",
                         statement)) {
        while ((step = database.Step(statement)) == eStep_Row) {
            ++count;
            m_strName = statement.Column(0).bytes;
            if (IsSameName(m_strName, sourceName))
                return true;
        }
    }
    if (step == eStep_Done && count == 1)
        return true;
    error = m_source.ErrorOf(step != eStep_Done ? database.ErrorText()
                                                : L"it has " + std::to_wstring(count) +
                                                      L" tables and none of its own name; name one as \"" +
                                                      m_source.Name() + L"/table\"");
    return false;
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
            error = ErrorOf(L"has no column \"" + platform::FromUtf8(asked) + L"\"");
            return false;
        }
        m_columns.push_back(*found);
    }
    return true;
}

CString CTable::ErrorOf(const CString& reason) const
{
    return m_source.ErrorOf(L"table \"" + platform::FromUtf8(m_strName) + L"\" " + reason);
}

std::string CTable::Quoted(std::string_view name)
{
    std::string quoted = "\"";
    for (const char character : name)
        quoted.append(character == '"' ? 2 : 1, character);
    return quoted + "\"";
}
