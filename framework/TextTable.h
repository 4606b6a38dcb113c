#pragma once

#include "platform/Export.h"

#include <map>
#include <string>
#include <string_view>

/// One text of a table.
struct STextEntry {
    std::string codeName; ///< empty for texts that are fetched by number alone
    std::wstring text;
};

/// The texts of one module. Built from a resource file of lines "number TAB code name TAB text" in UTF-8, where \n, \t
/// and \\ in the text stand for a line end, a tabulator and a backslash; empty lines and lines that begin with # mean
/// nothing. A line that has another shape is left out: the build's own table is checked by the tests.
class ZEL_FRAMEWORK_API CTextTable {
public:
    explicit CTextTable(std::string_view resource);

    /// Null for an unknown identifier. The entry lives as long as the table.
    [[nodiscard]] const STextEntry* FindEntry(unsigned id) const;

    /// The built-in table of a module, parsed at the first use; null when the module has none. From any thread.
    [[nodiscard]] static const CTextTable* Find(std::string_view moduleName);

private:
    void AddLine(std::string_view line);

    std::map<unsigned, STextEntry> m_entries;
};
