#include "platform/win32/Symbols.h"

#include "platform/Fault.h"
#include "platform/FaultMutex.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/win32/LineTable.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>

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

/// A crash report asks for dozens of addresses in a few modules: each module is read once. Null when a fault has struck
/// in here: the report of it does without.
const CModuleSymbols* SymbolsOf(const std::wstring& modulePath, const CModuleFile& file)
{
    static CFaultMutex mutex;
    static std::map<std::wstring, CModuleSymbols> modules ZEL_GUARDED_BY(mutex);
    const CFaultLock lock(mutex);
    if (!lock.IsHeld()) {
        return nullptr;
    }
    auto found = modules.find(modulePath);
    if (found == modules.end()) {
        found = modules.emplace(modulePath, CModuleSymbols(file)).first;
    }
    return &found->second; // entries of a map stay where they are
}

/// Modules of the system and of the compiler: whoever reads a stack looks for the place in his own sources that led
/// there, although some of these modules have debug information.
bool IsForeign(const std::wstring& modulePath)
{
    const std::wstring name = FileNameOf(modulePath);
    if (name.starts_with(L"libstdc++") || name.starts_with(L"libgcc_s") || name.starts_with(L"libwinpthread")) {
        return true;
    }
    wchar_t folder[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
    return length != 0 && length < MAX_PATH && EqualsNoCase(DirectoryOf(modulePath), folder);
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

SAddressDescription LookUpAddress(std::uintptr_t address)
{
    SAddressDescription description;
    description.offset = address;
    HMODULE module = nullptr;
    constexpr DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    // For a null pointer the system would name the program.
    if (address == 0 || !GetModuleHandleExW(flags, reinterpret_cast<const wchar_t*>(address), &module)) {
        return description;
    }
    description.modulePath = ModulePathOf(reinterpret_cast<const void*>(address));
    description.offset -= reinterpret_cast<std::uintptr_t>(module);
    const win32::CModuleFile file(description.modulePath);
    if (const win32::CModuleSymbols* const symbols = win32::SymbolsOf(description.modulePath, file)) {
        description.function = symbols->FunctionAt(static_cast<std::uint32_t>(description.offset));
    }
    if (win32::IsForeign(description.modulePath)) {
        return description;
    }
    const auto line = win32::FindSourceLine(file.SectionNamed(".debug_line"), file.SectionNamed(".debug_line_str"),
                                            file.PreferredBase() + description.offset);
    if (line) {
        description.file = FromUtf8(line->file);
        description.line = line->line;
    }
    return description;
}

} // namespace platform
