#pragma once

#include "framework/texts/TextModule.h"

#include <map>

/// One text of a table.
struct STextEntry {
    std::string codeName; ///< empty for texts that are fetched by number alone
    std::wstring text;
};

/// The texts of one module in one language. Built from a resource file of lines "number TAB code name TAB text" in
/// UTF-8, where \n, \t and \\ in the text stand for a line end, a tabulator and a backslash; empty lines and lines that
/// begin with # mean nothing. A line that has another shape is left out: the build's own tables are checked by the
/// tests.
class ZEL_FRAMEWORK_API CTextTable {
public:
    /// The language that every module has, and that stands in for the others.
    static constexpr std::string_view kFallbackLanguage = "en";
    /// The module of the system itself, whose texts the others may use.
    static constexpr const char* kSystemModule = "ZEL_Processor";

    explicit CTextTable(std::string_view resource);

    /// Null for an unknown identifier. The entry lives as long as the table.
    [[nodiscard]] const STextEntry* FindEntry(unsigned id) const;
    [[nodiscard]] const std::map<unsigned, STextEntry>& Entries() const { return m_entries; }

    // The tables of this process, from any thread. They live as long as the process and are parsed at the first use.

    /// Makes the texts of a module known; one that is known stays as it is. The system's own are known from the start.
    static void Register(const STextModule& module);
    /// Null when the module has no texts in this language.
    [[nodiscard]] static const CTextTable* Find(std::string_view moduleName, std::string_view language);
    /// The languages of a module; empty when it is not known.
    [[nodiscard]] static std::vector<std::string> Languages(std::string_view moduleName);

private:
    void AddLine(std::string_view line);

    std::map<unsigned, STextEntry> m_entries;
};
