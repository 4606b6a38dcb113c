#include "plugins/datastore/Query.h"

#include "platform/Text.h"
#include "plugins/datastore/XmlElements.h"

#include <ZEL_Processor/XMLTools.h>

#include <charconv>
#include <cmath>
#include <utility>

namespace {

bool ParseReal(std::string_view text, double& value)
{
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    return end.ec == std::errc() && end.ptr == text.data() + text.size() && !text.empty() && std::isfinite(value);
}

/// "007" is rather a code than a number: as a number it would lose its zeros.
bool HasLeadingZeros(std::string_view text)
{
    if (text.starts_with('-'))
        text.remove_prefix(1);
    return text.size() > 1 && text[0] == '0' && text[1] >= '0' && text[1] <= '9';
}

SValue GuessValue(std::string_view text)
{
    SValue value;
    value.type = eValue_Text;
    if (HasLeadingZeros(text))
        return value;
    if (ParseInteger(text, value.integer))
        value.type = eValue_Integer;
    else if (ParseReal(text, value.real))
        value.type = eValue_Real;
    return value;
}

/// False when the text is no value of the type, or the type is unknown.
bool ReadValue(const CString& type, std::string& text, SValue& value)
{
    if (type == L"text") {
        value.type = eValue_Text;
        return true;
    }
    if (type == L"null") {
        value.type = eValue_Null;
        return text.empty();
    }
    text = platform::ToUtf8(Trimmed(platform::FromUtf8(text)));
    value.type = type == L"integer" ? eValue_Integer : eValue_Real;
    return (type == L"integer" && ParseInteger(text, value.integer)) ||
           (type == L"real" && ParseReal(text, value.real));
}

} // namespace

bool CQuery::Read(IXMLDOMNode* task, CString& error)
{
    CString sql;
    if (!m_source.Read(task, error) || !RequiredText(task, L"Sql", sql, error))
        return false;
    m_strSql = platform::ToUtf8(sql);
    m_parameters.clear();
    for (const auto& group : ChildElements(task, L"Parameters")) {
        for (const auto& element : ChildElements(group.Get(), L"Parameter")) {
            SParameter parameter;
            if (!ReadParameter(element.Get(), m_parameters.size() + 1, parameter, error))
                return false;
            m_parameters.push_back(std::move(parameter));
        }
    }
    return true;
}

bool CQuery::ReadParameter(IXMLDOMNode* element, std::size_t number, SParameter& parameter, CString& error)
{
    CString type;
    parameter.text = platform::ToUtf8(ElementText(element));
    if (!CXMLTools::GetAttributeValue(element, L"Type", type)) {
        parameter.value = GuessValue(parameter.text);
        return true;
    }
    if (ReadValue(type, parameter.text, parameter.value))
        return true;
    error = L"Parameter " + std::to_wstring(number) + L": \"" + platform::FromUtf8(parameter.text).substr(0, 100) +
            L"\" is no value of the type \"" + type.substr(0, 100) + L"\".";
    return false;
}

bool CQuery::Prepare(CDatabase& database, CStatement& statement, CString& error) const
{
    if (!m_source.Open(database, error))
        return false;
    if (!database.Prepare(m_strSql, statement)) {
        error = m_source.ErrorOf(database.ErrorText());
        return false;
    }
    const auto wanted = static_cast<std::size_t>(statement.ParameterCount());
    if (wanted != m_parameters.size()) {
        error = m_source.ErrorOf(L"the statement has " + std::to_wstring(wanted) + L" parameters, the request gives " +
                                 std::to_wstring(m_parameters.size()));
        return false;
    }
    int number = 0;
    for (const SParameter& parameter : m_parameters) {
        SValue value = parameter.value;
        value.bytes = parameter.text;
        if (!statement.Bind(++number, value)) {
            error = m_source.ErrorOf(L"parameter " + std::to_wstring(number) + L" is too long");
            return false;
        }
    }
    return true;
}
