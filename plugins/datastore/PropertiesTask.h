#pragma once

#include "plugins/datastore/DataStoreTask.h"
#include "plugins/datastore/Table.h"

#include <string>

/// "Properties": one value of one row, which is named by its row id, by the value of the column "name", or as the
/// first.
class CPropertiesTask : public CDataStoreTask {
public:
    [[nodiscard]] bool Read(IXMLDOMNode* task, CString& error) override;
    [[nodiscard]] bool Check(CString& error) const override;
    [[nodiscard]] bool WriteResponse(CZelXmlWriter& xml) override;

protected:
    [[nodiscard]] eOutcome Run(CZelProcessorContext& context, CZelProcessorProgress& progress, CString& error) override;

private:
    /// What was found.
    struct SAnswer {
        CString id;           ///< of the first row, when it has one; else as it was asked for
        std::string valueXml; ///< the element Value
    };
    /// Looks the row up. False, with a text for the client, when it can't be found.
    [[nodiscard]] bool Find(CDatabase& database, SAnswer& answer, CString& error) const;
    [[nodiscard]] bool Prepare(CDatabase& database, const CTable& table, CStatement& statement) const;
    [[nodiscard]] CString MissingText() const;

    CString m_strDataSource;
    CString m_strItem; ///< id or element name
    CString m_strProperty;
    eElementIdentification m_identification = eElementIdentification_None;
    std::int64_t m_nId = 0;
    CTable m_table;
    SAnswer m_answer;
};
