#include "platform/Fault.h"

#include "platform/FaultMutex.h"
#include "platform/Module.h"
#include "platform/Text.h"

#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <optional>
#include <unistd.h>

#if defined(ZEL_HAVE_LIBDW)
#include <elfutils/libdwfl.h>
#endif

namespace platform {
namespace {

std::wstring Demangled(const char* name)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(name, nullptr, nullptr, &status),
                                                           &std::free);
    return FromUtf8(status == 0 && text != nullptr ? text.get() : name);
}

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

    void Find(std::uintptr_t address, SAddressDescription& description) const
    {
        Dwfl_Module* const module = m_session != nullptr ? dwfl_addrmodule(m_session.get(), address) : nullptr;
        if (module == nullptr)
            return;
        if (const char* const name = dwfl_module_addrname(module, address); name != nullptr)
            description.function = Demangled(name);
        int line = 0;
        Dwfl_Line* const found = dwfl_module_getsrc(module, address);
        const char* const file =
            found != nullptr ? dwfl_lineinfo(found, nullptr, &line, nullptr, nullptr, nullptr) : nullptr;
        if (file == nullptr)
            return;
        description.file = FromUtf8(file);
        description.line = static_cast<std::uint64_t>(line);
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

void FindSymbol(std::uintptr_t address, SAddressDescription& description)
{
    // Reading the modules' tables takes a tenth of a second and a report asks for dozens of addresses: they are kept
    // until other modules are loaded.
    static CFaultMutex mutex;
    static std::optional<CDebugInformation> information ZEL_GUARDED_BY(mutex);
    static std::uint64_t loadCount ZEL_GUARDED_BY(mutex) = 0;
    const CFaultLock lock(mutex);
    if (!lock.IsHeld())
        return; // a fault struck in here: the report of it does without
    if (const std::uint64_t now = LoadCount(); !information || now != loadCount) {
        information.emplace();
        loadCount = now;
    }
    information->Find(address, description);
}

#else

void FindSymbol(std::uintptr_t, SAddressDescription&) {}

#endif

} // namespace

SAddressDescription LookUpAddress(std::uintptr_t address)
{
    SAddressDescription description;
    description.offset = address;
    Dl_info info = {};
    if (dladdr(reinterpret_cast<const void*>(address), &info) == 0)
        return description;
    description.modulePath = ModulePathOf(reinterpret_cast<const void*>(address));
    description.offset -= reinterpret_cast<std::uintptr_t>(info.dli_fbase);
    FindSymbol(address, description);
    if (description.function.empty() && info.dli_sname != nullptr)
        description.function = Demangled(info.dli_sname);
    return description;
}

} // namespace platform
