#include "com/XmlScan.h"

#include "com/XmlUnits.h"
#include "platform/FileSystem.h"
#include "platform/OsError.h"
#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <set>
#include <utility>
#include <vector>

namespace {

SXmlError LimitError(const SXmlLimits& limits, std::uint64_t SXmlLimits::*passed)
{
    const auto* const limit = std::find_if(kXmlLimits.begin(), kXmlLimits.end(),
                                           [passed](const SXmlLimit& entry) { return entry.value == passed; });
    const std::string name = limit->name;
    return {kXmlError_Limit + static_cast<LONG>(limit - kXmlLimits.begin()),
            limit->before + std::to_string(limits.*passed) + limit->behind + " (zel-server --xml-limit " + name +
                "=NUMBER)",
            0, 0};
}

/// Follows the markup unit by unit. It is no parser: what is not well formed it reads somehow, and goes on.
class CXmlScan {
public:
    CXmlScan(const SXmlLimits& limits, SXmlError& error) : m_limits(limits), m_error(error) {}

    /// A unit of the document; begins: the first of its character. False: the document is refused.
    bool Put(std::uint32_t unit, bool begins)
    {
        m_nColumn += begins ? 1 : 0;
        Step(unit, begins);
        if (m_bRefused) {
            m_error.line = m_nLine;
            m_error.column = m_nColumn;
            return false;
        }
        if (unit == '\n') {
            ++m_nLine;
            m_nColumn = 0;
        }
        return true;
    }

private:
    enum eIn {
        eIn_Text,
        eIn_Open,          ///< behind "<"
        eIn_Declaration,   ///< behind "<!", its kind not yet known
        eIn_Comment,       ///< behind "<!--"
        eIn_CData,         ///< behind "<![CDATA["
        eIn_Target,        ///< in the name of an instruction
        eIn_Instruction,   ///< behind that name
        eIn_EndTag,        ///< behind "</"
        eIn_ElementName,   ///< in the name of a start tag
        eIn_Tag,           ///< in a start tag, between attributes
        eIn_AttributeName, ///< in the name of one
        eIn_Value,         ///< in its quotes
    };

    void Step(std::uint32_t unit, bool begins)
    {
        switch (m_in) {
        case eIn_Text: unit == '<' ? Enter(eIn_Open) : CountText(unit, begins); break;
        case eIn_Open: Open(unit); break;
        case eIn_Declaration: Declare(unit); break;
        case eIn_Comment: EndAtTail(unit, begins, '-', 2); break;
        case eIn_CData: EndAtTail(unit, begins, ']', 2); break;
        case eIn_Target:
            if (!IsXmlSpace(unit) && unit != '?')
                return CountName(unit, begins);
            EndName();
            Enter(eIn_Instruction);
            [[fallthrough]];
        case eIn_Instruction: EndAtTail(unit, begins, '?', 1); break;
        case eIn_EndTag:
            if (unit != '>')
                return Count(&SXmlLimits::nameLength, begins && !IsXmlSpace(unit));
            CloseElement();
            Enter(eIn_Text);
            break;
        case eIn_Value: unit == m_quote ? Enter(eIn_Tag) : CountText(unit, begins); break;
        case eIn_ElementName:
        case eIn_AttributeName:
        case eIn_Tag: InTag(unit, begins); break;
        }
    }

    void Enter(eIn in)
    {
        m_in = in;
        m_nLength = 0;
        m_nTail = 0;
    }
    void Refuse(SXmlError error)
    {
        m_error = std::move(error);
        m_bRefused = true;
    }
    void Count(std::uint64_t SXmlLimits::*limit, bool begins)
    {
        m_nLength += begins ? 1 : 0;
        if (m_nLength > m_limits.*limit)
            Refuse(LimitError(m_limits, limit));
    }

    /// A reference is one character: written out, a text has more of them than in the file that it was read from.
    void CountText(std::uint32_t unit, bool begins)
    {
        constexpr std::size_t kLongestReference = 12;
        const bool isInside = m_nTail > 0 && m_nTail < kLongestReference;
        m_nTail = unit == '&' || (isInside && unit != ';') ? m_nTail + 1 : 0;
        Count(&SXmlLimits::textLength, begins && (unit == '&' || !isInside));
    }

    void Open(std::uint32_t unit)
    {
        if (unit == '!')
            return Enter(eIn_Declaration);
        if (unit == '?')
            return Enter(eIn_Target);
        if (unit == '/')
            return Enter(eIn_EndTag);
        if (IsXmlSpace(unit) || unit == '<' || unit == '>')
            return Enter(eIn_Text); // not well formed
        Enter(eIn_ElementName);
        m_nAttributes = 0;
        m_bSlash = false;
        m_namespaces.push_back(0);
        if (m_namespaces.size() > m_limits.depth)
            return Refuse(LimitError(m_limits, &SXmlLimits::depth));
        CountName(unit, true);
    }

    void CloseElement()
    {
        if (m_namespaces.empty())
            return; // not well formed
        m_nNamespaces -= m_namespaces.back();
        m_namespaces.pop_back();
    }

    /// m_nLength is how much of what follows "<!" has been seen, and m_nTail which of the words it is.
    void Declare(std::uint32_t unit)
    {
        static constexpr std::array<std::string_view, 3> kWords = {"--", "[CDATA[", "DOCTYPE"};
        if (m_nLength == 0) {
            while (m_nTail < kWords.size() && unit != static_cast<std::uint32_t>(kWords[m_nTail].front()))
                ++m_nTail;
        }
        if (m_nTail == kWords.size() || unit != static_cast<std::uint32_t>(kWords[m_nTail][m_nLength]))
            return Enter(eIn_Text); // not well formed
        if (++m_nLength < kWords[m_nTail].size())
            return;
        if (m_nTail == 2)
            return Refuse({kXmlError_DocumentType, "A document type is not accepted", 0, 0});
        Enter(m_nTail == 0 ? eIn_Comment : eIn_CData);
    }

    /// Ends behind so many of these units and ">", which are no content then.
    void EndAtTail(std::uint32_t unit, bool begins, std::uint32_t tail, std::size_t count)
    {
        if (unit == '>' && m_nTail >= count)
            return Enter(eIn_Text);
        m_nTail = unit == tail ? m_nTail + 1 : 0;
        m_nLength += begins ? 1 : 0;
        if (m_nLength - std::min(m_nTail, count) > m_limits.textLength)
            Refuse(LimitError(m_limits, &SXmlLimits::textLength));
    }

    void InTag(std::uint32_t unit, bool begins)
    {
        const bool isSlash = unit == '/';
        const bool isQuote = unit == '"' || unit == '\'';
        if (IsXmlSpace(unit) || isSlash || isQuote || unit == '=' || unit == '>')
            EndName();
        if (unit == '>') {
            if (m_bSlash)
                CloseElement();
            return Enter(eIn_Text);
        }
        m_bSlash = isSlash;
        if (IsXmlSpace(unit) || isSlash || unit == '=')
            return Enter(eIn_Tag);
        if (isQuote) {
            m_quote = unit;
            return Enter(eIn_Value);
        }
        if (m_in == eIn_Tag) {
            Enter(eIn_AttributeName);
            if (++m_nAttributes > m_limits.attributes)
                return Refuse(LimitError(m_limits, &SXmlLimits::attributes));
        }
        CountName(unit, begins);
    }

    void CountName(std::uint32_t unit, bool begins)
    {
        m_name.push_back(static_cast<wchar_t>(unit));
        Count(&SXmlLimits::nameLength, begins);
    }
    /// A set in order, because whoever writes the names could make them meet in a table.
    void EndName()
    {
        if (m_name.empty())
            return;
        if (m_in == eIn_AttributeName && m_name.starts_with(L"xmlns"))
            CountNamespace();
        if (m_names.insert(m_name).second && m_names.size() > m_limits.names)
            Refuse(LimitError(m_limits, &SXmlLimits::names));
        m_name.clear();
    }
    /// Every attribute whose name begins so counts: what only looks like a declaration is rare.
    void CountNamespace()
    {
        if (m_namespaces.empty())
            return; // not well formed
        ++m_namespaces.back();
        if (++m_nNamespaces > m_limits.namespaces)
            Refuse(LimitError(m_limits, &SXmlLimits::namespaces));
    }

    const SXmlLimits& m_limits;
    SXmlError& m_error;
    bool m_bRefused = false;
    LONG m_nLine = 1;
    LONG m_nColumn = 0;
    eIn m_in = eIn_Text;
    std::uint64_t m_nLength = 0; ///< of what it is in
    std::size_t m_nTail = 0;     ///< how much has been seen of what would end it, or of a word
    std::uint32_t m_quote = 0;
    bool m_bSlash = false; ///< the last of the tag
    std::uint64_t m_nAttributes = 0;
    std::wstring m_name; ///< its units, as far as it has been seen
    std::set<std::wstring> m_names;
    std::vector<std::uint64_t> m_namespaces; ///< declarations of each open element
    std::uint64_t m_nNamespaces = 0;         ///< their sum
};

} // namespace

SXmlError XmlTooLong(const SXmlLimits& limits)
{
    return LimitError(limits, &SXmlLimits::bytes);
}

bool ScanXmlBytes(std::string_view bytes, const SXmlLimits& limits, SXmlError& error)
{
    if (bytes.size() > limits.bytes) {
        error = XmlTooLong(limits);
        return false;
    }
    CXmlUnits units(bytes);
    CXmlScan scan(limits, error);
    std::uint32_t unit = 0;
    bool begins = false;
    while (units.Next(unit, begins)) {
        if (!scan.Put(unit, begins))
            return false;
    }
    if (units.AreKnown())
        return true;
    error = {kXmlError_Encoding, "The encoding is not accepted", 1, 1};
    return false;
}

bool ScanXmlText(std::wstring_view text, const SXmlLimits& limits, SXmlError& error)
{
    // As long as what is written out again for a file may be: each quotation mark is then "&quot;".
    constexpr std::uint64_t kGrowth = 6;
    if (text.size() > limits.bytes * kGrowth) {
        error = XmlTooLong(limits);
        return false;
    }
    CXmlScan scan(limits, error);
    return std::all_of(text.begin(), text.end(), [&scan](wchar_t character) {
        const auto unit = static_cast<std::uint32_t>(character);
        return scan.Put(unit, (unit & 0xFFFFFC00) != 0xDC00);
    });
}

bool ReadXmlFile(const std::wstring& path, const SXmlLimits& limits, std::string& bytes, SXmlError& error)
{
    const auto read =
        platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, static_cast<std::size_t>(limits.bytes));
    if (platform::Succeeded(read))
        return ScanXmlBytes(bytes, limits, error);
    error = {HRESULT_FROM_WIN32(static_cast<std::uint32_t>(read)), platform::ToUtf8(platform::OsErrorText(read)), 0, 0};
    if (read == platform::eOsError_NotSupported) // which is how a reader tells that there is more
        error = XmlTooLong(limits);
    return false;
}
