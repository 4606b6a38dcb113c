#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/Com.h"
#include "com/Xml.h"

#include <cstdint>

class CHeapMemFile;
struct IWQ_ArchiveObj;

/// How a properties task names its item.
enum eElementIdentification : std::int32_t {
    eElementIdentification_None = 0,  ///< not at all
    eElementIdentification_Name = 1,  ///< by element name
    eElementIdentification_Id = 2,    ///< by id
    eElementIdentification_First = 3, ///< the first item, whatever it is
};

/// Look-ups by node name over the DOM. Static functions without state; safe from any thread whose COM is initialised,
/// one document on one thread at a time. Names are whole node names, prefix included, compared without regard to case;
/// there is no namespace handling.
///
/// Interface pointers passed in are borrowed; those passed out carry one reference for the caller. Every function
/// returns true for success and none throws for something missing. CComError (E_POINTER, E_OUTOFMEMORY) is possible
/// when the DOM itself breaks.
class ZEL_API CXMLTools {
public:
    /// Parses text within the limits of the thread (com/XmlLimits.h), without a document type. On failure errorText
    /// tells code, reason, line and column. The text must be a BSTR or at least zero-terminated.
    static bool CreateXmlDomFromString(wchar_t* xml, IXMLDOMDocument** document, CString& errorText);
    /// The same, giving the document element, which keeps its document alive. A null element with true: there is none.
    static bool CreateXmlDomFromString(wchar_t* xml, IXMLDOMElement** element, CString& errorText);
    /// Loads a file, with the same limits. errorText is written on failure only.
    static bool CreateXmlDomFromFile(CString path, IXMLDOMDocument** document, CString& errorText);
    static bool CreateXmlDomFromFile(CString path, IXMLDOMElement** element, CString& errorText);

    /// The first descendant of this name: a direct child wins over deeper ones, then the first child's subtree. *found
    /// must be null on entry, else false.
    static bool GetNodeByName(IXMLDOMNode* parent, const CString& name, IXMLDOMNode** found);
    /// The next sibling of this name after the start node. Overwrites *found.
    static bool GetNextSiblingByName(IXMLDOMNode* start, const CString& name, IXMLDOMNode** found);

    /// The text of the node, also of one with a data type.
    static bool GetNodeValue(IXMLDOMNode* node, CString& value);
    /// Gives the node the data type "i4": the value has 32 bits on every system. -1 when that fails.
    static bool GetNodeValue(IXMLDOMNode* node, long& value);
    /// Value of the named descendant; true when it was found, whatever reading it gave.
    static bool GetNodeValue(IXMLDOMNode* parent, const CString& name, CString& value);
    static bool GetNodeValue(IXMLDOMNode* parent, const CString& name, long& value);

    static bool GetAttributeValue(IXMLDOMNode* node, const CString& name, CString& value);
    /// -1 when it is missing, 0 when it is no number; what 32 bits can't hold becomes the nearest that they can.
    static bool GetAttributeValue(IXMLDOMNode* node, const CString& name, long& value);
    /// All zero when it is missing or no GUID in braces; true whenever the attribute is there.
    static bool GetAttributeValue(IXMLDOMNode* node, const CString& name, GUID& value);

    /// True when the text has "dt:dt" behind its first character. At the very start it does not count.
    static bool XmlContainsTypeDefinitions(const CString& xml);

    /// Makes the "Task" element by which a client asks for one property of an item; id may be "GetFirst". The caller
    /// appends it to the document. False for null pointers, and after a report when
    /// the DOM fails: for one, because it takes no text with control characters.
    static bool CreateTask_Properties(IXMLDOMDocument* document, const CString& dataSource, const CString& id,
                                      const CString& propertyName, IXMLDOMElement** task);
    /// Reads such an element. "Id" wins over "ElementName"; without both everything is emptied and the result is false.
    /// Other children that are missing give empty texts.
    static bool ReadTask_Properties(IXMLDOMNode* task, CString& action, CString& dataSource,
                                    eElementIdentification& identification, CString& idOrElementName,
                                    CString& propertyName, CString& value);

    /// Stores an object as the whole content of a memory file, in the form of the memory archive. The position is then
    /// at the end, or at the start with rewind. E_FAIL for every failure, with what is in the file unspecified. Throws
    /// CInvalidArgException for a null object or name. Both need a thread whose COM is initialised.
    static HRESULT StoreWQ_ArchiveObjIntoBinaryData(IWQ_ArchiveObj* object, const wchar_t* name, CHeapMemFile& target,
                                                    bool rewind);
    /// Makes the object that was stored under this name. E_FAIL, with a null object, for every failure. Throws
    /// CInvalidArgException for a null name or target.
    static HRESULT LoadWQ_ArchiveObjFromBinaryData(CHeapMemFile& source, const wchar_t* name, IWQ_ArchiveObj** object);
};
