#include "framework/archive/XMLArchiveStorer.h"

#include "framework/archive/XMLArchiveFrame.h"
#include "platform/Text.h"

#include <algorithm>
#include <string_view>

namespace {

/// Parsers stop at 256.
constexpr std::size_t kMaxDepth = 200;

bool IsNameCharacter(wchar_t character, bool isFirst)
{
    const bool isLetter = (character >= L'a' && character <= L'z') || (character >= L'A' && character <= L'Z');
    if (isLetter || character == L'_')
        return true;
    return !isFirst && ((character >= L'0' && character <= L'9') || character == L'-' || character == L'.');
}

bool ToName(const std::wstring& text, std::string& name)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!IsNameCharacter(text[i], i == 0))
            return false;
    }
    name = platform::ToUtf8(text);
    return !name.empty();
}

bool IsXmlCharacter(wchar_t character)
{
    if (character < 0x20)
        return character == L'\t' || character == L'\n' || character == L'\r';
    return character != 0xFFFE && character != 0xFFFF;
}

/// Line ends and tabs as references: a parser would change them otherwise.
bool AppendEscaped(const std::wstring& value, bool isAttribute, std::string& text)
{
    if (platform::HasLoneSurrogates(value) || !std::all_of(value.begin(), value.end(), IsXmlCharacter))
        return false;
    for (const char byte : platform::ToUtf8(value)) {
        switch (byte) {
        case '&': text += "&amp;"; break;
        case '<': text += "&lt;"; break;
        case '>': text += "&gt;"; break;
        case '"': text += "&quot;"; break;
        case '\r': text += "&#13;"; break;
        case '\n': text += isAttribute ? "&#10;" : "\n"; break;
        case '\t': text += isAttribute ? "&#9;" : "\t"; break;
        default: text += byte;
        }
    }
    return true;
}

} // namespace

CXMLArchiveStorer::CXMLArchiveStorer() : m_strText("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n")
{
    static_cast<void>(Enter(XMLArchiveFrame::kElement));
    static_cast<void>(PutAttribute(XMLArchiveFrame::kVersionAttribute, XMLArchiveFrame::kVersion));
}

bool CXMLArchiveStorer::Enter(const std::wstring& name)
{
    SElement element;
    if (m_open.size() >= kMaxDepth || !ToName(name, element.name))
        return false;
    CloseTag();
    m_strText += '<' + element.name;
    m_open.push_back(std::move(element));
    return true;
}

bool CXMLArchiveStorer::Leave()
{
    if (IsOnFrame())
        return false;
    CloseElement();
    return true;
}

bool CXMLArchiveStorer::PutAttribute(const std::wstring& name, const std::wstring& value)
{
    SElement& element = m_open.back();
    std::string key;
    std::string text;
    if (!element.isTagOpen || !ToName(name, key) || !AppendEscaped(value, true, text) ||
        std::find(element.attributes.begin(), element.attributes.end(), key) != element.attributes.end())
        return false;
    m_strText += ' ' + key + "=\"" + text + '"';
    element.attributes.push_back(std::move(key));
    return true;
}

bool CXMLArchiveStorer::PutText(const std::wstring& value)
{
    std::string text;
    if (!AppendEscaped(value, false, text))
        return false;
    CloseTag();
    m_strText += text;
    return true;
}

std::string CXMLArchiveStorer::Finish()
{
    while (!m_open.empty())
        CloseElement();
    return m_strText + '\n';
}

void CXMLArchiveStorer::CloseTag()
{
    if (!m_open.empty() && m_open.back().isTagOpen) {
        m_strText += '>';
        m_open.back().isTagOpen = false;
    }
}

void CXMLArchiveStorer::CloseElement()
{
    const SElement& element = m_open.back();
    m_strText += element.isTagOpen ? "/>" : "</" + element.name + '>';
    m_open.pop_back();
}
