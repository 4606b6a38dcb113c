#pragma once

#include "platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

/// Containment of faults: a frame around foreign code that turns a processor fault or abort() into a result.
namespace platform {

enum eFaultKind {
    eFaultKind_None,
    eFaultKind_AccessViolation,
    eFaultKind_Division,
    eFaultKind_IllegalInstruction,
    eFaultKind_StackOverflow,
    eFaultKind_Abort,
    eFaultKind_Exception, ///< a C++ exception; RunContained never reports it, see RecordCurrentException
    eFaultKind_Other,
    eFaultKind_Exit ///< exit was called where nobody may; RunContained never reports it
};

constexpr std::size_t kMaxFaultFrames = 64;
constexpr std::size_t kMaxExceptionText = 256;

/// What is known of a fault, gathered where it happened and before the stack was left. Plain data of fixed size.
struct SFaultRecord {
    eFaultKind kind = eFaultKind_None;
    std::uint32_t code = 0;         ///< signal number or exception code of the system
    std::uintptr_t instruction = 0; ///< address of the faulting instruction
    std::uintptr_t address = 0;     ///< address that was accessed, where that means something
    std::size_t frameCount = 0;
    std::uintptr_t frames[kMaxFaultFrames] = {}; ///< return addresses, the faulting frame first
    char exception[kMaxExceptionText] = {};      ///< of a C++ exception: type and text as UTF-8, cut to the room
};

/// Runs the body. True when it returned. False when it was left because of a fault; the record then tells which.
///
/// A fault on the calling thread is contained only while its own frame runs; faults of other threads, and of this one
/// outside the frame, go to the handlers that were installed before. So does a fault inside the memory allocator, after
/// the last words (platform/LastWords.h): its lock would stay taken, and the process would hang at its next allocation.
/// On Windows the process is ended at once then, with the exception's code. Handlers that a body sets for itself end
/// the containment of that run only: each run puts its own in place, and the last to end takes them away. A frame
/// inside another on one thread takes the faults of its own body. C++ exceptions pass through to the caller. The
/// objects of the frames that are jumped over are not destroyed: no lock may be held across the body, and what the body
/// owned is lost (memory, references, open files). After a stack overflow the thread can take the next one as well.
[[nodiscard]] ZEL_FRAMEWORK_API bool RunContained(const std::function<void()>& body, SFaultRecord& record);

/// In a catch block: fills a record with the exception's type and text. Where it was thrown is known no more.
ZEL_FRAMEWORK_API void RecordCurrentException(SFaultRecord& record);

enum eHeapState { eHeapState_Ok, eHeapState_Corrupt, eHeapState_Unknown };

/// Checks the C heap. Unknown where the C library has no check (glibc): the answer is then no reason to trust the heap.
[[nodiscard]] ZEL_FRAMEWORK_API eHeapState CheckHeap();

[[nodiscard]] ZEL_FRAMEWORK_API const wchar_t* FaultKindName(eFaultKind kind);

/// The return addresses of the current thread's stack, the caller first.
ZEL_FRAMEWORK_API std::size_t CaptureStack(std::uintptr_t* frames, std::size_t maxFrames);

/// What is known of an address in this process; texts that are not known are empty.
struct SAddressDescription {
    std::wstring modulePath;
    std::uintptr_t offset = 0; ///< in the module, or the address itself where no module holds it
    std::wstring function;     ///< readable, with the types of its parameters
    std::wstring file;         ///< as the compiler named it, or only its name
    std::uint64_t line = 0;
};

/// Reads debug information from disk: slow, not for fault handlers.
[[nodiscard]] ZEL_FRAMEWORK_API SAddressDescription LookUpAddress(std::uintptr_t address);

/// "module+0xoffset function (file:line)" as far as known.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring AddressText(const SAddressDescription& description);

} // namespace platform
