#include "platform/win32/Symbols.h"

#include "platform/Fault.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/win32/Handle.h"
#include "platform/win32/SystemPath.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace platform {

namespace win32 {

namespace {

/// Looks into the bytes of a file at positions that the file itself names, which may lie anywhere.
class CBytes {
public:
    explicit CBytes(std::span<const std::byte> bytes) : m_bytes(bytes) {}

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

    [[nodiscard]] std::string TextAt(std::uint64_t position, std::size_t longest) const
    {
        if (position >= m_bytes.size()) {
            return {};
        }
        const auto* const start = reinterpret_cast<const char*>(m_bytes.data() + position);
        return {start, strnlen(start, std::min<std::size_t>(longest, m_bytes.size() - position))};
    }

private:
    const std::span<const std::byte> m_bytes;
};

struct SLayout {
    IMAGE_FILE_HEADER header{};
    std::vector<IMAGE_SECTION_HEADER> sections;
};

std::optional<SLayout> ReadLayout(const CBytes& file)
{
    const auto dos = file.At<IMAGE_DOS_HEADER>(0);
    if (!dos || dos->e_magic != IMAGE_DOS_SIGNATURE || dos->e_lfanew < 0) {
        return std::nullopt;
    }
    const auto signatureAt = static_cast<std::uint64_t>(dos->e_lfanew);
    const auto signature = file.At<DWORD>(signatureAt);
    const auto header = file.At<IMAGE_FILE_HEADER>(signatureAt + sizeof(DWORD));
    if (!signature || *signature != IMAGE_NT_SIGNATURE || !header) {
        return std::nullopt;
    }

    SLayout layout{*header, {}};
    const std::uint64_t sectionsAt =
        signatureAt + sizeof(DWORD) + sizeof(IMAGE_FILE_HEADER) + header->SizeOfOptionalHeader;
    for (unsigned i = 0; i < header->NumberOfSections; ++i) {
        const auto section = file.At<IMAGE_SECTION_HEADER>(sectionsAt + i * sizeof(IMAGE_SECTION_HEADER));
        if (!section) {
            return std::nullopt;
        }
        layout.sections.push_back(*section);
    }
    return layout;
}

/// A short name lies in the symbol itself, a long one in the table of texts behind all symbols.
std::string NameOf(const IMAGE_SYMBOL& symbol, const CBytes& file, std::uint64_t textsAt)
{
    if (symbol.N.Name.Short == 0) {
        return file.TextAt(textsAt + symbol.N.Name.Long, 8192);
    }
    const auto* const name = reinterpret_cast<const char*>(symbol.N.ShortName);
    return {name, strnlen(name, sizeof(symbol.N.ShortName))};
}

std::wstring Readable(const std::string& mangled)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> plain(
        abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), &std::free);
    return FromUtf8(status == 0 && plain ? plain.get() : mangled.c_str());
}

/// A file in memory for reading.
class CMappedFile {
public:
    explicit CMappedFile(const std::wstring& path)
        : m_file(CreateFileW(ToSystemPath(path).c_str(), GENERIC_READ,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                             nullptr))
    {
        LARGE_INTEGER length{};
        if (!m_file || !GetFileSizeEx(m_file.Get(), &length)) {
            return;
        }
        m_mapping = CHandle(CreateFileMappingW(m_file.Get(), nullptr, PAGE_READONLY, 0, 0, nullptr));
        if (m_mapping) {
            m_view = MapViewOfFile(m_mapping.Get(), FILE_MAP_READ, 0, 0, 0);
        }
        if (m_view != nullptr) {
            m_size = static_cast<std::size_t>(length.QuadPart);
        }
    }
    ~CMappedFile()
    {
        if (m_view != nullptr) {
            UnmapViewOfFile(m_view);
        }
    }
    CMappedFile(const CMappedFile&) = delete;
    CMappedFile& operator=(const CMappedFile&) = delete;

    [[nodiscard]] std::span<const std::byte> Bytes() const { return {static_cast<const std::byte*>(m_view), m_size}; }

private:
    const CHandle m_file;
    CHandle m_mapping;
    void* m_view = nullptr;
    std::size_t m_size = 0;
};

/// A crash report asks for dozens of addresses in a few modules: each module is read once.
const CModuleSymbols& SymbolsOf(const std::wstring& modulePath)
{
    static std::mutex mutex;
    static std::map<std::wstring, CModuleSymbols> modules;
    const std::lock_guard lock(mutex);
    auto found = modules.find(modulePath);
    if (found == modules.end()) {
        found = modules.emplace(modulePath, CModuleSymbols(CMappedFile(modulePath).Bytes())).first;
    }
    return found->second; // entries of a map stay where they are
}

std::wstring Hexadecimal(std::uint64_t number)
{
    wchar_t text[32] = {};
    std::swprintf(text, std::size(text), L"0x%llx", static_cast<unsigned long long>(number));
    return text;
}

} // namespace

CModuleSymbols::CModuleSymbols(std::span<const std::byte> bytes)
{
    const CBytes file(bytes);
    const auto layout = ReadLayout(file);
    if (!layout || layout->header.PointerToSymbolTable == 0) {
        return;
    }

    constexpr std::size_t symbolSize = IMAGE_SIZEOF_SYMBOL;
    static_assert(sizeof(IMAGE_SYMBOL) == symbolSize);
    const std::uint64_t symbolsAt = layout->header.PointerToSymbolTable;
    const std::uint64_t count = layout->header.NumberOfSymbols;
    const std::uint64_t textsAt = symbolsAt + count * symbolSize;
    for (std::uint64_t i = 0; i < count; ++i) {
        const auto symbol = file.At<IMAGE_SYMBOL>(symbolsAt + i * symbolSize);
        if (!symbol) {
            break;
        }
        i += symbol->NumberOfAuxSymbols; // what follows describes this one further
        const bool isFunction = ISFCN(symbol->Type);
        const auto section = static_cast<std::size_t>(symbol->SectionNumber) - 1;
        if (!isFunction || symbol->SectionNumber <= 0 || section >= layout->sections.size()) {
            continue;
        }
        const DWORD start = layout->sections[section].VirtualAddress;
        const DWORD end = start + layout->sections[section].Misc.VirtualSize;
        m_functions.push_back({start + symbol->Value, end, NameOf(*symbol, file, textsAt)});
    }
    std::ranges::stable_sort(m_functions, {}, &SFunction::offset);
}

std::wstring CModuleSymbols::FunctionAt(std::uint32_t offset) const
{
    const auto next = std::ranges::upper_bound(m_functions, offset, {}, &SFunction::offset);
    if (next == m_functions.begin()) {
        return {};
    }
    const SFunction& function = *std::prev(next);
    return offset < function.sectionEnd ? Readable(function.name) : std::wstring();
}

} // namespace win32

std::wstring DescribeAddress(std::uintptr_t address)
{
    HMODULE module = nullptr;
    constexpr DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    // For a null pointer the system would name the program.
    if (address == 0 || !GetModuleHandleExW(flags, reinterpret_cast<const wchar_t*>(address), &module)) {
        return win32::Hexadecimal(address);
    }

    const std::wstring path = ModulePathOf(reinterpret_cast<const void*>(address));
    const std::uintptr_t offset = address - reinterpret_cast<std::uintptr_t>(module);
    std::wstring text = FileNameOf(path) + L"+" + win32::Hexadecimal(offset);
    const std::wstring function = win32::SymbolsOf(path).FunctionAt(static_cast<std::uint32_t>(offset));
    return function.empty() ? text : text + L" " + function;
}

} // namespace platform
