#include "platform/win32/ModuleFile.h"

#include "platform/win32/SystemPath.h"

#include <algorithm>
#include <charconv>

namespace platform::win32 {

std::span<const std::byte> CBytes::Part(std::uint64_t position, std::uint64_t length) const
{
    const std::uint64_t start = std::min<std::uint64_t>(position, m_bytes.size());
    const std::uint64_t count = std::min<std::uint64_t>(length, m_bytes.size() - start);
    return m_bytes.subspan(static_cast<std::size_t>(start), static_cast<std::size_t>(count));
}

std::string CBytes::TextAt(std::uint64_t position) const
{
    const auto rest = Part(position, m_bytes.size());
    const auto* const start = reinterpret_cast<const char*>(rest.data());
    return rest.empty() ? std::string() : std::string(start, strnlen(start, rest.size()));
}

CModuleFile::CModuleFile(const std::wstring& path)
{
    Map(path);
    ReadLayout();
}

CModuleFile::~CModuleFile()
{
    if (m_view != nullptr) {
        UnmapViewOfFile(m_view);
    }
}

void CModuleFile::Map(const std::wstring& path)
{
    m_file = CHandle(CreateFileW(ToSystemPath(path).c_str(), GENERIC_READ,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                                 nullptr));
    LARGE_INTEGER length{};
    if (!m_file || !GetFileSizeEx(m_file.Get(), &length)) {
        return;
    }
    m_mapping = CHandle(CreateFileMappingW(m_file.Get(), nullptr, PAGE_READONLY, 0, 0, nullptr));
    if (m_mapping) {
        m_view = MapViewOfFile(m_mapping.Get(), FILE_MAP_READ, 0, 0, 0);
    }
    m_size = m_view != nullptr ? static_cast<std::size_t>(length.QuadPart) : 0;
}

void CModuleFile::ReadLayout()
{
    const CBytes file = Bytes();
    const auto dos = file.At<IMAGE_DOS_HEADER>(0);
    if (!dos || dos->e_magic != IMAGE_DOS_SIGNATURE || dos->e_lfanew < 0) {
        return;
    }
    const auto headers = file.At<IMAGE_NT_HEADERS64>(static_cast<std::uint64_t>(dos->e_lfanew));
    if (!headers || headers->Signature != IMAGE_NT_SIGNATURE ||
        headers->OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
        return;
    }
    m_header = headers->FileHeader;
    m_preferredBase = headers->OptionalHeader.ImageBase;
    const std::uint64_t sectionsAt = static_cast<std::uint64_t>(dos->e_lfanew) +
                                     offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + m_header.SizeOfOptionalHeader;
    for (unsigned i = 0; i < m_header.NumberOfSections; ++i) {
        if (const auto section = file.At<IMAGE_SECTION_HEADER>(sectionsAt + i * sizeof(IMAGE_SECTION_HEADER))) {
            m_sections.push_back(*section);
        }
    }
}

std::uint64_t CModuleFile::TextsAt() const
{
    return std::uint64_t{m_header.PointerToSymbolTable} +
           std::uint64_t{m_header.NumberOfSymbols} * sizeof(IMAGE_SYMBOL);
}

std::optional<IMAGE_SYMBOL> CModuleFile::Symbol(std::uint32_t index) const
{
    static_assert(sizeof(IMAGE_SYMBOL) == IMAGE_SIZEOF_SYMBOL);
    return Bytes().At<IMAGE_SYMBOL>(m_header.PointerToSymbolTable + std::uint64_t{index} * sizeof(IMAGE_SYMBOL));
}

std::string CModuleFile::SymbolName(const IMAGE_SYMBOL& symbol) const
{
    if (symbol.N.Name.Short == 0) {
        return Bytes().TextAt(TextsAt() + symbol.N.Name.Long);
    }
    const auto* const name = reinterpret_cast<const char*>(symbol.N.ShortName);
    return {name, strnlen(name, sizeof(symbol.N.ShortName))};
}

std::string CModuleFile::SectionName(const IMAGE_SECTION_HEADER& section) const
{
    const auto* const start = reinterpret_cast<const char*>(section.Name);
    const std::string name(start, strnlen(start, sizeof(section.Name)));
    // A slash and a number: the name is a text at this position behind the symbols.
    std::uint32_t position = 0;
    if (name.size() < 2 || name[0] != '/' ||
        std::from_chars(name.data() + 1, name.data() + name.size(), position).ec != std::errc()) {
        return name;
    }
    return Bytes().TextAt(TextsAt() + position);
}

std::span<const std::byte> CModuleFile::SectionNamed(std::string_view name) const
{
    const auto found = std::ranges::find_if(
        m_sections, [&](const IMAGE_SECTION_HEADER& section) { return SectionName(section) == name; });
    if (found == m_sections.end()) {
        return {};
    }
    // On disk a section is padded, in memory it may be longer than on disk: what counts is in both.
    return Bytes().Part(found->PointerToRawData, std::min(found->SizeOfRawData, found->Misc.VirtualSize));
}

} // namespace platform::win32
