#include "platform/Fault.h"

#include "platform/Path.h"
#include "platform/Text.h"

#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <unistd.h>

#if defined(ZEL_HAVE_LIBDW)
#include <elfutils/libdwfl.h>
#endif

namespace platform {
namespace {

std::string Demangled(const char* name)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(name, nullptr, nullptr, &status),
                                                           &std::free);
    return status == 0 && text != nullptr ? std::string(text.get()) : std::string(name);
}

struct SSymbol {
    std::string function;
    std::string place; // file:line
};

#if defined(ZEL_HAVE_LIBDW)

/// The debug information is the modules' own. Looking for it elsewhere would, where a server for it is configured, ask
/// the network in the middle of a crash report.
int FindNoOtherFile(Dwfl_Module*, void**, const char*, Dwarf_Addr, const char*, const char*, GElf_Word, char**)
{
    return -1;
}

/// Names and lines from the debug information that lies in the modules' files, as they are loaded when this is made.
class CDebugInformation {
public:
    CDebugInformation() : m_session(dwfl_begin(&kCallbacks), &dwfl_end)
    {
        if (m_session != nullptr && dwfl_linux_proc_report(m_session.get(), getpid()) == 0)
            dwfl_report_end(m_session.get(), nullptr, nullptr);
    }

    [[nodiscard]] SSymbol Find(std::uintptr_t address) const
    {
        SSymbol symbol;
        Dwfl_Module* const module = m_session != nullptr ? dwfl_addrmodule(m_session.get(), address) : nullptr;
        if (module == nullptr)
            return symbol;
        if (const char* const name = dwfl_module_addrname(module, address); name != nullptr)
            symbol.function = Demangled(name);
        int line = 0;
        if (Dwfl_Line* const found = dwfl_module_getsrc(module, address); found != nullptr) {
            const char* const file = dwfl_lineinfo(found, nullptr, &line, nullptr, nullptr, nullptr);
            if (file != nullptr)
                symbol.place = std::string(file) + ":" + std::to_string(line);
        }
        return symbol;
    }

private:
    static constexpr Dwfl_Callbacks kCallbacks = {&dwfl_linux_proc_find_elf, &FindNoOtherFile, nullptr, nullptr};

    const std::unique_ptr<Dwfl, decltype(&dwfl_end)> m_session;
};

/// Changes whenever a module is loaded or unloaded.
std::uint64_t LoadCount()
{
    std::uint64_t count = 0;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* result) {
            *static_cast<std::uint64_t*>(result) = info->dlpi_adds + info->dlpi_subs;
            return 1; // all entries tell the same
        },
        &count);
    return count;
}

SSymbol FindSymbol(std::uintptr_t address)
{
    // Reading the modules' tables takes a tenth of a second and a report asks for dozens of addresses: they are kept
    // until other modules are loaded.
    static std::mutex mutex;
    static std::optional<CDebugInformation> information; // guarded by mutex
    static std::uint64_t loadCount = 0;                  // guarded by mutex
    const std::lock_guard lock(mutex);
    if (const std::uint64_t now = LoadCount(); !information || now != loadCount) {
        information.emplace();
        loadCount = now;
    }
    return information->Find(address);
}

#else

SSymbol FindSymbol(std::uintptr_t)
{
    return {};
}

#endif

} // namespace

std::wstring DescribeAddress(std::uintptr_t address)
{
    std::ostringstream text;
    text << std::hex << std::showbase;
    Dl_info info = {};
    if (dladdr(reinterpret_cast<const void*>(address), &info) == 0) {
        text << address;
        return FromUtf8(text.str());
    }
    const auto base = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
    text << ToUtf8(FileNameOf(FromUtf8(info.dli_fname))) << '+' << address - base;
    SSymbol symbol = FindSymbol(address);
    if (symbol.function.empty() && info.dli_sname != nullptr)
        symbol.function = Demangled(info.dli_sname);
    if (!symbol.function.empty())
        text << ' ' << symbol.function;
    if (!symbol.place.empty())
        text << " (" << symbol.place << ')';
    return FromUtf8(text.str());
}

} // namespace platform
