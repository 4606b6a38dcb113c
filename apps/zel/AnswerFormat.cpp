#include "apps/zel/AnswerFormat.h"

#include "apps/common/ShownText.h"
#include "platform/Text.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

namespace {

/// What is looked at before the columns get their widths.
constexpr std::size_t kWidthRows = 1000;
constexpr std::size_t kWidthBytes = std::size_t{4} << 20;
/// A longer value moves those behind it.
constexpr std::size_t kWidestColumn = 50;

/// The name of a column, also of one that only a longer row has.
std::string ColumnName(const std::vector<SAnswerColumn>& columns, std::size_t index)
{
    return index < columns.size() ? columns[index].name : "column " + std::to_string(index + 1);
}

class CTableFormat final : public IAnswerSink {
public:
    CTableFormat(AnswerText write, std::size_t width) : m_write(std::move(write)), m_nWidth(width) {}

    bool BeginTable(const std::vector<SAnswerColumn>& columns) override
    {
        m_columns = columns;
        m_first.clear();
        m_nFirstBytes = 0;
        m_bHasWidths = false;
        return std::exchange(m_bIsFirst, false) || m_write("\n");
    }
    bool Row(const std::vector<SAnswerValue>& values) override
    {
        if (m_bHasWidths)
            return WriteRow(values);
        m_first.push_back(values);
        for (const SAnswerValue& value : values)
            m_nFirstBytes += value.text.size() + sizeof value;
        return (m_first.size() < kWidthRows && m_nFirstBytes < kWidthBytes) || WriteFirst();
    }
    bool EndTable() override { return m_bHasWidths || WriteFirst(); }

private:
    static std::wstring Cell(const SAnswerValue& value) { return OneLine(platform::FromUtf8(value.text)); }

    bool WriteFirst()
    {
        std::vector<SAnswerValue> head;
        m_widths.clear();
        const auto widen = [&](const std::vector<SAnswerValue>& row) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                if (i == m_widths.size())
                    m_widths.push_back(0);
                m_widths[i] = std::max(m_widths[i], std::min(Cell(row[i]).size(), kWidestColumn));
            }
        };
        for (const SAnswerColumn& column : m_columns)
            head.push_back({eAnswerType_Text, column.name});
        widen(head);
        std::ranges::for_each(m_first, widen);
        std::wstring line;
        for (std::size_t i = 0; i < m_columns.size(); ++i)
            line += (i == 0 ? L"" : L"  ") + std::wstring(std::max<std::size_t>(m_widths[i], 1), L'-');
        m_bHasWidths = true;
        bool isGood = m_columns.empty() || (WriteRow(head) && WriteLine(std::move(line)));
        for (const std::vector<SAnswerValue>& row : std::exchange(m_first, {}))
            isGood = isGood && WriteRow(row);
        return isGood;
    }
    bool WriteRow(const std::vector<SAnswerValue>& values)
    {
        std::wstring line;
        for (std::size_t i = 0; i < values.size(); ++i) {
            std::wstring cell = Cell(values[i]);
            const std::size_t width = i < m_widths.size() ? m_widths[i] : 0;
            const std::wstring blanks(width > cell.size() ? width - cell.size() : 0, L' ');
            const bool isRight = i < m_columns.size() && m_columns[i].isNumber;
            line += (i == 0 ? L"" : L"  ") + (isRight ? blanks + cell : cell + blanks);
        }
        return WriteLine(std::move(line));
    }
    bool WriteLine(std::wstring line)
    {
        if (m_nWidth != 0 && line.size() > m_nWidth)
            line.resize(m_nWidth);
        line.erase(line.find_last_not_of(L' ') + 1);
        return m_write(platform::ToUtf8(line) + "\n");
    }

    const AnswerText m_write;
    const std::size_t m_nWidth;
    std::vector<SAnswerColumn> m_columns;
    std::vector<std::vector<SAnswerValue>> m_first;
    std::size_t m_nFirstBytes = 0;
    std::vector<std::size_t> m_widths;
    bool m_bHasWidths = false;
    bool m_bIsFirst = true;
};

class CCsvFormat final : public IAnswerSink {
public:
    explicit CCsvFormat(AnswerText write) : m_write(std::move(write)) {}

    bool BeginTable(const std::vector<SAnswerColumn>& columns) override
    {
        std::vector<SAnswerValue> head;
        for (const SAnswerColumn& column : columns)
            head.push_back({eAnswerType_Text, column.name});
        return (std::exchange(m_bIsFirst, false) || m_write("\r\n")) && (head.empty() || Row(head));
    }
    bool Row(const std::vector<SAnswerValue>& values) override
    {
        std::string line;
        for (const SAnswerValue& value : values) {
            line += &value == &values.front() ? "" : ",";
            AppendField(line, value);
        }
        // An empty line is what stands between tables.
        return m_write((line.empty() && !values.empty() ? "\"\"" : line) + "\r\n");
    }
    bool EndTable() override { return true; }

private:
    /// A null is nothing, an empty text a pair of quotes.
    static void AppendField(std::string& line, const SAnswerValue& value)
    {
        const std::string& text = value.text;
        const bool isEmpty = text.empty() && value.type != eAnswerType_Null;
        if (!isEmpty && text.find_first_of(",\"\r\n") == std::string::npos) {
            line += text;
            return;
        }
        line += '"';
        for (const char character : text)
            line.append(character == '"' ? 2 : 1, character);
        line += '"';
    }

    const AnswerText m_write;
    bool m_bIsFirst = true;
};

class CJsonFormat final : public IAnswerSink {
public:
    explicit CJsonFormat(AnswerText write) : m_write(std::move(write)) {}

    bool BeginTable(const std::vector<SAnswerColumn>& columns) override
    {
        m_columns = columns;
        m_names.clear();
        m_taken.clear();
        m_numbers.clear();
        m_bIsFirst = true;
        return m_write("[");
    }
    bool Row(const std::vector<SAnswerValue>& values) override
    {
        std::string line = std::exchange(m_bIsFirst, false) ? "\n{" : ",\n{";
        const std::size_t count = std::max(values.size(), m_columns.size());
        for (std::size_t i = 0; i < count; ++i)
            line += (i == 0 ? "" : ",") + Name(i) + ":" + (i < values.size() ? Value(values[i]) : "null");
        return m_write(line + "}");
    }
    bool EndTable() override { return m_write(m_bIsFirst ? "]\n" : "\n]\n"); }

private:
    static std::string Quoted(const std::string& text)
    {
        return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
    /// A number goes as its digits are, for a reader may have more places than we do; an infinite one as a text.
    static std::string Value(const SAnswerValue& value)
    {
        if (value.type == eAnswerType_Null)
            return "null";
        const bool isNumber = value.type == eAnswerType_Number && !value.text.empty() &&
                              value.text.find_first_not_of("+-.0123456789eE") == std::string::npos &&
                              nlohmann::json::accept(value.text);
        return isNumber ? value.text : Quoted(value.text);
    }
    /// The second column of a name is "name_2": an object has each name once.
    const std::string& Name(std::size_t index)
    {
        while (m_names.size() <= index) {
            const std::string own = ColumnName(m_columns, m_names.size());
            std::string name = own;
            // No number is tried twice: a stranger may have named all columns alike.
            std::size_t& number = m_numbers.try_emplace(own, 1).first->second;
            while (!m_taken.insert(name).second)
                name = own + "_" + std::to_string(++number);
            m_names.push_back(Quoted(name));
        }
        return m_names[index];
    }

    const AnswerText m_write;
    std::vector<SAnswerColumn> m_columns;
    std::vector<std::string> m_names;
    std::set<std::string> m_taken;
    std::map<std::string, std::size_t> m_numbers; ///< the last one of a name
    bool m_bIsFirst = true;
};

} // namespace

std::unique_ptr<IAnswerSink> MakeAnswerFormat(eAnswerFormat format, AnswerText write, std::size_t width)
{
    if (format == eAnswerFormat_Csv)
        return std::make_unique<CCsvFormat>(std::move(write));
    if (format == eAnswerFormat_Json)
        return std::make_unique<CJsonFormat>(std::move(write));
    return std::make_unique<CTableFormat>(std::move(write), width);
}
