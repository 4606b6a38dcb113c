#pragma once

#include <string>
#include <vector>

/// The storing side of an XML archive: the UTF-8 text of the file as it grows. We write it by ourselves: what the DOM
/// of each system saves differs in declaration, line ends and references, and the file is to be the same everywhere.
class CXMLArchiveStorer {
public:
    CXMLArchiveStorer();

    /// False for what is no XML name of ASCII characters (a colon is none), and 200 elements deep.
    bool Enter(const std::wstring& name);
    bool Leave();
    [[nodiscard]] bool IsOnFrame() const { return m_open.size() == 1; }
    /// False behind a text or a child, for a second one of the name, and for characters that XML has not.
    bool PutAttribute(const std::wstring& name, const std::wstring& value);
    bool PutText(const std::wstring& value);

    /// The whole file, with every element closed. Nothing is stored behind this.
    [[nodiscard]] std::string Finish();

private:
    struct SElement {
        std::string name;
        bool isTagOpen = true; ///< attributes can still be put
        std::vector<std::string> attributes;
    };

    void CloseTag();
    void CloseElement();

    std::string m_strText;
    std::vector<SElement> m_open; ///< from the frame down
};
