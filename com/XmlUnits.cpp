#include "com/XmlUnits.h"

#include <algorithm>
#include <array>

CXmlUnits::CXmlUnits(std::string_view bytes) : m_bytes(bytes)
{
    if (Starts({0xFF, 0xFE, 0, 0}) || Starts({'<', 0, 0, 0}) || Starts({0, '<', 0, 0}) || Starts({0, 0}) ||
        Starts({0x4C, 0x6F, 0xA7, 0x94}))
        m_units = eUnits_Unknown; // four bytes for each character, or a code where "<" is something else
    else if (Skip({0xFF, 0xFE}) || Starts({'<', 0}))
        Become(eUnits_Utf16Le);
    else if (Skip({0xFE, 0xFF}) || Starts({0, '<'}))
        Become(eUnits_Utf16Be);
    else
        Become(Skip({0xEF, 0xBB, 0xBF}) ? eUnits_Utf8 : eUnits_Bytes);
}

bool CXmlUnits::Starts(std::initializer_list<unsigned char> start) const
{
    const auto isEqual = [](unsigned char left, char right) { return left == static_cast<unsigned char>(right); };
    return m_bytes.size() >= start.size() && std::equal(start.begin(), start.end(), m_bytes.begin(), isEqual);
}

bool CXmlUnits::Skip(std::initializer_list<unsigned char> mark)
{
    if (!Starts(mark))
        return false;
    m_bytes.remove_prefix(mark.size());
    return true;
}

void CXmlUnits::SkipTrail()
{
    const std::uint32_t trail = m_nAt < m_bytes.size() ? Byte(m_nAt) : 0;
    if (trail < '0' || (trail > '9' && trail < 0x40))
        m_units = eUnits_Unknown; // readers differ in whether this belongs to the character
    ++m_nAt;
}

void CXmlUnits::Become(eUnits units)
{
    m_units = units;
    std::string declared;
    if (!ReadDeclared(declared) || !AreKnown())
        m_units = eUnits_Unknown;
    else if (units == eUnits_Utf16Le || units == eUnits_Utf16Be)
        m_units = declared.empty() || declared.starts_with("UTF-16") ? units : eUnits_Unknown;
    else if (declared.empty() || declared == "UTF-8" || declared == "UTF8")
        m_units = eUnits_Utf8;
    else
        m_units = units == eUnits_Utf8 ? eUnits_Unknown : UnitsOf(declared);
    m_nAt = 0;
}

bool CXmlUnits::ReadDeclared(std::string& declared)
{
    constexpr std::size_t kLongest = 4096;
    std::string start;
    std::uint32_t unit = 0;
    bool begins = false;
    while (!start.ends_with("?>") && start.size() < kLongest && Next(unit, begins))
        start += unit >= 0x80 ? '?' : static_cast<char>(unit >= 'a' && unit <= 'z' ? unit - 'a' + 'A' : unit);
    if (!start.starts_with("<?XML") || start.size() < 6 || !IsXmlSpace(static_cast<unsigned char>(start[5])))
        return true;
    if (!start.ends_with("?>"))
        return false;
    const std::size_t keyword = start.find("ENCODING");
    const std::size_t open = keyword == std::string::npos ? keyword : start.find_first_of("'\"", keyword);
    const std::size_t close = open == std::string::npos ? open : start.find(start[open], open + 1);
    if (close != std::string::npos)
        declared = start.substr(open + 1, close - open - 1);
    return true;
}

CXmlUnits::eUnits CXmlUnits::UnitsOf(std::string_view encoding)
{
    struct SStart {
        std::string_view text;
        eUnits units;
    };
    static constexpr std::array<SStart, 20> kStarts = {{
        {"ISO-8859-", eUnits_Bytes},      {"ISO8859-", eUnits_Bytes},    {"ISO_8859-", eUnits_Bytes},
        {"LATIN", eUnits_Bytes},          {"WINDOWS-125", eUnits_Bytes}, {"CP125", eUnits_Bytes},
        {"WINDOWS-874", eUnits_Bytes},    {"TIS-620", eUnits_Bytes},     {"KOI8-", eUnits_Bytes},
        {"MACINTOSH", eUnits_Bytes},      {"US-ASCII", eUnits_Bytes},    {"ASCII", eUnits_Bytes},
        {"EUC-", eUnits_Bytes},           {"GB2312", eUnits_Pairs},      {"GBK", eUnits_Pairs},
        {"GB18030", eUnits_Pairs},        {"BIG5", eUnits_Pairs},        {"SHIFT_JIS", eUnits_ShiftJis},
        {"WINDOWS-31J", eUnits_ShiftJis}, {"SJIS", eUnits_ShiftJis},
    }};
    const auto* const found = std::find_if(
        kStarts.begin(), kStarts.end(), [encoding](const SStart& start) { return encoding.starts_with(start.text); });
    return found == kStarts.end() ? eUnits_Unknown : found->units;
}
