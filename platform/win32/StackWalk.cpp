#include "platform/win32/StackWalk.h"

namespace platform {

namespace win32 {

namespace {

struct SStackLimits {
    SStackLimits() { GetCurrentThreadStackLimits(&low, &high); }

    [[nodiscard]] bool HoldsWordAt(std::uintptr_t address) const
    {
        return address >= low && address + sizeof(std::uintptr_t) <= high && address % sizeof(std::uintptr_t) == 0;
    }

    ULONG_PTR low = 0;
    ULONG_PTR high = 0;
};

/// Turns the context into that of the caller. False where the stack ends or makes no sense any more.
bool Unwind(CONTEXT& context, const SStackLimits& limits, bool first)
{
    const DWORD64 stack = context.Rsp;
    if (!limits.HoldsWordAt(stack)) {
        return false;
    }

    DWORD64 base = 0;
    if (auto* const function = RtlLookupFunctionEntry(context.Rip, &base, nullptr)) {
        void* handlerData = nullptr;
        DWORD64 establisher = 0;
        RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &handlerData, &establisher, nullptr);
    } else if (first) {
        // No unwind information: a function that keeps nothing on the stack, or a jump to where no code is. Either way
        // the return address is on top. Further out such a frame can't be, since it has called something.
        context.Rip = *reinterpret_cast<const DWORD64*>(stack);
        context.Rsp = stack + sizeof(DWORD64);
    } else {
        return false;
    }
    return context.Rip != 0 && context.Rsp > stack;
}

} // namespace

void WalkStack(const CONTEXT& stoppedAt, SFaultRecord& record)
{
    const SStackLimits limits;
    CONTEXT context = stoppedAt;
    do {
        record.frames[record.frameCount++] = context.Rip;
    } while (record.frameCount < kMaxFaultFrames && Unwind(context, limits, record.frameCount == 1));
}

} // namespace win32

// Not by the system's own capture function: some versions of it go on behind the end of the stack.
__attribute__((noinline)) std::size_t CaptureStack(std::uintptr_t* frames, std::size_t maxFrames)
{
    const win32::SStackLimits limits;
    CONTEXT context;
    RtlCaptureContext(&context);
    std::size_t count = 0;
    while (count < maxFrames && win32::Unwind(context, limits, false)) {
        frames[count++] = context.Rip;
    }
    return count;
}

} // namespace platform
