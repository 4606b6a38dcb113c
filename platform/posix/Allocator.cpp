#include "platform/posix/Allocator.h"

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <mutex>
#include <span>

// The functions that others call are known by their names; those that they call in turn are not, but they return to
// them, or, where they were jumped to, lie among them: one source of the C library has all of it. A program may have
// brought an allocator of its own, whose functions are found by the same names.

namespace platform::posix {
namespace {

struct SRange {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    const void* module = nullptr;
};

constexpr std::array kFamily = {"malloc",   "free",    "calloc",        "realloc",           "memalign",
                                "valloc",   "pvalloc", "aligned_alloc", "posix_memalign",    "malloc_trim",
                                "mallinfo", "mallopt", "malloc_stats",  "malloc_usable_size"};
/// The compiler's, which may be replaced one by one: new, new[], delete and delete[].
constexpr std::array kOperators = {"_Znwm", "_Znam", "_ZdlPv", "_ZdaPv", "_ZdlPvm", "_ZdaPvm"};
/// What lies further apart is no one source; malloc's own takes 16 KB.
constexpr std::uintptr_t kLongestSource = 32 * 1024;

// Written before the first handler that reads them.
std::array<SRange, kFamily.size() + kOperators.size()> g_ranges = {};
std::size_t g_count = 0;

SRange RangeOf(const char* name)
{
    SRange range;
    Dl_info info = {};
    const ElfW(Sym)* symbol = nullptr;
    const void* const function = dlsym(RTLD_DEFAULT, name);
    if (function == nullptr ||
        dladdr1(function, &info, reinterpret_cast<void**>(const_cast<ElfW(Sym)**>(&symbol)), RTLD_DL_SYMENT) == 0 ||
        symbol == nullptr)
        return range;
    range.begin = reinterpret_cast<std::uintptr_t>(function);
    range.end = range.begin + symbol->st_size;
    range.module = info.dli_fbase;
    return range;
}

/// One range for all functions of the family that one source has.
void AddToFamily(const SRange& found)
{
    for (SRange& known : std::span(g_ranges).first(g_count)) {
        const SRange joined = {std::min(known.begin, found.begin), std::max(known.end, found.end), known.module};
        if (known.module == found.module && joined.end - joined.begin <= kLongestSource) {
            known = joined;
            return;
        }
    }
    g_ranges[g_count++] = found;
}

} // namespace

void FindAllocator()
{
    static std::once_flag once;
    std::call_once(once, [] {
        for (const char* name : kFamily) {
            if (const SRange found = RangeOf(name); found.begin != 0)
                AddToFamily(found);
        }
        for (const char* name : kOperators) {
            if (const SRange found = RangeOf(name); found.begin != 0)
                g_ranges[g_count++] = found;
        }
    });
}

bool IsInAllocator(const SFaultRecord& record)
{
    for (std::size_t i = 0; i < record.frameCount; ++i) {
        // A return address may be that of the next function, when the call is the last that a function does.
        const std::uintptr_t address = record.frames[i] - (i > 0 ? 1 : 0);
        for (std::size_t k = 0; k < g_count; ++k) {
            if (address >= g_ranges[k].begin && address < g_ranges[k].end)
                return true;
        }
    }
    return false;
}

} // namespace platform::posix
