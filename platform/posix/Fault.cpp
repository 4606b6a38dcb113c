#include "platform/Fault.h"

#include "platform/FileSystem.h"
#include "platform/LastWords.h"
#include "platform/Mutex.h"
#include "platform/PrivateFiles.h"
#include "platform/posix/Allocator.h"
#include "platform/posix/AlternateStack.h"
#include "platform/posix/FaultContext.h"
#include "platform/posix/StrayFaults.h"

#include <array>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

// Handlers for the processor's signals and for abort, installed for the whole process while anybody is in a contained
// run. They jump back into the frame of the thread that faulted; a thread without one gets what it would have got
// without us. Each run looks anew whether they are still there, because a plug-in may have set its own; the last run to
// end puts back what was found, unless somebody has set another meanwhile.

namespace platform {
namespace {

constexpr std::array kSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

struct SFrame {
    sigjmp_buf jump = {};
    void* captureJump[5] = {};
    volatile sig_atomic_t capturing = 0;
    std::uintptr_t stackLimit = 0;
    SFaultRecord* record = nullptr;
    SFrame* outer = nullptr;
};

// A program that is linked with the library has room for these from the beginning, so that a handler may be the first
// to touch them. The model that would demand that of every program keeps others from loading the library while they
// run.
thread_local SFrame* t_frame = nullptr;
thread_local bool t_isTelling = false;

/// What was found in place of our handler of one signal.
struct SOthers {
    struct sigaction passTo = {};  ///< what a signal that is none of ours is passed on to
    struct sigaction putBack = {}; ///< what is set again after the last run
    bool overtaken = false;        ///< somebody set his handler over ours, which may pass signals on to it
    bool kept = false;             ///< ours stays when nothing runs
};

CMutex g_installing;
int g_runs ZEL_GUARDED_BY(g_installing) = 0;
// The same, which clang is not told, for the handlers read passTo, which is written before them.
std::array<SOthers, kSignals.size()> g_others = {};

SOthers& OthersOf(int number)
{
    std::size_t index = 0;
    while (kSignals[index] != number)
        ++index;
    return g_others[index];
}

bool IsLeftToTheSystem(int number)
{
    const struct sigaction& old = OthersOf(number).passTo;
    return (old.sa_flags & SA_SIGINFO) == 0 && (old.sa_handler == SIG_DFL || old.sa_handler == SIG_IGN);
}

/// What happens to a signal that is none of ours.
void PassOn(int number, siginfo_t* info, void* context)
{
    const struct sigaction& old = OthersOf(number).passTo;
    if ((old.sa_flags & SA_SIGINFO) != 0) {
        old.sa_sigaction(number, info, context);
    } else if (old.sa_handler == SIG_IGN && info->si_code <= 0) {
        return;
    } else if (old.sa_handler != SIG_DFL && old.sa_handler != SIG_IGN) {
        old.sa_handler(number);
    } else {
        // A faulting instruction runs again after our return and meets the default; what somebody sent is sent again.
        sigaction(number, &old, nullptr);
        if (info->si_code <= 0)
            raise(number);
    }
}

/// The walk over a damaged stack may fault itself; it then ends with what it has. The compiler's own jump, because the
/// thread sanitizer forgets the frame's buffer when it sees a younger one above it, and a handler's stack may lie
/// anywhere.
__attribute__((noinline)) void CaptureGuarded(SFrame& frame, const void* context)
{
    if (__builtin_setjmp(frame.captureJump) == 0) {
        frame.capturing = 1;
        posix::WalkFaultingStack(context, *frame.record);
    }
    frame.capturing = 0;
}

/// True for what this thread itself did: a fault, or abort. A signal that somebody else sends to the process hits any
/// thread by chance, and must not look like a fault of the code that runs there.
bool IsOwnDoing(const siginfo_t& info)
{
    return info.si_code > 0 || (info.si_code == SI_TKILL && info.si_pid == getpid());
}

/// A fault in the handler would end the process at once if its signal were blocked. We asked for no blocking, but the
/// thread sanitizer, which calls our handler from its own, blocks all.
void UnblockFaults()
{
    sigset_t faults;
    sigemptyset(&faults);
    for (const int number : kSignals)
        sigaddset(&faults, number);
    pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
}

/// Leaving the allocator by a jump would leave its lock taken, and the whole process would wait for it for ever.
void EndByFault(int number, siginfo_t* info, void* context, const SFaultRecord& record)
{
    t_frame = nullptr; // a fault from here on ends the process, too
    SayLastWords(record);
    PassOn(number, info, context);
}

/// A fault of a thread that is in no contained run, and of nobody else's affair. One that strikes in here ends the
/// process without more words.
void TellUncontained(int number, const siginfo_t& info, const void* context)
{
    if (t_isTelling || !posix::IsStrayFaultTold() || !IsLeftToTheSystem(number))
        return;
    t_isTelling = true;
    UnblockFaults();
    SFaultRecord record;
    posix::DescribeSignal(number, info, context, 0, record);
    posix::WalkFaultingStack(context, record);
    if (posix::IsInAllocator(record))
        SayLastWords(record);
    else
        posix::TellStrayFault(record);
}

void OnSignal(int number, siginfo_t* info, void* context)
{
    SFrame* const frame = t_frame;
    if (frame == nullptr || !IsOwnDoing(*info)) {
        const int saved = errno;
        if (frame == nullptr && IsOwnDoing(*info))
            TellUncontained(number, *info, context);
        PassOn(number, info, context);
        errno = saved;
        return;
    }
    if (frame->capturing != 0)
        __builtin_longjmp(frame->captureJump, 1);
    UnblockFaults();
    posix::DescribeSignal(number, *info, context, frame->stackLimit, *frame->record);
    CaptureGuarded(*frame, context);
    if (posix::IsInAllocator(*frame->record)) {
        EndByFault(number, info, context, *frame->record);
        return;
    }
    siglongjmp(frame->jump, 1);
}

bool IsOurs(const struct sigaction& action)
{
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &OnSignal;
}

struct sigaction CurrentAction(int number)
{
    struct sigaction current = {};
    sigaction(number, nullptr, &current);
    return current;
}

void Install(int number) ZEL_REQUIRES(g_installing)
{
    const struct sigaction current = CurrentAction(number);
    if (IsOurs(current))
        return;
    SOthers& others = OthersOf(number);
    others.overtaken = others.overtaken || g_runs > 1 || others.kept;
    others.kept = false;
    // What was set over ours is not passed on to, for that could go in circles.
    if (!others.overtaken)
        others.passTo = current;
    others.putBack = current;
    struct sigaction action = {};
    action.sa_sigaction = &OnSignal;
    // No masking: a second fault, in the handler, would end the process at once.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

void PutBack(int number) ZEL_REQUIRES(g_installing)
{
    SOthers& others = OthersOf(number);
    if (others.kept)
        return;
    if (IsOurs(CurrentAction(number)))
        sigaction(number, &others.putBack, nullptr);
    else
        others.overtaken = true;
}

/// Keeps the handlers set. Lives outside of the frame, so it is destroyed after a jump as well.
class CHandlers {
public:
    CHandlers()
    {
        const CMutexLock lock(g_installing);
        ++g_runs;
        for (const int number : kSignals)
            Install(number);
    }
    ~CHandlers()
    {
        const CMutexLock lock(g_installing);
        if (--g_runs > 0)
            return;
        for (const int number : kSignals)
            PutBack(number);
    }
    CHandlers(const CHandlers&) = delete;
    CHandlers& operator=(const CHandlers&) = delete;
};

/// Makes the frame the thread's active one. Not destroyed by a jump into the frame.
class CActiveFrame {
public:
    explicit CActiveFrame(SFrame& frame) { t_frame = &frame; }
    ~CActiveFrame() { t_frame = t_frame->outer; }
    CActiveFrame(const CActiveFrame&) = delete;
    CActiveFrame& operator=(const CActiveFrame&) = delete;
};

/// In a function of its own, so that no object with a destructor lives in the one that is jumped into.
__attribute__((noinline)) void RunInFrame(const std::function<void()>& body, SFrame& frame)
{
    const CActiveFrame active(frame);
    body();
}

__attribute__((noinline)) bool RunOrJump(const std::function<void()>& body, SFrame& frame)
{
    if (sigsetjmp(frame.jump, 1) == 0) {
        RunInFrame(body, frame);
        return true;
    }
    t_frame = frame.outer;
    return false;
}

} // namespace

bool RunContained(const std::function<void()>& body, SFaultRecord& record)
{
    record = {};
    posix::FindAllocator();
    const CHandlers handlers;
    const posix::CAlternateStack alternateStack;
    SFrame frame;
    frame.stackLimit = posix::StackLimit();
    frame.record = &record;
    frame.outer = t_frame;
    const CPrivateFiles* const privateFiles = CPrivateFiles::Innermost();
    const bool returned = RunOrJump(body, frame);
    CPrivateFiles::ReturnTo(privateFiles);
    return returned;
}

void posix::KeepFaultHandlers()
{
    FindAllocator();
    const CMutexLock lock(g_installing);
    for (const int number : kSignals) {
        Install(number);
        OthersOf(number).kept = true;
    }
}

void posix::ReleaseFaultHandlers()
{
    const CMutexLock lock(g_installing);
    for (const int number : kSignals) {
        OthersOf(number).kept = false;
        if (g_runs == 0)
            PutBack(number);
    }
}

eHeapState CheckHeap()
{
    return eHeapState_Unknown;
}

} // namespace platform
