#include "plugins/testtasks/Crash.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <utility>

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

constexpr std::array<std::pair<const wchar_t*, void (*)()>, 7> kKinds = {{
    {L"NullDereference", &CrashNullDereference},
    {L"StackOverflow", &CrashStackOverflow},
    {L"Division", &CrashDivision},
    {L"Abort", &CrashAbort},
    {L"IllegalInstruction", &CrashIllegalInstruction},
    {L"Exception", &CrashException},
    {L"ForeignException", &CrashForeignException},
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
