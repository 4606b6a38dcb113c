#pragma once

#include "plugins/datastore/Database.h"

#include "com/Xml.h"

/// A named data source: the file `<name>.sqlite` in the folder that the variable ZEL_DATA_DIR names.
class CDataSource {
public:
    /// Reads the name from a task. False, with a text for the client, when it is missing or no name of a data source.
    [[nodiscard]] bool Read(IXMLDOMNode* task, CString& error);
    /// The same with a name that was read already.
    [[nodiscard]] bool SetName(const CString& name, CString& error);
    /// False, with a text for the client, when there is no such data source or it can't be opened.
    [[nodiscard]] bool Open(CDatabase& database, CString& error) const;

    [[nodiscard]] const CString& Name() const { return m_strName; }
    /// `Data source "name": reason`, the form of all errors that a data source gives.
    [[nodiscard]] CString ErrorOf(const CString& reason) const;

    /// Folder of the data sources; empty when there is none.
    [[nodiscard]] static CString Folder();
    /// What the name of a file has behind the name of its data source.
    static constexpr const wchar_t* kExtension = L".sqlite";

    /// True for ASCII letters, digits, '_', '-' and '.', not beginning with a dot, at most 100 characters, and no name
    /// that Windows keeps for devices. Such a name can't leave the folder.
    [[nodiscard]] static bool IsName(const CString& name);

private:
    CString m_strName;
};
