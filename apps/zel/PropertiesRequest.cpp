#include "apps/zel/PropertiesRequest.h"

#include "ZEL_Processor/XMLTools.h"
#include "apps/common/ShownText.h"
#include "com/Bstr.h"
#include "com/ComError.h"
#include "com/ComPtr.h"
#include "com/Variant.h"
#include "platform/Text.h"

#include "ToolTexts.h"

namespace {

/// Puts the name in the place of the id, which the library writes.
void NameItem(IXMLDOMDocument& document, IXMLDOMElement& task, const std::wstring& name)
{
    CComPtr<IXMLDOMNode> id;
    if (!CXMLTools::GetNodeByName(&task, L"Id", id.Put()))
        throw CComError(E_UNEXPECTED);
    CComPtr<IXMLDOMElement> element;
    ThrowIfFailed(document.createElement(CBstr(L"ElementName").Get(), element.Put()));
    ThrowIfFailed(element->put_nodeTypedValue(CVariant(std::wstring_view(name)).Get()));
    ThrowIfFailed(task.removeChild(id.Get(), nullptr));
    ThrowIfFailed(task.appendChild(element.Get(), nullptr));
}

/// False when it can't be made or saved.
bool Write(const SPropertyQuestion& question, const std::wstring& path)
{
    CBstr text(L"<Request/>");
    std::wstring ignored;
    CComPtr<IXMLDOMDocument> document;
    CComPtr<IXMLDOMElement> root;
    CComPtr<IXMLDOMElement> task;
    if (!CXMLTools::CreateXmlDomFromString(text.Get(), document.Put(), ignored) ||
        !CXMLTools::CreateTask_Properties(document.Get(), question.dataSource, question.item, question.property,
                                          task.Put()))
        return false;
    if (question.isNamed)
        NameItem(*document, *task, question.item);
    ThrowIfFailed(document->get_documentElement(root.Put()));
    ThrowIfFailed(root->appendChild(task.Get(), nullptr));
    return document->save(CVariant(std::wstring_view(path)).Get()) == S_OK;
}

} // namespace

bool WritePropertiesRequest(const SPropertyQuestion& question, const std::wstring& path, std::wstring& error)
{
    if (Write(question, path))
        return true;
    error = ShownText(ToolTexts::IDS_REQUEST_CANNOT_BE_WRITTEN, {path});
    return false;
}

bool ReadPropertiesResponse(const std::wstring& path, SPropertyValue& value, std::wstring& error)
{
    CComPtr<IXMLDOMDocument> document;
    if (!CXMLTools::CreateXmlDomFromFile(path, document.Put(), error))
        return false;
    std::wstring action;
    eElementIdentification identification = eElementIdentification_None;
    CComPtr<IXMLDOMNode> node;
    if (!CXMLTools::ReadTask_Properties(document.Get(), action, value.dataSource, identification, value.item,
                                        value.property, value.value) ||
        !CXMLTools::GetNodeByName(document.Get(), L"Value", node.Put())) {
        error = WQ_ModuleText(ToolTexts::IDS_NO_VALUE);
        return false;
    }
    value.isNamed = identification == eElementIdentification_Name;
    std::wstring null;
    value.isNull = CXMLTools::GetAttributeValue(node.Get(), L"Null", null) && platform::EqualsNoCase(null, L"true");
    static_cast<void>(CXMLTools::GetAttributeValue(node.Get(), L"Type", value.type));
    static_cast<void>(CXMLTools::GetAttributeValue(node.Get(), L"Encoding", value.encoding));
    return true;
}
