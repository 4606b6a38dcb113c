#include "CommandFile.h"

#include "ZEL_Processor/XMLTools.h"
#include "com/Bstr.h"
#include "com/ComError.h"
#include "com/ComPtr.h"
#include "com/Variant.h"
#include "com/Xml.h"
#include "com/ZelCom.h"
#include "platform/Text.h"

namespace CommandFile {

namespace {

constexpr const wchar_t* kCommand = L"Command";
constexpr const wchar_t* kType = L"Type";
constexpr const wchar_t* kRequestName = L"RequestName";

CComPtr<IXMLDOMElement> CreateElement(IXMLDOMDocument& document, const wchar_t* name)
{
    CComPtr<IXMLDOMElement> element;
    ThrowIfFailed(document.createElement(CBstr(std::wstring_view(name)).Get(), element.Put()));
    return element;
}

void Fill(IXMLDOMDocument& document, const wchar_t* word, const CString& requestName)
{
    CComPtr<IXMLDOMProcessingInstruction> declaration;
    ThrowIfFailed(document.createProcessingInstruction(
        CBstr(L"xml").Get(), CBstr(L" version='1.0' encoding='UTF-8'").Get(), declaration.Put()));
    ThrowIfFailed(document.appendChild(declaration.Get(), nullptr));
    const CComPtr<IXMLDOMElement> command = CreateElement(document, kCommand);
    ThrowIfFailed(
        command->setAttribute(CBstr(std::wstring_view(kType)).Get(), CVariant(std::wstring_view(word)).Get()));
    const CComPtr<IXMLDOMElement> name = CreateElement(document, kRequestName);
    ThrowIfFailed(name->put_nodeTypedValue(CVariant(std::wstring_view(requestName)).Get()));
    ThrowIfFailed(command->appendChild(name.Get(), nullptr));
    ThrowIfFailed(document.appendChild(command.Get(), nullptr));
}

} // namespace

const wchar_t* WordOf(eCommandType type)
{
    switch (type) {
    case eCommandType_CancelRequest: return L"CancelRequest";
    case eCommandType_PauseRequest: return L"PauseRequest";
    case eCommandType_RegisterClient: return L"RegisterClient";
    case eCommandType_UnregisterClient: return L"UnregisterClient";
    default: return nullptr;
    }
}

eCommandType TypeOf(const CString& word)
{
    for (const eCommandType type : {eCommandType_CancelRequest, eCommandType_PauseRequest, eCommandType_RegisterClient,
                                    eCommandType_UnregisterClient}) {
        if (platform::EqualsNoCase(word, WordOf(type)))
            return type;
    }
    return eCommandType_NotInitialized;
}

eRead Read(const CString& path, SContent& content)
{
    CComPtr<IXMLDOMDocument> document;
    if (!CXMLTools::CreateXmlDomFromFile(path, document.Put(), content.reason))
        return eRead_NoXml;
    CComPtr<IXMLDOMNode> command;
    CString word;
    // An empty name names nothing.
    if (!CXMLTools::GetNodeByName(document.Get(), kCommand, command.Put()) ||
        !CXMLTools::GetAttributeValue(command.Get(), kType, word) ||
        !CXMLTools::GetNodeValue(command.Get(), kRequestName, content.name) || content.name.empty())
        return eRead_Incomplete;
    content.type = TypeOf(word);
    return eRead_Ok;
}

bool Write(const CString& path, eCommandType type, const CString& name, HRESULT& documentResult)
{
    CComPtr<IXMLDOMDocument> document;
    documentResult = CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument>(),
                                         document.PutVoid());
    if (documentResult != S_OK)
        return false;
    Fill(*document, WordOf(type), name);
    return document->save(CVariant(std::wstring_view(path)).Get()) == S_OK;
}

} // namespace CommandFile
