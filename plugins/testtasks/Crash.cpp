#include "plugins/testtasks/Crash.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace {

// What the faults hang on is volatile: an optimiser that could see a fault coming would be free to remove it.
volatile int g_nZero = 0;
volatile int g_nDividend = 7; // a constant one, and the compiler divides by comparing
int* volatile g_pNull = nullptr;
volatile std::size_t g_nDepth = 0;

constexpr int kLineOfNullDereference = __LINE__ + 3;
void CrashNullDereference()
{
    *g_pNull = 1;
}

[[gnu::noinline]] std::size_t Descend(std::size_t depth)
{
    std::array<volatile char, 512> frame;
    frame[depth % frame.size()] = static_cast<char>(depth);
    g_nDepth = depth;
    // The frame is used after the call too, so the recursion can't be turned into a loop.
    const std::size_t below = depth + 1 == static_cast<std::size_t>(g_nZero) ? 0 : Descend(depth + 1);
    return below + static_cast<std::size_t>(frame[(depth + below) % frame.size()]);
}

void CrashStackOverflow()
{
    g_nDepth = Descend(1);
}

void CrashDivision()
{
    g_nZero = g_nDividend / g_nZero;
}

void CrashAbort()
{
    std::abort();
}

void CrashIllegalInstruction()
{
    __builtin_trap();
}

void CrashException()
{
    throw std::runtime_error("crash task");
}

void CrashForeignException()
{
    throw 42;
}

/// As no fault does: the process is gone before anybody could contain anything.
void CrashExit()
{
    std::_Exit(3);
}

/// As a library does that knows nothing of servers: it looks like a clean end.
void CrashCallExit()
{
    std::exit(0); // NOLINT(concurrency-mt-unsafe): that is the point
}

void CrashOwnThread()
{
    std::thread([] { CrashNullDereference(); }).join();
}

void CrashOwnThreadAbort()
{
    std::thread([] { std::abort(); }).join();
}

/// As large as needs the lock of the heap, and as small as is not taken from the system directly.
constexpr std::size_t kBlock = 64 * 1024;
/// Volatile, or the compiler would see what is wrong here.
char* volatile g_pBlock = nullptr;
void* volatile g_pNeighbour = nullptr;

/// Something in use behind the block, so that freeing it does not give it back to what has never been used.
void MakeBlock()
{
    g_pBlock = static_cast<char*>(std::malloc(kBlock));
    g_pNeighbour = std::malloc(kBlock);
}

void Damage(std::size_t from, std::size_t to)
{
    char* const block = g_pBlock;
    for (std::size_t i = from; i < to; ++i)
        *const_cast<volatile char*>(block + i) = 'A';
}

void CrashHeapOverrun()
{
    MakeBlock();
    Damage(kBlock, kBlock + 64); // what the heap keeps of the neighbour
    std::free(g_pBlock);
    std::free(g_pNeighbour);
    g_pBlock = static_cast<char*>(std::malloc(2 * kBlock));
}

void CrashHeapDoubleFree()
{
    MakeBlock();
    std::free(g_pBlock);
    std::free(g_pBlock);
}

void CrashHeapWrongFree()
{
    g_pBlock = reinterpret_cast<char*>(std::uintptr_t{0x4141414141410});
    std::free(g_pBlock);
}

void CrashHeapUseAfterFree()
{
    MakeBlock();
    std::free(g_pBlock);
    Damage(0, 64); // the list of what is free
    for (int i = 0; i < 64; ++i)
        g_pNeighbour = std::malloc(kBlock);
}

/// More than anybody has to give, but for who limits nothing.
void CrashMemory()
{
    constexpr std::size_t kMiB = std::size_t{1} << 20U;
    std::vector<std::vector<char>> taken;
    while (taken.size() < 4096)
        taken.emplace_back(kMiB, 'x');
}

constexpr std::array<std::pair<const wchar_t*, void (*)()>, 16> kKinds = {{
    {L"NullDereference", &CrashNullDereference},
    {L"StackOverflow", &CrashStackOverflow},
    {L"Division", &CrashDivision},
    {L"Abort", &CrashAbort},
    {L"IllegalInstruction", &CrashIllegalInstruction},
    {L"Exception", &CrashException},
    {L"ForeignException", &CrashForeignException},
    {L"Exit", &CrashExit},
    {L"CallExit", &CrashCallExit},
    {L"OwnThread", &CrashOwnThread},
    {L"OwnThreadAbort", &CrashOwnThreadAbort},
    {L"HeapOverrun", &CrashHeapOverrun},
    {L"HeapDoubleFree", &CrashHeapDoubleFree},
    {L"HeapWrongFree", &CrashHeapWrongFree},
    {L"HeapUseAfterFree", &CrashHeapUseAfterFree},
    {L"Memory", &CrashMemory},
}};

} // namespace

bool IsCrashKind(const CString& kind)
{
    for (const auto& entry : kKinds) {
        if (kind == entry.first)
            return true;
    }
    return false;
}

int CrashLine(const CString& kind)
{
    return kind == L"NullDereference" ? kLineOfNullDereference : 0;
}

void Crash(const CString& kind)
{
    for (const auto& entry : kKinds) {
        if (kind == entry.first)
            entry.second();
    }
}
