#include "platform/win32/LineTable.h"

#include "platform/win32/ModuleFile.h"

#include <algorithm>
#include <vector>

namespace platform::win32 {

namespace {

/// Reads one value after the other. Behind the end everything is zero, and Failed tells.
class CReader {
public:
    explicit CReader(std::span<const std::byte> bytes) : m_bytes(bytes) {}

    [[nodiscard]] bool Failed() const { return m_bFailed; }
    [[nodiscard]] bool AtEnd() const { return m_bFailed || m_position >= m_bytes.All().size(); }

    template <typename Type>
    Type Fixed()
    {
        const auto value = m_bytes.At<Type>(m_position);
        m_bFailed = m_bFailed || !value;
        m_position += sizeof(Type);
        return value.value_or(Type{});
    }

    std::uint64_t Unsigned()
    {
        std::uint64_t value = 0;
        for (unsigned shift = 0; !m_bFailed; shift += 7) {
            const auto byte = Fixed<std::uint8_t>();
            value |= shift < 64 ? std::uint64_t{byte & 0x7FU} << shift : 0;
            if ((byte & 0x80U) == 0) {
                break;
            }
        }
        return value;
    }

    std::int64_t Signed()
    {
        std::uint64_t value = 0;
        unsigned shift = 0;
        std::uint8_t byte = 0x80;
        while ((byte & 0x80U) != 0 && !m_bFailed) {
            byte = Fixed<std::uint8_t>();
            value |= shift < 64 ? std::uint64_t{byte & 0x7FU} << shift : 0;
            shift += 7;
        }
        if (shift < 64 && (byte & 0x40U) != 0) {
            value |= ~std::uint64_t{0} << shift;
        }
        return static_cast<std::int64_t>(value);
    }

    std::string Text()
    {
        std::string text = m_bytes.TextAt(m_position);
        Skip(text.size() + 1);
        return text;
    }

    void Skip(std::uint64_t count)
    {
        m_bFailed =
            m_bFailed || count > m_bytes.All().size() - std::min<std::uint64_t>(m_position, m_bytes.All().size());
        m_position += m_bFailed ? 0 : count;
    }

    /// The next bytes as a reader of their own.
    CReader Sub(std::uint64_t count)
    {
        const CReader part(m_bytes.Part(m_position, count));
        Skip(count);
        return part;
    }

private:
    CBytes m_bytes;
    std::uint64_t m_position = 0;
    bool m_bFailed = false;
};

// Names of the format, as far as they are needed.
enum eForm : std::uint64_t {
    eForm_Data2 = 0x05,
    eForm_Data4 = 0x06,
    eForm_Data8 = 0x07,
    eForm_String = 0x08,
    eForm_Block = 0x09,
    eForm_Data1 = 0x0B,
    eForm_Strp = 0x0E,
    eForm_Udata = 0x0F,
    eForm_Data16 = 0x1E,
    eForm_LineStrp = 0x1F,
};
constexpr std::uint64_t kContentPath = 1;

std::string BaseName(const std::string& path)
{
    const std::size_t separator = path.find_last_of("/\\");
    return separator == std::string::npos ? path : path.substr(separator + 1);
}

/// One unit: the files that its lines are in, and the program that yields the lines.
class CLineUnit {
public:
    CLineUnit(CReader reader, CBytes texts) : m_reader(reader), m_texts(texts) { ReadHeader(); }

    [[nodiscard]] std::optional<SSourceLine> Find(std::uint64_t address)
    {
        while (m_bValid && !m_reader.AtEnd()) {
            if (Step(address)) {
                return SSourceLine{FileName(m_previous.file), m_previous.line};
            }
        }
        return std::nullopt;
    }

private:
    struct SRow {
        std::uint64_t address = 0;
        std::uint64_t file = 1;
        std::uint64_t line = 1;
    };

    void ReadHeader()
    {
        m_version = m_reader.Fixed<std::uint16_t>();
        if (m_version < 2 || m_version > 5) {
            return;
        }
        if (m_version >= 5) {
            m_reader.Skip(2); // sizes of addresses and of segment selectors
        }
        const auto headerLength = m_reader.Fixed<std::uint32_t>();
        CReader header = m_reader.Sub(headerLength); // the program follows it, whatever else the header holds
        m_instructionLength = header.Fixed<std::uint8_t>();
        header.Skip(m_version >= 4 ? 2 : 1); // operations per instruction, is a statement
        m_lineBase = header.Fixed<std::int8_t>();
        m_lineRange = header.Fixed<std::uint8_t>();
        m_opcodeBase = header.Fixed<std::uint8_t>();
        for (unsigned opcode = 1; opcode < m_opcodeBase; ++opcode) {
            m_operandCounts.push_back(header.Fixed<std::uint8_t>());
        }
        m_bValid =
            !header.Failed() && m_lineRange != 0 && (m_version >= 5 ? ReadEntries(header) : ReadOldEntries(header));
    }

    bool ReadOldEntries(CReader& header)
    {
        while (!header.AtEnd() && !header.Text().empty()) {
            // directories
        }
        m_files.emplace_back(); // counted from one
        for (std::string name = header.Text(); !name.empty() && !header.Failed(); name = header.Text()) {
            for (int i = 0; i < 3; ++i) {
                static_cast<void>(header.Unsigned()); // directory, time, length
            }
            m_files.push_back(BaseName(name));
        }
        return !header.Failed();
    }

    bool ReadEntries(CReader& header)
    {
        std::vector<std::string> directories;
        return ReadEntryList(header, directories) && ReadEntryList(header, m_files);
    }

    bool ReadEntryList(CReader& header, std::vector<std::string>& names) const
    {
        struct SFormat {
            std::uint64_t content;
            std::uint64_t form;
        };
        std::vector<SFormat> formats(header.Fixed<std::uint8_t>());
        for (SFormat& format : formats) {
            format.content = header.Unsigned();
            format.form = header.Unsigned();
        }
        const std::uint64_t count = header.Unsigned();
        for (std::uint64_t i = 0; i < count && !header.Failed() && !formats.empty(); ++i) {
            std::string name;
            for (const SFormat& format : formats) {
                std::string text;
                if (!ReadForm(header, format.form, text)) {
                    return false;
                }
                if (format.content == kContentPath) {
                    name = BaseName(text);
                }
            }
            names.push_back(std::move(name));
        }
        return !header.Failed();
    }

    bool ReadForm(CReader& header, std::uint64_t form, std::string& text) const
    {
        switch (form) {
        case eForm_String: text = header.Text(); return true;
        case eForm_LineStrp: text = m_texts.TextAt(header.Fixed<std::uint32_t>()); return true;
        case eForm_Strp: header.Skip(4); return true; // a text of another section, which no compiler of ours uses here
        case eForm_Udata: static_cast<void>(header.Unsigned()); return true;
        case eForm_Data1: header.Skip(1); return true;
        case eForm_Data2: header.Skip(2); return true;
        case eForm_Data4: header.Skip(4); return true;
        case eForm_Data8: header.Skip(8); return true;
        case eForm_Data16: header.Skip(16); return true;
        case eForm_Block: header.Skip(header.Unsigned()); return true;
        default: return false;
        }
    }

    [[nodiscard]] std::string FileName(std::uint64_t index) const
    {
        return index < m_files.size() ? m_files[static_cast<std::size_t>(index)] : std::string();
    }

    /// One operation of the program. True when it shows that the address belongs to the row before.
    bool Step(std::uint64_t wanted)
    {
        const auto opcode = m_reader.Fixed<std::uint8_t>();
        if (opcode >= m_opcodeBase) {
            const unsigned adjusted = opcode - m_opcodeBase;
            Advance(adjusted / m_lineRange);
            AddToLine(m_lineBase + static_cast<std::int64_t>(adjusted % m_lineRange));
            return EmitRow(wanted);
        }
        switch (opcode) {
        case 0: return StepExtended(wanted);
        case 1: return EmitRow(wanted);
        case 2: Advance(m_reader.Unsigned()); break;
        case 3: AddToLine(m_reader.Signed()); break;
        case 4: m_row.file = m_reader.Unsigned(); break;
        case 8: Advance((255U - m_opcodeBase) / m_lineRange); break;
        case 9: m_row.address += m_reader.Fixed<std::uint16_t>(); break;
        default: // columns, marks and what later versions add
            for (unsigned i = 0; i < m_operandCounts[opcode - 1U]; ++i) {
                static_cast<void>(m_reader.Unsigned());
            }
        }
        return false;
    }

    bool StepExtended(std::uint64_t wanted)
    {
        const std::uint64_t length = m_reader.Unsigned();
        CReader operation = m_reader.Sub(length);
        switch (operation.Fixed<std::uint8_t>()) {
        case 1: { // the end of a run of addresses
            const bool found = EmitRow(wanted);
            m_row = {};
            m_bInRun = false;
            return found;
        }
        case 2: m_row.address = operation.Fixed<std::uint64_t>(); break;
        default: break;
        }
        return false;
    }

    void Advance(std::uint64_t operations) { m_row.address += operations * m_instructionLength; }
    void AddToLine(std::int64_t lines) { m_row.line += static_cast<std::uint64_t>(lines); }

    bool EmitRow(std::uint64_t wanted)
    {
        if (m_bInRun && m_previous.address <= wanted && wanted < m_row.address) {
            return true;
        }
        m_previous = m_row;
        m_bInRun = true;
        return false;
    }

    CReader m_reader;
    const CBytes m_texts;
    bool m_bValid = false;
    unsigned m_version = 0;
    unsigned m_instructionLength = 1;
    int m_lineBase = 0;
    unsigned m_lineRange = 1;
    unsigned m_opcodeBase = 1;
    std::vector<std::uint8_t> m_operandCounts;
    std::vector<std::string> m_files;
    SRow m_row;
    SRow m_previous;
    bool m_bInRun = false;
};

} // namespace

std::optional<SSourceLine> FindSourceLine(std::span<const std::byte> lines, std::span<const std::byte> texts,
                                          std::uint64_t address)
{
    constexpr std::uint32_t firstReservedLength = 0xFFFFFFF0;
    CReader reader(lines);
    while (!reader.AtEnd()) {
        const auto length = reader.Fixed<std::uint32_t>();
        if (length >= firstReservedLength) {
            break; // units of over 4 GB have another form
        }
        if (auto found = CLineUnit(reader.Sub(length), CBytes(texts)).Find(address)) {
            return found;
        }
    }
    return std::nullopt;
}

} // namespace platform::win32
