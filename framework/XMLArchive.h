#pragma once

#include "com/Com.h"
#include "platform/Export.h"

#include <memory>
#include <string>

class CXMLArchiveLoader;
class CXMLArchiveStorer;

/// An XML file as a tree of named elements with attributes and texts, which is stored or loaded in one pass. The form
/// is in docs/archives.md. The archive stands on an element, the frame at first; names are made into XML names by
/// CWQ_XMLName.
///
/// Operations give false for what the direction or the place does not allow and for what is not there; nothing throws
/// but std::bad_alloc, and CComError when the DOM breaks. One thread at a time; loading needs a thread whose COM is
/// initialised.
class ZEL_FRAMEWORK_API CWQ_XMLArchive {
public:
    enum eDirection { eDirection_Load, eDirection_Store };

    /// rawNames: names are XML names already and are used as they are.
    explicit CWQ_XMLArchive(bool rawNames = false);
    /// Closes without writing.
    ~CWQ_XMLArchive();
    CWQ_XMLArchive(const CWQ_XMLArchive&) = delete;
    CWQ_XMLArchive& operator=(const CWQ_XMLArchive&) = delete;

    /// Loading reads the whole file (at most 64 MiB of UTF-8, without a document type) and closes it; false when it
    /// can't be read or is no archive, GetErrorText then tells why. Storing touches no file until Close. False when it
    /// is open already.
    bool Open(const std::wstring& path, eDirection direction);
    /// Storing: writes the file through one exclusive open. False when that fails or nothing is open. Elements that
    /// were not left are closed.
    bool Close();
    [[nodiscard]] bool IsOpen() const;
    [[nodiscard]] const std::wstring& GetErrorText() const;
    /// True when the last loading failed because the file could not be read, so that nothing is known of what it is.
    [[nodiscard]] bool IsUnreadable() const;

    /// Loading: goes to the first child of this name. Storing: makes one; elements nest at most 200 deep.
    bool EnterElement(const std::wstring& name);
    /// Back to the parent; false on the frame.
    bool LeaveElement();
    /// Loading: goes to the next element of this name beside the present one; when there is none, the archive stands on
    /// no element until LeaveElement. Storing: leaves the present element and makes another one beside it. False on the
    /// frame.
    bool NextSibling(const std::wstring& name);
    /// True while there is an element to read from or write to.
    [[nodiscard]] bool IsOnElement() const;

    /// Loading. The text is empty, and the GUID all zero, when the attribute is missing; a text that is no GUID in
    /// braces is false as well.
    bool GetAttribute(const std::wstring& name, std::wstring& value) const;
    bool GetAttribute(const std::wstring& name, GUID& value) const;
    /// The element's own text, that of its children aside.
    bool GetText(std::wstring& value) const;
    bool GetText(GUID& value) const;

    /// Storing. Attributes come before texts and children, each once. Characters that XML has not are refused.
    bool PutAttribute(const std::wstring& name, const std::wstring& value);
    bool PutAttribute(const std::wstring& name, const GUID& value);
    bool PutText(const std::wstring& value);
    bool PutText(const GUID& value);

private:
    [[nodiscard]] std::wstring NameOf(const std::wstring& name) const;

    const bool m_bRawNames;
    std::wstring m_strPath;
    std::wstring m_strErrorText;
    bool m_bUnreadable = false;
    std::unique_ptr<CXMLArchiveLoader> m_pLoader; ///< while loading
    std::unique_ptr<CXMLArchiveStorer> m_pStorer; ///< while storing
};
