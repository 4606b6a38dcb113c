#include "apps/zel/XmlPieces.h"

#include "platform/Text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <span>

namespace {

constexpr std::size_t kPieceBuffer = 65'536;

bool IsPieceSpace(int character)
{
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

bool EndsName(int character)
{
    return character < 0 || IsPieceSpace(character) ||
           std::string_view("=/<>\"'&").find(static_cast<char>(character)) != std::string_view::npos;
}

/// False for what is no character of XML.
bool AppendCharacter(std::string& text, std::uint32_t code)
{
    const bool isControl = code < 0x20 && code != '\t' && code != '\n' && code != '\r';
    if (isControl || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF) || code == 0xFFFE || code == 0xFFFF)
        return false;
    if (code < 0x80) {
        text += static_cast<char>(code);
        return true;
    }
    const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    constexpr std::uint32_t leads[] = {0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(leads[more] | code >> 6 * more);
    for (int shift = 6 * (more - 1); shift >= 0; shift -= 6)
        text += static_cast<char>(0x80 | (code >> shift & 0x3F));
    return true;
}

} // namespace

int CXmlPieces::Peek()
{
    if (m_nAt < m_strBuffer.size())
        return static_cast<unsigned char>(m_strBuffer[m_nAt]);
    if (!platform::Succeeded(m_error))
        return kEnd;
    m_strBuffer.resize(kPieceBuffer);
    m_nAt = 0;
    std::size_t read = 0;
    m_error = m_source(std::as_writable_bytes(std::span(m_strBuffer)), read);
    m_strBuffer.resize(platform::Succeeded(m_error) ? read : 0);
    return m_strBuffer.empty() ? kEnd : static_cast<unsigned char>(m_strBuffer.front());
}

int CXmlPieces::Take()
{
    const int character = Peek();
    m_nAt += character == kEnd ? 0 : 1;
    m_nLine += character == '\n' ? 1 : 0;
    return character;
}

/// What does not match is lost, which matters to nobody: the document is none then.
bool CXmlPieces::TakeIf(std::string_view text)
{
    return std::ranges::all_of(
        text, [this](char character) { return Peek() == static_cast<unsigned char>(character) && Take() != kEnd; });
}

void CXmlPieces::SkipSpace()
{
    while (IsPieceSpace(Peek()))
        Take();
}

bool CXmlPieces::SkipBehind(std::string_view text)
{
    std::string last;
    while (last != text) {
        const int character = Take();
        if (character == kEnd)
            return false;
        if (last.size() == text.size())
            last.erase(0, 1);
        last += static_cast<char>(character);
    }
    return true;
}

bool CXmlPieces::TakeName(std::string& name)
{
    name.clear();
    while (!EndsName(Peek())) {
        name += static_cast<char>(Take());
        if (name.size() > kMaxNameBytes)
            return false;
    }
    return !name.empty();
}

bool CXmlPieces::TakeReference(std::string& text)
{
    constexpr std::size_t longest = 12;
    constexpr std::pair<std::string_view, char> known[] = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    std::string name;
    Take();
    while (Peek() != ';') {
        if (Peek() == kEnd || name.size() == longest)
            return false;
        name += static_cast<char>(Take());
    }
    Take();
    for (const auto& [word, character] : known) {
        if (name == word) {
            text += character;
            return true;
        }
    }
    const bool isHex = name.starts_with("#x");
    const std::string_view digits = std::string_view(name).substr(std::min<std::size_t>(name.size(), isHex ? 2 : 1));
    std::uint32_t code = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), code, isHex ? 16 : 10);
    return name.starts_with('#') && !digits.empty() && error == std::errc() && end == digits.data() + digits.size() &&
           AppendCharacter(text, code);
}

bool CXmlPieces::TakeAttributes()
{
    m_attributes.clear();
    for (;;) {
        SkipSpace();
        if (Peek() == '>' || Peek() == '/' || Peek() == '?')
            return true;
        std::string name;
        std::string value;
        if (m_attributes.size() == kMaxAttributes || !TakeName(name))
            return false;
        SkipSpace();
        if (Take() != '=')
            return false;
        SkipSpace();
        const int quote = Take();
        if (quote != '"' && quote != '\'')
            return false;
        while (Peek() != quote) {
            if (Peek() == kEnd || Peek() == '<' || value.size() > kMaxAttributeBytes)
                return false;
            if (Peek() != '&')
                value += static_cast<char>(Take());
            else if (!TakeReference(value))
                return false;
        }
        Take();
        m_attributes.emplace_back(std::move(name), std::move(value));
    }
}

bool CXmlPieces::TakeDeclaration()
{
    if (!TakeAttributes() || !TakeIf("?>"))
        return false;
    const std::string_view encoding = Attribute("encoding");
    const std::wstring given = platform::FromUtf8(encoding);
    return encoding.empty() || platform::EqualsNoCase(given, L"UTF-8") || platform::EqualsNoCase(given, L"US-ASCII");
}

bool CXmlPieces::SkipMarkup(bool& isData)
{
    const bool isFirst = !m_bBegun;
    m_bBegun = true;
    if (Take() == '?') {
        std::string target;
        return TakeName(target) && (target == "xml" && isFirst ? TakeDeclaration() : SkipBehind("?>"));
    }
    if (Peek() == '-')
        return TakeIf("--") && SkipBehind("-->");
    isData = TakeIf("[CDATA[") && !m_open.empty();
    return isData; // anything else is a document type
}

bool CXmlPieces::TakeText()
{
    while (Peek() != '<' && Peek() != kEnd && m_strText.size() < kTextBytes) {
        if (Peek() == '&') {
            if (!TakeReference(m_strText))
                return false;
            continue;
        }
        const int character = Take();
        if (character != '\r')
            m_strText += static_cast<char>(character);
        else if (Peek() != '\n') // line ends are one character to a reader of XML
            m_strText += '\n';
    }
    return true;
}

bool CXmlPieces::TakeData()
{
    while (m_strText.size() < kTextBytes) {
        const int character = Take();
        if (character == kEnd)
            return false;
        if (character == ']' && m_nBrackets < 2) {
            ++m_nBrackets;
            continue;
        }
        if (character == ']') {
            m_strText += ']'; // the first of three
            continue;
        }
        const std::size_t brackets = std::exchange(m_nBrackets, 0);
        if (character == '>' && brackets == 2) {
            m_bInData = false;
            return true;
        }
        m_strText.append(brackets, ']');
        m_strText += static_cast<char>(character);
    }
    return true;
}

eXmlPiece CXmlPieces::TakeTag()
{
    m_bBegun = true;
    if (Peek() == '/') {
        Take();
        const bool isRight = TakeName(m_strName) && !m_open.empty() && m_open.back() == m_strName;
        SkipSpace();
        if (!isRight || Take() != '>')
            return eXmlPiece_Failed;
        m_open.pop_back();
        return eXmlPiece_End;
    }
    if ((m_open.empty() && m_bHasRoot) || m_open.size() == kMaxDepth || !TakeName(m_strName) || !TakeAttributes())
        return eXmlPiece_Failed;
    m_bEndsAtOnce = Peek() == '/';
    if (m_bEndsAtOnce)
        Take();
    if (Take() != '>')
        return eXmlPiece_Failed;
    m_bHasRoot = true;
    m_open.push_back(m_strName);
    return eXmlPiece_Start;
}

eXmlPiece CXmlPieces::Next()
{
    if (m_bEndsAtOnce) {
        m_bEndsAtOnce = false;
        m_open.pop_back();
        return eXmlPiece_End;
    }
    if (!m_bBegun && Peek() == 0xEF && !TakeIf("\xEF\xBB\xBF"))
        return eXmlPiece_Failed;
    for (;;) {
        m_strText.clear();
        if (m_bInData ? !TakeData() : !TakeText())
            return eXmlPiece_Failed;
        if (!m_strText.empty()) {
            m_bBegun = true;
            if (!m_open.empty())
                return eXmlPiece_Text;
            if (!std::ranges::all_of(m_strText, IsPieceSpace))
                return eXmlPiece_Failed;
        }
        if (m_bInData)
            continue;
        if (Peek() == kEnd)
            return m_bHasRoot && m_open.empty() && platform::Succeeded(m_error) ? eXmlPiece_Finished : eXmlPiece_Failed;
        if (Peek() != '<')
            continue;
        Take();
        if (Peek() != '?' && Peek() != '!')
            return TakeTag();
        bool isData = false;
        if (!SkipMarkup(isData))
            return eXmlPiece_Failed;
        m_bInData = isData;
    }
}

std::string_view CXmlPieces::Attribute(std::string_view name) const
{
    const auto found = std::ranges::find(m_attributes, name, &std::pair<std::string, std::string>::first);
    return found == m_attributes.end() ? std::string_view() : std::string_view(found->second);
}
