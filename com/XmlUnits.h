#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

/// What XML takes for white space.
inline bool IsXmlSpace(std::uint32_t unit)
{
    return unit == ' ' || unit == '\n' || unit == '\r' || unit == '\t';
}

/// Reads the units of a document, in the encoding that its first bytes and its declaration tell.
class CXmlUnits {
public:
    explicit CXmlUnits(std::string_view bytes);

    /// False from the place on at which it is not sure what a parser reads.
    [[nodiscard]] bool AreKnown() const { return m_units != eUnits_Unknown; }
    /// The next one, and whether it begins a character; false at the end, or when they are not known.
    bool Next(std::uint32_t& unit, bool& begins)
    {
        const std::size_t width = m_units == eUnits_Utf16Le || m_units == eUnits_Utf16Be ? 2 : 1;
        if (!AreKnown() || m_nAt + width > m_bytes.size())
            return false;
        unit = Byte(m_nAt);
        if (width == 2)
            unit = m_units == eUnits_Utf16Le ? unit | Byte(m_nAt + 1) << 8 : unit << 8 | Byte(m_nAt + 1);
        m_nAt += width;
        begins = width == 2 ? (unit & 0xFC00) != 0xDC00 : m_units != eUnits_Utf8 || (unit & 0xC0) != 0x80;
        if (IsLead(unit))
            SkipTrail();
        return AreKnown();
    }

private:
    enum eUnits {
        eUnits_Utf8,
        eUnits_Bytes,
        eUnits_ShiftJis,
        eUnits_Pairs,
        eUnits_Utf16Le,
        eUnits_Utf16Be,
        eUnits_Unknown
    };

    [[nodiscard]] std::uint32_t Byte(std::size_t at) const { return static_cast<unsigned char>(m_bytes[at]); }
    [[nodiscard]] bool Starts(std::initializer_list<unsigned char> start) const;
    bool Skip(std::initializer_list<unsigned char> mark);
    /// The second byte of a character may look like markup.
    [[nodiscard]] bool IsLead(std::uint32_t unit) const
    {
        if (m_units == eUnits_ShiftJis)
            return (unit > 0x80 && unit < 0xA0) || unit >= 0xE0;
        return m_units == eUnits_Pairs && unit > 0x80;
    }
    void SkipTrail();
    /// What is declared decides, too: parsers change to it behind the declaration. Without one, bytes are UTF-8.
    void Become(eUnits units);
    /// In capitals; empty when none is declared. False: a declaration without an end.
    bool ReadDeclared(std::string& declared);
    /// Every encoding that is known here has ASCII in its place.
    static eUnits UnitsOf(std::string_view encoding);

    std::string_view m_bytes; ///< behind the byte-order mark
    std::size_t m_nAt = 0;
    eUnits m_units = eUnits_Unknown;
};
