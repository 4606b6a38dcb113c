#pragma once

#include <optional>
#include <string>
#include <vector>

/// What is to come out of a document.
struct SDomResult {
    bool accepted = true;
    /// DomShape of the document; empty: too large to be compared whole.
    std::wstring shape = {};
    /// The text of the first node, breadth first level by level, of the name that the row looks up.
    std::wstring value = {};
};

/// One document as it lies in a file, and one expected result for every system.
struct SDomDocument {
    std::string name;
    std::string bytes;
    /// Also given as text to loadXML, with the same result.
    bool alsoAsText = true;
    /// A node name to be looked up without regard to case; empty: none.
    std::wstring lookUp = {};
    SDomResult expected = {};
    /// What the DOM of Windows under Wine answers where that differs, and why.
    std::optional<SDomResult> underWine = std::nullopt;
    const char* reason = "";
    /// Where the parser finds the fault of a refused document; 0: not said. The DOM under Wine never says.
    int line = 0;
    int column = 0;
};

/// The table that every layer with an XML reader is tested with.
[[nodiscard]] std::vector<SDomDocument> DomDocuments();
