#include "platform/Fault.h"

#include "platform/FileSystem.h"
#include "platform/LastWords.h"
#include "platform/PrivateFiles.h"
#include "platform/win32/Allocator.h"
#include "platform/win32/StackWalk.h"
#include "platform/win32/StrayFaults.h"
#include "platform/win32/WindowsHeader.h"

#include <malloc.h>
#include <setjmp.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <mutex>

// A vectored handler sees an exception before everybody else. For the thread whose frame is active it makes the thread
// go on in a function that jumps back into the frame. The jump does not unwind: the buffer is made without a frame
// pointer, which is what tells the C library so. The handler itself returns in the ordinary way, for the system counts
// its handlers' comings and goings. A frame based handler would leave faults alone that foreign code means to handle
// itself, but GCC has none, and it is not even asked when the stack is beyond reading.

namespace platform {

namespace {

using SignalHandler = void (*)(int);

/// What is kept free at the end of a stack for the handling of its overflow.
constexpr ULONG kOverflowReserve = 64 * 1024;

struct SFrame {
    jmp_buf jump;
    jmp_buf captureJump;
    bool capturing = false;
    SFaultRecord* record = nullptr;
    SFrame* outer = nullptr;
};

// The thread's frame lies in a slot of the system: a thread_local variable of this compiler is allocated at its first
// use on each thread, and a handler may not allocate.
DWORD g_slot = TLS_OUT_OF_INDEXES;
std::atomic<SignalHandler> g_oldAbort{SIG_DFL};

SFrame* ActiveFrame()
{
    const DWORD error = GetLastError(); // reading a slot resets it
    auto* const frame = static_cast<SFrame*>(TlsGetValue(g_slot));
    SetLastError(error);
    return frame;
}

eFaultKind KindOf(DWORD code)
{
    switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_IN_PAGE_ERROR:
    case EXCEPTION_DATATYPE_MISALIGNMENT: return eFaultKind_AccessViolation;
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_INT_OVERFLOW: // the smallest number divided by -1
    case EXCEPTION_FLT_DIVIDE_BY_ZERO: return eFaultKind_Division;
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_PRIV_INSTRUCTION: return eFaultKind_IllegalInstruction;
    case EXCEPTION_STACK_OVERFLOW: return eFaultKind_StackOverflow;
    case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
    case EXCEPTION_BREAKPOINT:
    case EXCEPTION_FLT_DENORMAL_OPERAND:
    case EXCEPTION_FLT_INEXACT_RESULT:
    case EXCEPTION_FLT_INVALID_OPERATION:
    case EXCEPTION_FLT_OVERFLOW:
    case EXCEPTION_FLT_STACK_CHECK:
    case EXCEPTION_FLT_UNDERFLOW: return eFaultKind_Other;
    default: return eFaultKind_None; // C++ exceptions, debugger messages and what programs raise for themselves
    }
}

[[noreturn]] void JumpTo(_JBTYPE* jump)
{
    longjmp(jump, 1);
}

/// Makes the stopped thread go on with the jump, on the stack below the frame that it leads to.
void ContinueWithJump(CONTEXT& context, _JBTYPE* jump)
{
    constexpr DWORD64 spareStack = 128;
    constexpr DWORD trapDirectionAndAlignmentFlags = 0x40500;
    const DWORD64 stack = reinterpret_cast<const _JUMP_BUFFER*>(jump)->Rsp;
    context.Rsp = ((stack - spareStack) & ~DWORD64{15}) - sizeof(DWORD64); // as if a call had pushed its return address
    context.Rip = reinterpret_cast<DWORD64>(&JumpTo);
    context.Rcx = reinterpret_cast<DWORD64>(jump);
    context.EFlags &= ~trapDirectionAndAlignmentFlags;
}

/// The walk over a damaged stack may fault itself; it then ends with what it has.
void CaptureGuarded(SFrame& frame, const CONTEXT& context)
{
    if (_setjmp(frame.captureJump, nullptr) == 0) {
        frame.capturing = true;
        win32::WalkStack(context, *frame.record);
    }
    frame.capturing = false;
}

std::atomic<bool> g_isEnding = false;

/// Leaving the heap's functions by a jump would leave the heap locked, and every other thread would wait for it for
/// ever. At once, and not by the system's own way of ending, which may put up a box.
[[noreturn]] void EndByFault(const SFaultRecord& record)
{
    if (!g_isEnding.exchange(true)) {
        SayLastWords(record); // a fault in it comes here again
    }
    TerminateProcess(GetCurrentProcess(), record.code);
    for (;;) {
        Sleep(INFINITE); // until this thread has ended, too
    }
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* pointers)
{
    const EXCEPTION_RECORD& exception = *pointers->ExceptionRecord;
    CONTEXT& context = *pointers->ContextRecord;
    const eFaultKind kind = KindOf(exception.ExceptionCode);
    SFrame* const frame = kind == eFaultKind_None ? nullptr : ActiveFrame();
    if (frame == nullptr) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    if (frame->capturing) {
        ContinueWithJump(context, frame->captureJump);
        return EXCEPTION_CONTINUE_EXECUTION;
    }

    SFaultRecord& record = *frame->record;
    record.kind = kind;
    record.code = exception.ExceptionCode;
    record.instruction = context.Rip;
    if (kind == eFaultKind_AccessViolation && exception.NumberParameters >= 2) {
        record.address = exception.ExceptionInformation[1];
    }
    CaptureGuarded(*frame, context);
    if (g_isEnding.load() || win32::IsInAllocator(record)) {
        EndByFault(record);
    }
    ContinueWithJump(context, frame->jump);
    return EXCEPTION_CONTINUE_EXECUTION;
}

/// The C library's abort calls this on the thread that aborts, after having set the signal back to its default.
void OnAbort(int number)
{
    SFrame* const frame = ActiveFrame();
    if (frame == nullptr) {
        SFaultRecord stray;
        stray.kind = eFaultKind_Abort;
        stray.code = static_cast<std::uint32_t>(number);
        stray.frameCount = CaptureStack(stray.frames, kMaxFaultFrames);
        win32::TellStrayFault(stray);
        const SignalHandler old = g_oldAbort.load();
        if (old != SIG_DFL && old != SIG_IGN) {
            old(number);
        }
        return; // and the abort takes its course
    }
    signal(SIGABRT, &OnAbort);
    SFaultRecord& record = *frame->record;
    record.kind = eFaultKind_Abort;
    record.code = static_cast<std::uint32_t>(number);
    record.frameCount = CaptureStack(record.frames, kMaxFaultFrames);
    // This function itself is not where anything went wrong.
    record.frameCount -= record.frameCount > 0 ? 1 : 0;
    std::copy_n(record.frames + 1, record.frameCount, record.frames);
    record.instruction = record.frameCount > 0 ? record.frames[0] : 0;
    if (win32::IsInAllocator(record)) {
        EndByFault(record);
    }
    JumpTo(frame->jump);
}

LPTOP_LEVEL_EXCEPTION_FILTER g_oldFilter = nullptr;

/// Nobody has handled the exception. The system's own way of ending may put up a box.
LONG WINAPI OnUnhandled(EXCEPTION_POINTERS* pointers)
{
    const eFaultKind kind = KindOf(pointers->ExceptionRecord->ExceptionCode);
    if (kind == eFaultKind_None) {
        return g_oldFilter != nullptr ? g_oldFilter(pointers) : EXCEPTION_CONTINUE_SEARCH;
    }
    SFaultRecord record;
    record.kind = kind;
    record.code = pointers->ExceptionRecord->ExceptionCode;
    record.instruction = pointers->ContextRecord->Rip;
    if (!g_isEnding.exchange(true)) {
        win32::WalkStack(*pointers->ContextRecord, record);
        if (win32::IsInAllocator(record)) {
            SayLastWords(record);
        } else {
            win32::TellStrayFault(record);
        }
    }
    TerminateProcess(GetCurrentProcess(), record.code);
    return EXCEPTION_CONTINUE_SEARCH;
}

void InstallHandlers()
{
    static std::once_flag once;
    std::call_once(once, [] {
        g_slot = TlsAlloc();
        win32::FindAllocator();
        AddVectoredExceptionHandler(1, &OnException);
    });
    // Each time anew: whoever has taken the signal since then is served outside of our frames.
    const SignalHandler old = signal(SIGABRT, &OnAbort);
    if (old != &OnAbort && old != SIG_ERR) {
        g_oldAbort.store(old);
    }
}

/// Has the system raise an overflow while there is still stack to handle it on. Holds for the rest of the thread's
/// life.
void ReserveStackForOverflow()
{
    ULONG reserve = kOverflowReserve;
    SetThreadStackGuarantee(&reserve);

    // A system that commits a thread's whole stack at once (Wine does) has its guard page at the far end, where it
    // leaves no reserve to the first overflow. The page below which the reserve begins is then made a guard page as
    // well.
    constexpr ULONG_PTR pageSize = 4096;
    ULONG_PTR low = 0;
    ULONG_PTR high = 0;
    GetCurrentThreadStackLimits(&low, &high);
    auto* const border = reinterpret_cast<void*>(low + pageSize + kOverflowReserve);
    MEMORY_BASIC_INFORMATION pages{};
    if (VirtualQuery(border, &pages, sizeof(pages)) == 0 || pages.State != MEM_COMMIT ||
        (pages.Protect & PAGE_GUARD) != 0) {
        return;
    }
    DWORD oldProtection = 0;
    VirtualProtect(border, 1, PAGE_READWRITE | PAGE_GUARD, &oldProtection);
}

/// An overflow uses the stack's guard page up; without a new one the next overflow would end the process.
void RestoreGuardPage()
{
    _resetstkoflw();
}

/// Makes the frame the thread's active one. Not destroyed by a jump into the frame.
class CActiveFrame {
public:
    explicit CActiveFrame(const SFrame& frame) : m_pOuter(frame.outer)
    {
        TlsSetValue(g_slot, const_cast<SFrame*>(&frame));
    }
    ~CActiveFrame() { TlsSetValue(g_slot, m_pOuter); }
    CActiveFrame(const CActiveFrame&) = delete;
    CActiveFrame& operator=(const CActiveFrame&) = delete;

private:
    SFrame* const m_pOuter;
};

/// In a function of its own, so that no object with a destructor lives in the one that is jumped into.
__attribute__((noinline)) void RunInFrame(const std::function<void()>& body, const SFrame& frame)
{
    const CActiveFrame active(frame);
    body();
}

} // namespace

bool RunContained(const std::function<void()>& body, SFaultRecord& record)
{
    record = {};
    InstallHandlers();
    ReserveStackForOverflow();
    SFrame frame;
    frame.record = &record;
    frame.outer = ActiveFrame();
    const CPrivateFiles* const privateFiles = CPrivateFiles::Innermost();

    if (_setjmp(frame.jump, nullptr) == 0) {
        RunInFrame(body, frame);
        return true;
    }
    TlsSetValue(g_slot, frame.outer);
    CPrivateFiles::ReturnTo(privateFiles);
    if (record.kind == eFaultKind_StackOverflow) {
        RestoreGuardPage();
    }
    return false;
}

void win32::KeepFaultHandlers()
{
    InstallHandlers();
    g_oldFilter = SetUnhandledExceptionFilter(&OnUnhandled);
}

void win32::ReleaseFaultHandlers()
{
    SetUnhandledExceptionFilter(g_oldFilter);
}

eHeapState CheckHeap()
{
    switch (_heapchk()) {
    case _HEAPOK:
    case _HEAPEMPTY: return eHeapState_Ok;
    default: return eHeapState_Corrupt;
    }
}

} // namespace platform
