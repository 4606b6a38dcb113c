#include "capi/Handles.h"

#include <atomic>

std::uintptr_t NextHandleNumber()
{
    // Far from zero and from each other, and aligned: tools that look at pointers see nothing strange.
    constexpr std::uintptr_t kFirst = 0x10000;
    constexpr std::uintptr_t kStep = 16;
    static std::atomic<std::uintptr_t> next = kFirst;
    return next.fetch_add(kStep);
}
