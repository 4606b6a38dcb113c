#include "platform/win32/Symbols.h"

#include "platform/Fault.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/win32/LineTable.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

namespace platform {

namespace win32 {

namespace {

std::wstring Readable(const std::string& mangled)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> plain(
        abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), &std::free);
    return FromUtf8(status == 0 && plain ? plain.get() : mangled.c_str());
}

/// A crash report asks for dozens of addresses in a few modules: each module is read once.
const CModuleSymbols& SymbolsOf(const std::wstring& modulePath, const CModuleFile& file)
{
    static std::mutex mutex;
    static std::map<std::wstring, CModuleSymbols> modules;
    const std::lock_guard lock(mutex);
    auto found = modules.find(modulePath);
    if (found == modules.end()) {
        found = modules.emplace(modulePath, CModuleSymbols(file)).first;
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

CModuleSymbols::CModuleSymbols(const CModuleFile& file)
{
    for (std::uint32_t i = 0; i < file.SymbolCount(); ++i) {
        const auto symbol = file.Symbol(i);
        if (!symbol) {
            break;
        }
        i += symbol->NumberOfAuxSymbols; // what follows describes this one further
        const auto section = static_cast<std::size_t>(symbol->SectionNumber) - 1;
        if (!ISFCN(symbol->Type) || symbol->SectionNumber <= 0 || section >= file.Sections().size()) {
            continue;
        }
        const DWORD start = file.Sections()[section].VirtualAddress;
        const DWORD end = start + file.Sections()[section].Misc.VirtualSize;
        m_functions.push_back({start + symbol->Value, end, file.SymbolName(*symbol)});
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
    const win32::CModuleFile file(path);
    const std::wstring function = win32::SymbolsOf(path, file).FunctionAt(static_cast<std::uint32_t>(offset));
    if (!function.empty()) {
        text += L" " + function;
    }
    const auto line = win32::FindSourceLine(file.SectionNamed(".debug_line"), file.SectionNamed(".debug_line_str"),
                                            file.PreferredBase() + offset);
    if (line) {
        text += L" (" + FromUtf8(line->file) + L":" + std::to_wstring(line->line) + L")";
    }
    return text;
}

} // namespace platform
