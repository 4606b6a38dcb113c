#pragma once

#include "plugins/datastore/DataStoreTask.h"
#include "plugins/datastore/Query.h"
#include "plugins/datastore/Spool.h"

#include <vector>

/// "Query": the rows of one statement.
class CQueryTask : public CDataStoreTask {
public:
    [[nodiscard]] bool Read(IXMLDOMNode* task, CString& error) override;
    [[nodiscard]] bool Check(CString& error) const override;
    [[nodiscard]] bool WriteResponse(CZelXmlWriter& xml) override;

protected:
    [[nodiscard]] eOutcome Run(CZelProcessorContext& context, CZelProcessorProgress& progress, CString& error) override;

private:
    struct SColumn {
        std::string name;
        eValueType type = eValue_Null; ///< that of the first value that is not null
    };
    void ReadColumns(const CStatement& statement);
    [[nodiscard]] bool SpoolRow(const CStatement& statement);

    CQuery m_query;
    std::vector<SColumn> m_columns;
    std::uint64_t m_nRows = 0;
    std::string m_strRow; ///< kept from row to row for its memory
    CSpool m_rows;
};
