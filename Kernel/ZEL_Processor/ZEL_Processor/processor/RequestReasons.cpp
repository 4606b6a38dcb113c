#include "RequestReasons.h"

#include "ZEL_Processor/XMLTools.h"
#include "ZelProcessorFactories.h"
#include "com/Bstr.h"
#include "com/ComPtr.h"
#include "com/XmlLoad.h"
#include "com/ZelCom.h"
#include "exchange/HexText.h"
#include "framework/Services.h"
#include "framework/texts/EditDistance.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace {

/// Of what strangers and plug-ins say; a status file is read as a whole by everybody who asks.
constexpr std::size_t kMaxWords = 2000;
constexpr std::size_t kMaxTypeName = 100;
constexpr std::size_t kMaxTypes = 20;

CString Cut(CString text, std::size_t length)
{
    if (text.size() > length)
        text.replace(length, CString::npos, L"...");
    return text;
}

bool IsEmptyFile(const CString& path)
{
    platform::SFileAttributes attributes;
    std::unique_ptr<platform::IFile> file;
    return platform::Succeeded(platform::Files().Open(path, platform::eOpenMode_ReadShared, file)) &&
           platform::Succeeded(file->GetAttributes(attributes)) && attributes.length == 0;
}

CComPtr<IXMLDOMDocument> LoadDocument(const CString& path, SXmlError& error)
{
    CComPtr<IXMLDOMDocument> document;
    error.code = CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument>(),
                                     document.PutVoid());
    if (FAILED(error.code) || !document)
        return {};
    static_cast<void>(document->put_async(VARIANT_FALSE));
    return LoadXmlFile(*document, path, error) ? document : CComPtr<IXMLDOMDocument>();
}

/// What the parser says, or its number, behind where that is, as far as it tells.
CString PlacedReason(const SXmlError& error)
{
    const CString words =
        error.reason.empty() ? FormatText(L"Error 0x%lx", {HexText(error.code)}) : platform::FromUtf8(error.reason);
    if (error.line < 1)
        return words;
    return FormatText(TextOf(StringCodes::kReasonPlace),
                      {std::to_wstring(error.line), std::to_wstring(error.column), words});
}

CString ServedTypes(const CString& type, const CZelProcessorFactories& factories)
{
    std::vector<CString> types = factories.TaskTypes();
    std::ranges::stable_sort(types, {}, [&type](const CString& served) { return EditDistance(type, served); });
    types.resize(std::min(types.size(), kMaxTypes));
    CString text;
    for (const CString& served : types)
        text += (text.empty() ? L"" : L", ") + Cut(served, kMaxTypeName);
    return text;
}

CString WhyNotServed(const CString& type, const CZelProcessorFactories& factories, std::vector<CString> leftOut)
{
    CString reason = FormatText(TextOf(StringCodes::kReasonType), {Cut(type, kMaxTypeName)});
    if (const CString served = ServedTypes(type, factories); !served.empty())
        reason += L" " + FormatText(TextOf(StringCodes::kReasonServed), {served});
    std::ranges::move(CZelProcessorFactories::LeftOut(), std::back_inserter(leftOut));
    for (const CString& why : leftOut)
        reason += L"\n" + FormatText(TextOf(StringCodes::kReasonLeftOut), {why});
    return Cut(std::move(reason), kMaxWords);
}

} // namespace

CString WhyNotTaken(const CString& path, const CZelProcessorFactories& factories, const std::vector<CString>& leftOut)
{
    if (IsEmptyFile(path))
        return TextOf(StringCodes::kReasonEmpty);
    SXmlError error;
    const CComPtr<IXMLDOMDocument> document = LoadDocument(path, error);
    if (!document)
        return Cut(WQ_LoadString(StringCodes::kCantParseRequest) + L"\n" + PlacedReason(error), kMaxWords);
    CComPtr<IXMLDOMNode> task;
    if (!CXMLTools::GetNodeByName(document.Get(), L"Task", task.Put()))
        return TextOf(StringCodes::kCantFindTaskNode);
    CString type;
    if (!CXMLTools::GetAttributeValue(task.Get(), L"Type", type))
        return TextOf(StringCodes::kCantFindTypeNode);
    // One whose type is served was refused for something that its factory alone knows.
    const std::vector<CString> types = factories.TaskTypes();
    return std::ranges::count(types, type) == 0 ? WhyNotServed(type, factories, leftOut) : CString();
}

CString OwnErrorText(IUnknown& object)
{
    const auto error = CComPtr<IUnknown>(&object).QueryTo<IWQ_ZELProcessorTaskError>();
    CBstr text;
    return error && error->GetErrorText(text.Put()) ? Cut(CString(text.View()), kMaxWords) : CString();
}
