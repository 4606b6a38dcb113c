#include "plugins/datastore/StatisticsTask.h"

#include <utility>

namespace {

/// Calls the visitor with each row of a statement; Done when it came to the end.
template <class Visitor>
eStepResult ForEachRow(CDatabase& database, const std::string& sql, Visitor&& visitor)
{
    CStatement statement;
    if (!database.Prepare(sql, statement))
        return eStep_Failed;
    eStepResult step = eStep_Done;
    while ((step = database.Step(statement)) == eStep_Row)
        visitor(std::as_const(statement));
    return step;
}

} // namespace

bool CStatisticsTask::Read(IXMLDOMNode* task, CString& error)
{
    return m_table.Read(task, error);
}

bool CStatisticsTask::Check(CString& error) const
{
    CDatabase database;
    CTable table = m_table;
    return table.Open(database, error) || database.IsBusy(); // the task waits, where it can be cancelled
}

CDataStoreTask::eOutcome CStatisticsTask::Run(CZelProcessorContext& context, CZelProcessorProgress& progress,
                                              CString& error)
{
    CDatabase database(&context);
    if (!m_table.Open(database, error))
        return context.IsCanceled() ? eOutcome_Canceled : eOutcome_Failed;
    m_columns.clear();
    for (const std::string& name : m_table.Columns())
        m_columns.emplace_back(name);

    // The passes must see the same rows, or the ranks of one would not fit the counts of the other.
    eStepResult step = database.BeginSnapshot() ? CountRows(database) : eStep_Failed;
    if (step == eStep_Done) {
        CPercentProgress percent(progress, m_nRows * (1 + m_columns.size()));
        step = PassAll(database, percent);
        for (std::size_t index = 0; index < m_columns.size() && step == eStep_Done; ++index) {
            step = PassInOrder(database, m_columns[index], percent);
            percent.MoveTo(m_nRows * (index + 2)); // the nulls of the column, which are not in the pass
        }
    }
    if (context.IsCanceled())
        return eOutcome_Canceled;
    error = m_table.DataSource().ErrorOf(database.ErrorText());
    return step == eStep_Done ? eOutcome_Done : eOutcome_Failed;
}

eStepResult CStatisticsTask::CountRows(CDatabase& database)
{
    // Not count(*), which SQLite does in one step for the whole table: nothing could stop it.
    return ForEachRow(database, "SELECT count(1) FROM " + CTable::Quoted(m_table.Name()),
                      [&](const CStatement& row) { m_nRows = static_cast<std::uint64_t>(row.Column(0).integer); });
}

eStepResult CStatisticsTask::PassAll(CDatabase& database, CPercentProgress& progress)
{
    std::string columns;
    for (const CColumnStatistics& column : m_columns)
        columns += (columns.empty() ? "" : ", ") + CTable::Quoted(column.Name());
    return ForEachRow(database, "SELECT " + columns + " FROM " + CTable::Quoted(m_table.Name()),
                      [&](const CStatement& row) {
                          int index = 0;
                          for (CColumnStatistics& column : m_columns)
                              column.Add(row.Column(index++));
                          progress.Advance(1);
                      });
}

eStepResult CStatisticsTask::PassInOrder(CDatabase& database, CColumnStatistics& column, CPercentProgress& progress)
{
    // BINARY whatever the column's own collation: values that differ count as different.
    const std::string value = CTable::Quoted(column.Name()) + " COLLATE BINARY";
    const std::string sql = "SELECT " + value + ", count(*) FROM " + CTable::Quoted(m_table.Name()) + " WHERE " +
                            value + " IS NOT NULL GROUP BY 1 ORDER BY 1";
    return ForEachRow(database, sql, [&](const CStatement& row) {
        const auto occurrences = static_cast<std::uint64_t>(row.Column(1).integer);
        column.AddInOrder(row.Column(0), occurrences);
        progress.Advance(occurrences);
    });
}

bool CStatisticsTask::WriteResponse(CZelXmlWriter& xml)
{
    xml.Open("Response");
    xml.Element("DataSource", m_table.DataSource().Name());
    xml.Element("Table", platform::FromUtf8(XmlSafeText(m_table.Name())));
    xml.Element("RowCount", std::to_wstring(m_nRows));
    for (const CColumnStatistics& column : m_columns)
        column.Write(xml);
    xml.Close();
    return true;
}
