#include "platform/win32/Allocator.h"

#include "platform/win32/SystemError.h"

#include <algorithm>
#include <array>

// What the heap's functions call has no names, but returns to them.

namespace platform::win32 {

namespace {

constexpr std::array kFunctions = {"RtlAllocateHeap", "RtlFreeHeap",    "RtlReAllocateHeap", "RtlSizeHeap",
                                   "RtlValidateHeap", "RtlCompactHeap", "RtlWalkHeap"};

// Written before the first handler that reads them.
std::array<DWORD64, kFunctions.size()> g_begins{};

/// What the unwind information of a function begins with.
struct SUnwindInfo {
    BYTE versionAndFlags;
    BYTE prologSize;
    BYTE codeCount;
    BYTE frameRegister;
    WORD codes[1];
};

/// The beginning of the function that holds the address. The parts of one that was split lead to their first part.
DWORD64 BeginOf(DWORD64 address)
{
    constexpr int mostParts = 32;
    DWORD64 base = 0;
    const RUNTIME_FUNCTION* function = RtlLookupFunctionEntry(address, &base, nullptr);
    for (int part = 0; function != nullptr && part < mostParts; ++part) {
        const auto* const info = reinterpret_cast<const SUnwindInfo*>(base + function->UnwindData);
        if (((info->versionAndFlags >> 3U) & UNW_FLAG_CHAININFO) == 0) {
            return base + function->BeginAddress;
        }
        // Behind the codes, of which there is an even number.
        const std::size_t codes = (info->codeCount + std::size_t{1}) & ~std::size_t{1};
        function = reinterpret_cast<const RUNTIME_FUNCTION*>(static_cast<const void*>(info->codes + codes));
    }
    return 0;
}

} // namespace

void FindAllocator()
{
    for (std::size_t i = 0; i < kFunctions.size(); ++i) {
        const auto function = OptionalFunction<void (*)()>(L"ntdll.dll", kFunctions[i]);
        g_begins[i] = function == nullptr ? 0 : BeginOf(reinterpret_cast<DWORD64>(function));
    }
}

bool IsInAllocator(const SFaultRecord& record)
{
    for (std::size_t i = 0; i < record.frameCount; ++i) {
        const DWORD64 begin = BeginOf(record.frames[i] - (i > 0 ? 1 : 0));
        if (begin != 0 && std::ranges::find(g_begins, begin) != g_begins.end()) {
            return true;
        }
    }
    return false;
}

} // namespace platform::win32
