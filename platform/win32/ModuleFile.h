#pragma once

#include "platform/win32/Handle.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform::win32 {

/// Looks into bytes at positions that the bytes themselves name, which may lie anywhere.
class CBytes {
public:
    explicit CBytes(std::span<const std::byte> bytes) : m_bytes(bytes) {}

    [[nodiscard]] std::span<const std::byte> All() const { return m_bytes; }

    template <typename Type>
    [[nodiscard]] std::optional<Type> At(std::uint64_t position) const
    {
        if (position > m_bytes.size() || m_bytes.size() - position < sizeof(Type)) {
            return std::nullopt;
        }
        Type value;
        std::memcpy(&value, m_bytes.data() + position, sizeof(Type)); // nothing in there is aligned
        return value;
    }

    /// What lies between two positions; shorter or empty where the bytes end before.
    [[nodiscard]] std::span<const std::byte> Part(std::uint64_t position, std::uint64_t length) const;
    /// A text that ends with a null character or with the bytes.
    [[nodiscard]] std::string TextAt(std::uint64_t position) const;

private:
    std::span<const std::byte> m_bytes;
};

/// The file of a module, in memory for reading, and its layout. What is no module has no sections.
class CModuleFile {
public:
    explicit CModuleFile(const std::wstring& path);
    ~CModuleFile();
    CModuleFile(const CModuleFile&) = delete;
    CModuleFile& operator=(const CModuleFile&) = delete;

    [[nodiscard]] CBytes Bytes() const { return CBytes({static_cast<const std::byte*>(m_view), m_size}); }
    [[nodiscard]] const std::vector<IMAGE_SECTION_HEADER>& Sections() const { return m_sections; }
    /// The content of a section by its whole name, which may be longer than the eight characters of its header.
    [[nodiscard]] std::span<const std::byte> SectionNamed(std::string_view name) const;
    /// Where the linker assumed the module; its debug information counts from there.
    [[nodiscard]] std::uint64_t PreferredBase() const { return m_preferredBase; }
    [[nodiscard]] std::uint32_t SymbolCount() const { return m_header.NumberOfSymbols; }
    [[nodiscard]] std::optional<IMAGE_SYMBOL> Symbol(std::uint32_t index) const;
    [[nodiscard]] std::string SymbolName(const IMAGE_SYMBOL& symbol) const;

private:
    void Map(const std::wstring& path);
    void ReadLayout();
    /// Long names lie behind the symbols.
    [[nodiscard]] std::uint64_t TextsAt() const;
    [[nodiscard]] std::string SectionName(const IMAGE_SECTION_HEADER& section) const;

    CHandle m_file;
    CHandle m_mapping;
    void* m_view = nullptr;
    std::size_t m_size = 0;
    IMAGE_FILE_HEADER m_header{};
    std::uint64_t m_preferredBase = 0;
    std::vector<IMAGE_SECTION_HEADER> m_sections;
};

} // namespace platform::win32
