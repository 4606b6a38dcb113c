#include "plugins/datastore/QueryTask.h"

#include "plugins/datastore/RowCountComment.h"

namespace {
/// What is held of a row before it goes to the spool, so that a row of many large values need not be in memory as a
/// whole.
constexpr std::size_t kRowBytes = 64 * 1024;
} // namespace

bool CQueryTask::Read(IXMLDOMNode* task, CString& error)
{
    return m_query.Read(task, error);
}

bool CQueryTask::Check(CString& error) const
{
    CDatabase database;
    CStatement statement;
    // A database that is being written is no fault of the request; the task waits for it, where it can be cancelled.
    return m_query.Prepare(database, statement, error) || database.IsBusy();
}

CDataStoreTask::eOutcome CQueryTask::Run(CZelProcessorContext& context, CZelProcessorProgress& progress, CString& error)
{
    CDatabase database(&context);
    CStatement statement;
    if (!m_query.Prepare(database, statement, error))
        return context.IsCanceled() ? eOutcome_Canceled : eOutcome_Failed;
    ReadColumns(statement);
    CRowCountComment comment(progress);
    eStepResult step = eStep_Done;
    while ((step = database.Step(statement)) == eStep_Row) {
        if (context.IsCanceled())
            return eOutcome_Canceled;
        if (!SpoolRow(statement)) {
            error = m_query.DataSource().ErrorOf(L"can't keep the rows: " + m_rows.ErrorText());
            return eOutcome_Failed;
        }
        comment.Show(++m_nRows);
    }
    if (step == eStep_Canceled)
        return eOutcome_Canceled;
    error = m_query.DataSource().ErrorOf(database.ErrorText());
    return step == eStep_Done ? eOutcome_Done : eOutcome_Failed;
}

void CQueryTask::ReadColumns(const CStatement& statement)
{
    m_columns.clear();
    for (int column = 0; column < statement.ColumnCount(); ++column)
        m_columns.push_back({XmlSafeText(statement.ColumnName(column))});
}

bool CQueryTask::SpoolRow(const CStatement& statement)
{
    m_strRow = "\n    <Row>";
    int index = 0;
    for (SColumn& column : m_columns) {
        const SValue value = statement.Column(index++);
        if (column.type == eValue_Null)
            column.type = value.type;
        AppendValueXml(m_strRow, "Value", value, column.type);
        if (m_strRow.size() < kRowBytes)
            continue;
        if (!m_rows.Write(m_strRow))
            return false;
        m_strRow.clear();
    }
    m_strRow += "</Row>";
    return m_rows.Write(m_strRow);
}

bool CQueryTask::WriteResponse(CZelXmlWriter& xml)
{
    /// Rows are complete markup; the writer lays out what is around them.
    struct SRows final : public IZelByteSink {
        explicit SRows(CZelXmlWriter& writer) : xml(writer) {}
        bool Write(std::string_view bytes) override
        {
            xml.Markup(bytes);
            return xml.IsGood();
        }
        CZelXmlWriter& xml;
    };

    xml.Open("Response");
    xml.Open("Columns");
    for (const SColumn& column : m_columns) {
        xml.Open("Column");
        xml.Attribute("Name", platform::FromUtf8(column.name));
        xml.Attribute("Type", platform::FromUtf8(ValueTypeName(column.type)));
        xml.Close();
    }
    xml.Close();
    xml.Open("Rows");
    xml.Attribute("Count", std::to_wstring(m_nRows));
    SRows rows(xml);
    if (m_nRows != 0 && !m_rows.CopyTo(rows))
        return false;
    xml.Close();
    xml.Close();
    return true;
}
