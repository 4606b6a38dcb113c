#include "apps/zel/Answer.h"

#include "apps/common/ShownText.h"
#include "apps/zel/XmlPieces.h"
#include "platform/Text.h"

#include "ToolTexts.h"

#include <cstdint>
#include <optional>

namespace {

/// Before that it is not decided whether an answer without a table so far will have one.
constexpr std::size_t kMaxUndecided = std::size_t{1} << 20;

std::optional<std::string> FromBase64(std::string_view text)
{
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    std::uint32_t group = 0;
    int bits = 0;
    while (text.ends_with('='))
        text.remove_suffix(1);
    for (const char character : text) {
        const std::size_t digit = digits.find(character);
        if (digit == std::string_view::npos)
            return std::nullopt;
        group = group << 6 | static_cast<std::uint32_t>(digit);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes += static_cast<char>(group >> bits & 0xFF);
        }
    }
    return bytes;
}

bool IsNumberType(std::string_view type)
{
    return type == "integer" || type == "real";
}

class CAnswerReader {
public:
    CAnswerReader(const ByteSource& source, IAnswerSink& sink) : m_pieces(source), m_sink(sink) {}

    eAnswerEnd Read()
    {
        for (;;) {
            const eXmlPiece piece = m_pieces.Next();
            if (piece == eXmlPiece_Failed)
                return eAnswerEnd_Failed;
            if (piece == eXmlPiece_Finished)
                return Finish();
            const bool goesOn = piece == eXmlPiece_Start ? Start() : piece == eXmlPiece_End ? End() : Text();
            if (!goesOn)
                return m_pLimit == nullptr ? eAnswerEnd_Stopped : eAnswerEnd_Failed;
        }
    }
    [[nodiscard]] std::wstring WhyFailed(const std::wstring& name) const
    {
        if (m_pLimit != nullptr)
            return ShownText(*m_pLimit, {name, std::to_wstring(m_nLimit)});
        if (!platform::Succeeded(m_pieces.Error()))
            return ShownText(ToolTexts::IDS_CANNOT_BE_READ, {name, platform::OsErrorText(m_pieces.Error())});
        return ShownText(ToolTexts::IDS_NO_ANSWER, {name, std::to_wstring(m_pieces.Line())});
    }

private:
    using Row = std::vector<SAnswerValue>;

    bool Exceed(const STextCode& code, std::size_t limit)
    {
        m_pLimit = &code;
        m_nLimit = limit;
        return false;
    }
    [[nodiscard]] bool IsInTable() const { return m_nRowsDepth != 0; }
    [[nodiscard]] bool IsValue() const { return IsInTable() && m_pieces.Depth() == m_nRowsDepth + 2; }

    bool Start()
    {
        const std::string& name = m_pieces.Name();
        m_strText.clear();
        m_bIsLeaf = true;
        if (IsInTable()) {
            if (m_pieces.Depth() == m_nRowsDepth + 1) {
                m_row.clear();
                m_nRowBytes = 0;
            } else if (IsValue()) {
                m_bIsNull = m_pieces.Attribute("Null") == "true";
                m_bIsBase64 = m_pieces.Attribute("Encoding") == "base64";
                m_strType = m_pieces.Attribute("Type");
            }
            return true;
        }
        if (m_bIsElements || name != "Rows")
            return StartOutside(name);
        m_nRowsDepth = m_pieces.Depth();
        m_bHadTable = true;
        m_undecided.clear();
        return m_sink.BeginTable(m_columns);
    }
    bool StartOutside(const std::string& name)
    {
        const std::string_view called = m_pieces.Attribute("Name");
        if (name == "Columns") {
            m_columns.clear();
            m_nNameBytes = 0;
        } else if (name == "Column" && m_path.size() > 1 && m_path.back() == "Columns") {
            m_nNameBytes += called.size();
            if (m_nNameBytes > kMaxAnswerNames)
                return Exceed(ToolTexts::IDS_ANSWER_NAMES, kMaxAnswerNames);
            m_columns.push_back({std::string(called), IsNumberType(m_pieces.Attribute("Type"))});
        }
        m_path.push_back(called.empty() ? name : name + "[" + std::string(called) + "]");
        return m_columns.size() <= kMaxAnswerColumns || Exceed(ToolTexts::IDS_ANSWER_COLUMNS, kMaxAnswerColumns);
    }
    bool Text()
    {
        // Texts between elements are blanks that lay them out.
        if (IsInTable() && m_pieces.Depth() < m_nRowsDepth + 2)
            return true;
        m_strText += m_pieces.Text();
        return m_strText.size() <= kMaxAnswerValue || Exceed(ToolTexts::IDS_ANSWER_VALUE, kMaxAnswerValue);
    }
    bool End()
    {
        if (IsInTable()) {
            // The element that has ended is no longer among those that are open.
            if (m_pieces.Depth() == m_nRowsDepth + 1)
                return EndValue();
            if (m_pieces.Depth() == m_nRowsDepth)
                return m_sink.Row(m_row);
            if (m_pieces.Depth() + 1 == m_nRowsDepth) {
                m_nRowsDepth = 0;
                m_columns.clear();
                m_nNameBytes = 0;
                m_bIsLeaf = false;
                return m_sink.EndTable();
            }
            return true;
        }
        const bool isLeaf = m_bIsLeaf && !m_bHadTable;
        m_bIsLeaf = false;
        const bool goesOn = !isLeaf || AddElement();
        m_path.pop_back();
        m_strText.clear();
        return goesOn;
    }
    bool EndValue()
    {
        m_nRowBytes += m_strText.size() + sizeof(SAnswerValue);
        if (m_nRowBytes > kMaxAnswerRow)
            return Exceed(ToolTexts::IDS_ANSWER_ROW, kMaxAnswerRow);
        if (m_row.size() == kMaxAnswerColumns)
            return Exceed(ToolTexts::IDS_ANSWER_COLUMNS, kMaxAnswerColumns);
        SAnswerValue value;
        const std::size_t column = m_row.size();
        const bool isOfNumbers = column < m_columns.size() && m_columns[column].isNumber;
        if (!m_bIsNull) {
            const bool isNumber = m_strType.empty() ? isOfNumbers : IsNumberType(m_strType);
            value.type = isNumber ? eAnswerType_Number : eAnswerType_Text;
            const std::optional<std::string> bytes =
                m_bIsBase64 && m_strType == "text" ? FromBase64(m_strText) : std::nullopt;
            value.text = bytes ? *bytes : m_strText;
        }
        m_row.push_back(std::move(value));
        m_strText.clear();
        return true;
    }
    bool AddElement()
    {
        std::string path;
        for (std::size_t i = m_path.size() > 1 ? 1 : 0; i < m_path.size(); ++i)
            path += (path.empty() ? "" : "/") + m_path[i];
        Row row = {{eAnswerType_Text, std::move(path)}, {eAnswerType_Text, m_strText}};
        if (m_bIsElements)
            return m_sink.Row(row);
        m_nUndecided += row[0].text.size() + row[1].text.size() + sizeof(Row);
        m_undecided.push_back(std::move(row));
        return m_nUndecided <= kMaxUndecided || BecomeElements();
    }
    bool BecomeElements()
    {
        m_bIsElements = true;
        bool goesOn = m_sink.BeginTable({{"Element", false}, {"Value", false}}); // programs read them, too
        for (const Row& row : m_undecided)
            goesOn = goesOn && m_sink.Row(row);
        m_undecided.clear();
        return goesOn;
    }
    eAnswerEnd Finish()
    {
        if (!m_bHadTable && !m_bIsElements && !BecomeElements())
            return eAnswerEnd_Stopped;
        return !m_bIsElements || m_sink.EndTable() ? eAnswerEnd_Whole : eAnswerEnd_Stopped;
    }

    CXmlPieces m_pieces;
    IAnswerSink& m_sink;
    std::vector<SAnswerColumn> m_columns;
    std::size_t m_nNameBytes = 0;    ///< of the columns
    std::vector<std::string> m_path; ///< of the elements outside of tables
    std::vector<Row> m_undecided;
    std::size_t m_nUndecided = 0;
    std::size_t m_nRowsDepth = 0;
    Row m_row;
    std::size_t m_nRowBytes = 0;
    std::string m_strText;
    std::string m_strType;
    bool m_bIsNull = false;
    bool m_bIsBase64 = false;
    bool m_bIsLeaf = false;
    bool m_bHadTable = false;
    bool m_bIsElements = false;
    const STextCode* m_pLimit = nullptr;
    std::size_t m_nLimit = 0;
};

} // namespace

eAnswerEnd ReadAnswer(const ByteSource& source, const std::wstring& name, IAnswerSink& sink, std::wstring& error)
{
    CAnswerReader reader(source, sink);
    const eAnswerEnd end = reader.Read();
    if (end == eAnswerEnd_Failed)
        error = reader.WhyFailed(name);
    return end;
}
