#include "ZEL_Processor/XMLTools.h"

#include "com/Bstr.h"
#include "com/ComError.h"
#include "com/ComPtr.h"
#include "com/Variant.h"
#include "framework/Services.h"
#include "platform/Text.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

namespace {

// Names and texts of the element.
constexpr const wchar_t* kTask = L"Task";
constexpr const wchar_t* kType = L"Type";
constexpr const wchar_t* kProperties = L"Properties";
constexpr const wchar_t* kAction = L"Action";
constexpr const wchar_t* kGet = L"Get";
constexpr const wchar_t* kDataSource = L"DataSource";
constexpr const wchar_t* kId = L"Id";
constexpr const wchar_t* kElementName = L"ElementName";
constexpr const wchar_t* kPropertyName = L"PropertyName";
constexpr const wchar_t* kValue = L"Value";
constexpr const wchar_t* kGetFirst = L"GetFirst";

CComPtr<IXMLDOMElement> CreateElement(IXMLDOMDocument* document, const wchar_t* name)
{
    const CBstr tag{std::wstring_view(name)};
    CComPtr<IXMLDOMElement> element;
    ThrowIfFailed(document->createElement(tag.Get(), element.Put()));
    return element;
}

void AppendChild(IXMLDOMDocument* document, const CComPtr<IXMLDOMElement>& parent, const wchar_t* name,
                 std::wstring_view text)
{
    const CComPtr<IXMLDOMElement> child = CreateElement(document, name);
    const CVariant value(text);
    ThrowIfFailed(child->put_nodeTypedValue(value.Get()));
    ThrowIfFailed(parent->appendChild(child.Get(), nullptr));
}

CComPtr<IXMLDOMElement> CreateTask(IXMLDOMDocument* document, const CString& dataSource, const CString& id,
                                   const CString& propertyName)
{
    CComPtr<IXMLDOMElement> element = CreateElement(document, kTask);
    const CBstr type{std::wstring_view(kType)};
    const CVariant properties{std::wstring_view(kProperties)};
    ThrowIfFailed(element->setAttribute(type.Get(), properties.Get()));
    AppendChild(document, element, kAction, kGet);
    AppendChild(document, element, kDataSource, dataSource);
    AppendChild(document, element, kId, id);
    AppendChild(document, element, kPropertyName, propertyName);
    return element;
}

} // namespace

bool CXMLTools::XmlContainsTypeDefinitions(const CString& xml)
{
    const std::size_t found = xml.find(L"dt:dt");
    return found != CString::npos && found > 0;
}

bool CXMLTools::CreateTask_Properties(IXMLDOMDocument* document, const CString& dataSource, const CString& id,
                                      const CString& propertyName, IXMLDOMElement** task)
{
    if (!document || !task)
        return false;
    try {
        *task = CreateTask(document, dataSource, id, propertyName).Detach();
        return true;
    } catch (const CComError& error) {
        WQ_ReportErrorNow(SourceNames::kXMLTools, ReportLines::kPropertiesTaskFailed,
                          L"CXMLTools::CreateTask_Properties",
                          L"Unable to create the task: " + platform::FromUtf8(error.what()));
        return false;
    }
}

bool CXMLTools::ReadTask_Properties(IXMLDOMNode* task, CString& action, CString& dataSource,
                                    eElementIdentification& identification, CString& idOrElementName,
                                    CString& propertyName, CString& value)
{
    GetNodeValue(task, kAction, action);
    GetNodeValue(task, kDataSource, dataSource);
    if (GetNodeValue(task, kId, idOrElementName)) {
        const bool isFirst = platform::EqualsNoCase(idOrElementName, kGetFirst);
        identification = isFirst ? eElementIdentification_First : eElementIdentification_Id;
    } else if (GetNodeValue(task, kElementName, idOrElementName)) {
        identification = eElementIdentification_Name;
    } else {
        for (CString* text : {&action, &dataSource, &idOrElementName, &propertyName, &value})
            text->clear();
        identification = eElementIdentification_None;
        return false;
    }
    GetNodeValue(task, kPropertyName, propertyName);
    GetNodeValue(task, kValue, value);
    return true;
}
