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
/// Of a move: where, and before which request.
constexpr const wchar_t* kPlace = L"Place";
constexpr const wchar_t* kOtherName = L"OtherName";
constexpr const wchar_t* kPlaceWords[] = {L"First", L"Last", L"Before"}; ///< by eRequestPlace
/// Of a name that XML can't carry: an attribute that others do not have, so that their files are as they always were.
constexpr const wchar_t* kEncoding = L"Encoding";
constexpr const wchar_t* kPercent = L"percent";
constexpr std::wstring_view kHexDigits = L"0123456789ABCDEF";
constexpr std::size_t kDigits = 4;

/// How many units from here on are a character that a document gives back as it was given, except at its ends; 0 for
/// none. Line ends and tabs are none: some readers make them blanks.
std::size_t CarriedUnits(std::wstring_view text)
{
    const auto unit = static_cast<std::uint32_t>(text.front());
    const auto isSurrogate = [](std::uint32_t value, std::uint32_t first) {
        return value >= first && value < first + 0x400;
    };
    if (isSurrogate(unit, 0xD800))
        return text.size() > 1 && isSurrogate(static_cast<std::uint32_t>(text[1]), 0xDC00) ? 2 : 0;
    return unit < L' ' || isSurrogate(unit, 0xDC00) || unit == 0xFFFE || unit == 0xFFFF ? 0 : 1;
}

void AppendEscaped(CString& text, std::uint32_t unit)
{
    text += L'%';
    for (const unsigned shift : {12U, 8U, 4U, 0U})
        text += kHexDigits[(unit >> shift) & 15];
}

/// The name with "%" and four hexadecimal digits in the place of each unit that XML can't carry, and of each "%". Empty
/// when none has to be.
CString Escape(const CString& name)
{
    CString escaped;
    bool isEscaped = false;
    for (std::size_t at = 0; at < name.size();) {
        const bool isCut = name[at] == L' ' && (at == 0 || at + 1 == name.size());
        const std::size_t carried = isCut ? 0 : CarriedUnits(std::wstring_view(name).substr(at));
        isEscaped = isEscaped || carried == 0;
        if (carried == 0 || name[at] == L'%')
            AppendEscaped(escaped, static_cast<std::uint32_t>(name[at]));
        else
            escaped.append(name, at, carried);
        at += carried == 0 ? 1 : carried;
    }
    return isEscaped ? escaped : CString();
}

int DigitOf(wchar_t character)
{
    const bool isLower = character >= L'a' && character <= L'f';
    const std::size_t found = kHexDigits.find(static_cast<wchar_t>(isLower ? character - L'a' + L'A' : character));
    return found == kHexDigits.npos ? -1 : static_cast<int>(found);
}

/// False when it is no escaped name.
bool Unescape(CString& name)
{
    CString plain;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (name[at] != L'%') {
            plain += name[at];
            continue;
        }
        if (name.size() - at <= kDigits)
            return false;
        int unit = 0;
        for (std::size_t digit = 0; digit < kDigits; ++digit) {
            const int value = DigitOf(name[++at]);
            if (value < 0)
                return false;
            unit = unit * 16 + value;
        }
        if (unit == 0)
            return false;
        plain += static_cast<wchar_t>(unit);
    }
    name = plain;
    return true;
}

/// False when there is none, or it is encoded in a way that is not known. An empty name names nothing.
bool ReadName(IXMLDOMNode* command, const wchar_t* element, CString& name)
{
    CComPtr<IXMLDOMNode> node;
    if (!CXMLTools::GetNodeByName(command, element, node.Put()) || !CXMLTools::GetNodeValue(node.Get(), name) ||
        name.empty())
        return false;
    CString encoding;
    if (!CXMLTools::GetAttributeValue(node.Get(), kEncoding, encoding))
        return true;
    return encoding == kPercent && Unescape(name);
}

/// Of what it does not say there is nothing: whether that is a mistake is known to whoever carries it out.
SWhere ReadWhere(IXMLDOMNode* command)
{
    SWhere where;
    CComPtr<IXMLDOMNode> node;
    CString word;
    if (CXMLTools::GetNodeByName(command, kPlace, node.Put()) && CXMLTools::GetNodeValue(node.Get(), word)) {
        for (const eRequestPlace place : {eRequestPlace_First, eRequestPlace_Last, eRequestPlace_Before}) {
            if (platform::EqualsNoCase(word, kPlaceWords[place]))
                where.place = place;
        }
    }
    if (!ReadName(command, kOtherName, where.other))
        where.other.clear();
    return where;
}

CComPtr<IXMLDOMElement> CreateElement(IXMLDOMDocument& document, const wchar_t* name)
{
    CComPtr<IXMLDOMElement> element;
    ThrowIfFailed(document.createElement(CBstr(std::wstring_view(name)).Get(), element.Put()));
    return element;
}

void AppendValue(IXMLDOMDocument& document, IXMLDOMElement& command, const wchar_t* element, const CString& value)
{
    const CComPtr<IXMLDOMElement> name = CreateElement(document, element);
    const CString escaped = Escape(value);
    if (!escaped.empty())
        ThrowIfFailed(
            name->setAttribute(CBstr(std::wstring_view(kEncoding)).Get(), CVariant(std::wstring_view(kPercent)).Get()));
    ThrowIfFailed(name->put_nodeTypedValue(CVariant(std::wstring_view(escaped.empty() ? value : escaped)).Get()));
    ThrowIfFailed(command.appendChild(name.Get(), nullptr));
}

void Fill(IXMLDOMDocument& document, const wchar_t* word, const CString& requestName, const SWhere& where)
{
    CComPtr<IXMLDOMProcessingInstruction> declaration;
    ThrowIfFailed(document.createProcessingInstruction(
        CBstr(L"xml").Get(), CBstr(L" version='1.0' encoding='UTF-8'").Get(), declaration.Put()));
    ThrowIfFailed(document.appendChild(declaration.Get(), nullptr));
    const CComPtr<IXMLDOMElement> command = CreateElement(document, kCommand);
    ThrowIfFailed(
        command->setAttribute(CBstr(std::wstring_view(kType)).Get(), CVariant(std::wstring_view(word)).Get()));
    AppendValue(document, *command, kRequestName, requestName);
    if (where.place)
        AppendValue(document, *command, kPlace, kPlaceWords[*where.place]);
    if (where.place == eRequestPlace_Before)
        AppendValue(document, *command, kOtherName, where.other);
    ThrowIfFailed(document.appendChild(command.Get(), nullptr));
}

} // namespace

const wchar_t* WordOf(eCommandType type)
{
    switch (static_cast<std::int32_t>(type)) { // of which there are more than the protocol's
    case eCommandType_CancelRequest: return L"CancelRequest";
    case eCommandType_PauseRequest: return L"PauseRequest";
    case eCommandType_RegisterClient: return L"RegisterClient";
    case eCommandType_UnregisterClient: return L"UnregisterClient";
    case kHoldQueue: return L"HoldQueue";
    case kReleaseQueue: return L"ReleaseQueue";
    case kMoveRequest: return L"MoveRequest";
    case kDrainServer: return L"DrainServer";
    case kRetryFailed: return L"RetryFailed";
    case kDiscardFailed: return L"DiscardFailed";
    default: return nullptr;
    }
}

eCommandType TypeOf(const CString& word)
{
    for (const eCommandType type : {eCommandType_CancelRequest, eCommandType_PauseRequest, eCommandType_RegisterClient,
                                    eCommandType_UnregisterClient, kHoldQueue, kReleaseQueue, kMoveRequest,
                                    kDrainServer, kRetryFailed, kDiscardFailed}) {
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
    if (!CXMLTools::GetNodeByName(document.Get(), kCommand, command.Put()) ||
        !CXMLTools::GetAttributeValue(command.Get(), kType, word) ||
        !ReadName(command.Get(), kRequestName, content.name))
        return eRead_Incomplete;
    content.type = TypeOf(word);
    if (content.type == kMoveRequest)
        content.where = ReadWhere(command.Get());
    return eRead_Ok;
}

bool Write(const CString& path, eCommandType type, const CString& name, HRESULT& documentResult, HRESULT* saveResult,
           const SWhere& where)
{
    CComPtr<IXMLDOMDocument> document;
    documentResult = CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument>(),
                                         document.PutVoid());
    if (documentResult != S_OK)
        return false;
    Fill(*document, WordOf(type), name, where);
    const HRESULT saved = document->save(CVariant(std::wstring_view(path)).Get());
    if (saveResult)
        *saveResult = saved;
    return saved == S_OK;
}

} // namespace CommandFile
