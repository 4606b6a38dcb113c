#include "platform/posix/FaultContext.h"

#include <algorithm>
#include <dlfcn.h>
#include <ucontext.h>
#include <unwind.h>

namespace platform {
namespace posix {
namespace {

std::uintptr_t InstructionOf(const ucontext_t& context)
{
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
    return context.uc_mcontext.pc;
#else
#error "The registers of this processor are not known here"
#endif
}

std::uintptr_t StackPointerOf(const ucontext_t& context)
{
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RSP]);
#else
    return context.uc_mcontext.sp;
#endif
}

std::uintptr_t FramePointerOf(const ucontext_t& context)
{
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RBP]);
#else
    return context.uc_mcontext.regs[29];
#endif
}

/// Where a call went whose target is no code: the only frame that is known then is the caller's.
std::uintptr_t ReturnAddressOf(const ucontext_t& context)
{
#if defined(__x86_64__)
    return *reinterpret_cast<const std::uintptr_t*>(StackPointerOf(context));
#else
    return context.uc_mcontext.regs[30];
#endif
}

/// Stack pointer and accessed address are both at the end of the stack, with room for one large frame beyond it.
bool IsStackOverflow(std::uintptr_t address, std::uintptr_t stackPointer, std::uintptr_t stackLimit)
{
    constexpr std::uintptr_t above = 64 * 1024;
    constexpr std::uintptr_t below = 1024 * 1024;
    const auto isAtEnd = [stackLimit](std::uintptr_t value) {
        return value < stackLimit + above && value + below > stackLimit;
    };
    return stackLimit != 0 && isAtEnd(address) && isAtEnd(stackPointer);
}

eFaultKind KindOf(int number)
{
    switch (number) {
    case SIGSEGV:
    case SIGBUS: return eFaultKind_AccessViolation;
    case SIGFPE: return eFaultKind_Division;
    case SIGILL: return eFaultKind_IllegalInstruction;
    case SIGABRT: return eFaultKind_Abort;
    default: return eFaultKind_Other;
    }
}

/// Only what the kernel itself raised has an address; what was sent with kill has a sender in its place.
bool IsFromProcessor(const siginfo_t& info)
{
    return info.si_code > 0;
}

bool IsInModule(std::uintptr_t address)
{
    dl_find_object found = {};
    return _dl_find_object(reinterpret_cast<void*>(address), &found) == 0; // takes no lock, so a handler may ask
}

/// Collects the frames of the walk by unwinding tables from a certain one on.
struct SWalk {
    std::uintptr_t first = 0; ///< left out is what comes before it
    std::uintptr_t* frames = nullptr;
    std::size_t room = 0;
    std::size_t used = 0;
};

_Unwind_Reason_Code AddFrame(_Unwind_Context* context, void* data)
{
    auto& walk = *static_cast<SWalk*>(data);
    const std::uintptr_t address = _Unwind_GetIP(context);
    if (address == 0 || walk.used == walk.room)
        return _URC_END_OF_STACK;
    if (walk.used > 0 || address == walk.first)
        walk.frames[walk.used++] = address;
    return _URC_NO_REASON;
}

/// The compiler's own walk: the C library's backtrace loads a library at its first use, and sanitizers wrap it in code
/// that must not be left by a jump.
std::size_t WalkByTables(std::uintptr_t first, std::uintptr_t* frames, std::size_t room)
{
    SWalk walk = {first, frames, room, 0};
    _Unwind_Backtrace(&AddFrame, &walk);
    return walk.used;
}

/// From a place that is no code: back to the one who called it, and on by the frame pointers, which our own code keeps.
void WalkByFramePointers(const ucontext_t& registers, SFaultRecord& record)
{
    record.frames[record.frameCount] = ReturnAddressOf(registers);
    ++record.frameCount;
    std::uintptr_t pointer = FramePointerOf(registers);
    while (record.frameCount < kMaxFaultFrames && pointer % sizeof(pointer) == 0) {
        const auto* const frame = reinterpret_cast<const std::uintptr_t*>(pointer);
        const std::uintptr_t outer = frame[0];
        if (!IsInModule(frame[1]) || outer <= pointer) // the stack grows downwards
            return;
        record.frames[record.frameCount] = frame[1];
        ++record.frameCount;
        pointer = outer;
    }
}

} // namespace

void DescribeSignal(int number, const siginfo_t& info, const void* context, std::uintptr_t stackLimit,
                    SFaultRecord& record)
{
    const auto& registers = *static_cast<const ucontext_t*>(context);
    record.kind = KindOf(number);
    record.code = static_cast<std::uint32_t>(number);
    record.instruction = InstructionOf(registers);
    if (record.kind != eFaultKind_AccessViolation || !IsFromProcessor(info))
        return;
    record.address = reinterpret_cast<std::uintptr_t>(info.si_addr);
    if (IsStackOverflow(record.address, StackPointerOf(registers), stackLimit))
        record.kind = eFaultKind_StackOverflow;
}

void WalkFaultingStack(const void* context, SFaultRecord& record)
{
    const auto& registers = *static_cast<const ucontext_t*>(context);
    record.frames[0] = record.instruction;
    record.frameCount = 1;
    // The walk by tables looks at the bytes of an instruction that it knows nothing of, and ends in a fault where there
    // are none.
    if (IsInModule(record.instruction))
        record.frameCount = std::max<std::size_t>(1, WalkByTables(record.instruction, record.frames, kMaxFaultFrames));
    if (record.frameCount == 1)
        WalkByFramePointers(registers, record);
}

} // namespace posix

std::size_t CaptureStack(std::uintptr_t* frames, std::size_t maxFrames)
{
    const auto caller = reinterpret_cast<std::uintptr_t>(__builtin_return_address(0));
    return posix::WalkByTables(caller, frames, maxFrames);
}

} // namespace platform
