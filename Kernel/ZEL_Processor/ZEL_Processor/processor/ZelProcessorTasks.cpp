#include "ProcessorState.h"
#include "ZEL_Processor/XMLTools.h"
#include "com/Bstr.h"
#include "framework/Services.h"
#include "reports/StringCodes.h"

namespace {

/// A message, the parser's words where it has some, and the excerpt of the request.
CString WithExcerpt(CString message, const CString& parserText, const CString& excerpt)
{
    if (!parserText.empty())
        message += L"\n" + parserText;
    return message + excerpt;
}

} // namespace

bool CZelProcessor::CreateAndInitTask(const CString& xml, IWQ_ZELProcessorTask** task)
{
    m_pState->m_reasons.taskError.clear();
    const auto fail = [&](CString message, const CString& parserText) {
        WQ_MessageBox(WithExcerpt(std::move(message), parserText, CreateErrorXmlString(xml)), eMessageStyle_Error);
        return false;
    };
    const CBstr text{std::wstring_view(xml)};
    CComPtr<IXMLDOMDocument> document;
    CString errorText;
    if (!CXMLTools::CreateXmlDomFromString(text.Get(), document.Put(), errorText))
        return fail(WQ_LoadString(StringCodes::kCantParseRequest), errorText);

    CComPtr<IXMLDOMNode> element;
    if (!CXMLTools::GetNodeByName(document.Get(), L"Task", element.Put()))
        return fail(TextOf(StringCodes::kCantFindTaskNode), {});
    CString type;
    if (!CXMLTools::GetAttributeValue(element.Get(), L"Type", type)) {
        WQ_MessageBox(TextOf(StringCodes::kCantFindTypeNode), eMessageStyle_Error);
        return false;
    }
    m_pState->m_strTaskType = type;
    if (m_pState->m_onTask)
        m_pState->m_onTask(type);

    CComPtr<IWQ_ZELProcessorTask> found;
    if (!m_pState->m_pFactories->FindTask(type.c_str(), found)) {
        if (m_pState->m_pFactories->HasGivenUp())
            return false; // whose it is nobody knows
        WQ_MessageBox(TextOf(StringCodes::kUnknownRequestType), eMessageStyle_Warning);
        return false;
    }
    if (!found->Init(element.Get())) {
        if (m_pState->m_reasons.isWanted)
            m_pState->m_reasons.taskError = OwnErrorText(*found.Get());
        return fail(TextOf(StringCodes::kUnableInitTask), m_pState->m_reasons.taskError);
    }
    *task = found.Detach();
    return true;
}
