#pragma once

#include "com/ComPtr.h"
#include "com/Xml.h"

#include <string>
#include <vector>

/// The loading side of an XML archive: a place in a document. Names are XML names here, compared letter for letter.
class CXMLArchiveLoader {
public:
    /// False with the reason when the file can't be read, which is told apart, or is no archive.
    bool Load(const std::wstring& path, std::wstring& errorText, bool& isUnreadable);

    bool Enter(const std::wstring& name);
    bool Leave();
    bool NextSibling(const std::wstring& name);
    [[nodiscard]] bool IsOnElement() const { return static_cast<bool>(m_path.back()); }
    bool GetAttribute(const std::wstring& name, std::wstring& value) const;
    bool GetText(std::wstring& value) const;

private:
    bool Parse(const std::wstring& text, std::wstring& errorText);
    bool StandOnFrame(std::wstring& errorText);

    CComPtr<IXMLDOMDocument> m_document;
    std::vector<CComPtr<IXMLDOMNode>> m_path{1}; ///< from the frame down; the last is empty behind the last sibling
};
