#pragma once

#include "plugins/common/PercentProgress.h"
#include "plugins/datastore/ColumnStatistics.h"
#include "plugins/datastore/DataStoreTask.h"
#include "plugins/datastore/Table.h"

#include <vector>

/// "Statistics": one pass over the table for all columns, then one over the ordered values of each column.
class CStatisticsTask : public CDataStoreTask {
public:
    [[nodiscard]] bool Read(IXMLDOMNode* task, CString& error) override;
    [[nodiscard]] bool Check(CString& error) const override;
    [[nodiscard]] bool WriteResponse(CZelXmlWriter& xml) override;

protected:
    [[nodiscard]] eOutcome Run(CZelProcessorContext& context, CZelProcessorProgress& progress, CString& error) override;

private:
    [[nodiscard]] eStepResult CountRows(CDatabase& database);
    [[nodiscard]] eStepResult PassAll(CDatabase& database, CPercentProgress& progress);
    [[nodiscard]] eStepResult PassInOrder(CDatabase& database, CColumnStatistics& column, CPercentProgress& progress);

    CTable m_table;
    std::uint64_t m_nRows = 0;
    std::vector<CColumnStatistics> m_columns;
};
