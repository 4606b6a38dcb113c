#include "plugins/datastore/PropertiesTask.h"

#include "platform/Text.h"
#include "plugins/datastore/XmlElements.h"

#include <map>

namespace {

/// The column whose value is the name of a row.
constexpr const char* kNameColumn = "name";

/// How the first of several rows is told.
struct SRowOrder {
    bool hasRowIds = false;
    std::string clause; ///< ORDER BY of a statement, with a blank before it
};

/// The rows of a table have an order of their own: by row id, or by the primary key of a table without them. Without
/// saying so, any index could decide. The rows of a view come as its statement gives them.
bool FindRowOrder(CDatabase& database, const CTable& table, SRowOrder& order)
{
    const std::string name = "(" + CTable::Quoted(table.Name()) + ")";
    bool isView = false;
    const auto readKind = [&](const CStatement& row) {
        isView = row.Column(2).bytes == "view";
        order.hasRowIds = !isView && row.Column(4).integer == 0;
    };
    if (!database.RunOwn("PRAGMA main.table_list" + name, readKind))
        return false;
    if (order.hasRowIds)
        order.clause = " ORDER BY rowid";
    std::map<std::int64_t, std::string> key;
    const auto readKey = [&](const CStatement& row) {
        if (row.Column(5).integer != 0)
            key.emplace(row.Column(5).integer, row.Column(1).bytes);
    };
    if (order.hasRowIds || isView)
        return true;
    if (!database.RunOwn("PRAGMA main.table_info" + name, readKey))
        return false;
    for (const auto& [place, column] : key)
        order.clause += (order.clause.empty() ? " ORDER BY " : ", ") + CTable::Quoted(column);
    return true;
}

/// The property in the first of the rows that the clause takes, and the id of that row where it has one.
bool PrepareFirst(CDatabase& database, const CTable& table, const std::string& where, CStatement& statement)
{
    SRowOrder order;
    if (!FindRowOrder(database, table, order))
        return false;
    return database.Prepare("SELECT " + CTable::Quoted(table.Columns().front()) + (order.hasRowIds ? ", rowid" : "") +
                                " FROM " + CTable::Quoted(table.Name()) + where + order.clause + " LIMIT 1",
                            statement);
}

} // namespace

bool CPropertiesTask::Read(IXMLDOMNode* task, CString& error)
{
    CString action;
    CString value;
    const bool isIdentified = CXMLTools::ReadTask_Properties(task, action, m_strDataSource, m_identification, m_strItem,
                                                             m_strProperty, value);
    m_strProperty = Trimmed(m_strProperty);
    if (!isIdentified)
        error = L"The task has neither an \"Id\" nor an \"ElementName\" element.";
    else if (!platform::EqualsNoCase(Trimmed(action), L"Get"))
        error = L"\"" + action.substr(0, 100) + L"\" is no action of the data store; there is only \"Get\".";
    else if (m_strProperty.empty())
        error = L"The task has no \"PropertyName\" element, or an empty one.";
    else if (m_identification == eElementIdentification_Id &&
             !ParseInteger(platform::ToUtf8(Trimmed(m_strItem)), m_nId))
        error = L"\"" + m_strItem.substr(0, 100) + L"\" is no id of a row; ids are integers, or \"GetFirst\".";
    else
        return m_table.SetPath(m_strDataSource,
                               m_identification == eElementIdentification_Name
                                   ? std::vector<std::string>{platform::ToUtf8(m_strProperty), kNameColumn}
                                   : std::vector<std::string>{platform::ToUtf8(m_strProperty)},
                               error);
    return false;
}

bool CPropertiesTask::Check(CString& error) const
{
    CDatabase database;
    database.LimitWork();
    SAnswer answer;
    // What waits or searches long is left to the task, which can be cancelled.
    return Find(database, answer, error) || database.IsBusy() || database.IsCutShort();
}

CDataStoreTask::eOutcome CPropertiesTask::Run(CZelProcessorContext& context, CZelProcessorProgress&, CString& error)
{
    CDatabase database(&context);
    const bool isFound = Find(database, m_answer, error);
    if (context.IsCanceled())
        return eOutcome_Canceled;
    return isFound ? eOutcome_Done : eOutcome_Failed;
}

bool CPropertiesTask::Find(CDatabase& database, SAnswer& answer, CString& error) const
{
    CTable table = m_table;
    if (!table.Open(database, error))
        return false;
    CStatement statement;
    const eStepResult step = Prepare(database, table, statement) ? database.Step(statement) : eStep_Failed;
    if (step != eStep_Row) {
        error = step == eStep_Done ? table.ErrorOf(MissingText()) : table.DataSource().ErrorOf(database.ErrorText());
        return false;
    }
    AppendValueXml(answer.valueXml, "Value", statement.Column(0), eValue_Null);
    const SValue id = statement.ColumnCount() > 1 ? statement.Column(1) : SValue{};
    answer.id = id.type == eValue_Integer ? std::to_wstring(id.integer) : m_strItem;
    return true;
}

bool CPropertiesTask::Prepare(CDatabase& database, const CTable& table, CStatement& statement) const
{
    if (m_identification == eElementIdentification_First)
        return PrepareFirst(database, table, "", statement);
    if (m_identification == eElementIdentification_Id)
        return database.Prepare("SELECT " + CTable::Quoted(table.Columns().front()) + " FROM " +
                                    CTable::Quoted(table.Name()) + " WHERE rowid = ?",
                                statement) &&
               statement.Bind(1, {.type = eValue_Integer, .integer = m_nId, .bytes = {}});
    const std::string name = platform::ToUtf8(m_strItem);
    return PrepareFirst(database, table, " WHERE " + CTable::Quoted(table.Columns().back()) + " = ?", statement) &&
           statement.Bind(1, {.type = eValue_Text, .bytes = name});
}

CString CPropertiesTask::MissingText() const
{
    switch (m_identification) {
    case eElementIdentification_Id: return L"has no row with the id " + std::to_wstring(m_nId);
    case eElementIdentification_Name: return L"has no row with the name \"" + m_strItem.substr(0, 100) + L"\"";
    default: return L"has no rows";
    }
}

bool CPropertiesTask::WriteResponse(CZelXmlWriter& xml)
{
    const bool isNamed = m_identification == eElementIdentification_Name;
    xml.Open("Response");
    xml.Open("Task");
    xml.Attribute("Type", L"Properties");
    xml.Element("Action", L"Get");
    xml.Element("DataSource", Trimmed(m_strDataSource));
    xml.Element(isNamed ? "ElementName" : "Id", isNamed ? m_strItem : Trimmed(m_answer.id));
    xml.Element("PropertyName", m_strProperty);
    xml.ElementMarkup(m_answer.valueXml);
    xml.Close();
    xml.Close();
    return true;
}
