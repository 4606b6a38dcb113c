#include "tests/library/exchange/AllocationWatch.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

std::atomic<std::size_t> g_largest{0};
thread_local bool g_failsNext = false;

void* AllocateOrNull(std::size_t size)
{
    std::size_t largest = g_largest.load();
    while (size > largest && !g_largest.compare_exchange_weak(largest, size)) {
    }
    return std::exchange(g_failsNext, false) ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* Allocate(std::size_t size)
{
    void* memory = AllocateOrNull(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

} // namespace

CAllocationWatch::CAllocationWatch()
{
    g_largest = 0;
}

std::size_t CAllocationWatch::Largest() const
{
    return g_largest;
}

void CAllocationWatch::FailNext()
{
    g_failsNext = true;
}

void* operator new(std::size_t size)
{
    return Allocate(size);
}

void* operator new[](std::size_t size)
{
    return Allocate(size);
}

// A sanitizer has these of its own, whose memory it does not want to see given to free.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return AllocateOrNull(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return AllocateOrNull(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}
