#include "platform/posix/AlternateStack.h"

#include <pthread.h>
#include <sys/mman.h>

namespace platform::posix {
namespace {

// Walking a stack with its debug tables takes some kilobytes, and more under a sanitizer.
constexpr std::size_t kAlternateStackSize = 256 * 1024;

/// Memory of one alternate stack, owned by a thread.
class CStackMemory {
public:
    CStackMemory()
        : m_memory(mmap(nullptr, kAlternateStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK,
                        -1, 0))
    {}
    ~CStackMemory()
    {
        if (IsValid())
            munmap(m_memory, kAlternateStackSize);
    }
    CStackMemory(const CStackMemory&) = delete;
    CStackMemory& operator=(const CStackMemory&) = delete;

    [[nodiscard]] bool IsValid() const { return m_memory != MAP_FAILED; }
    [[nodiscard]] void* Get() const { return m_memory; }

private:
    void* const m_memory;
};

std::uintptr_t FindStackLimit()
{
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0)
        return 0;
    void* lowest = nullptr;
    std::size_t size = 0;
    const bool known = pthread_attr_getstack(&attributes, &lowest, &size) == 0;
    pthread_attr_destroy(&attributes);
    return known ? reinterpret_cast<std::uintptr_t>(lowest) : 0;
}

} // namespace

CAlternateStack::CAlternateStack()
{
    thread_local const CStackMemory memory;
    if (!memory.IsValid())
        return;
    stack_t wanted = {};
    wanted.ss_sp = memory.Get();
    wanted.ss_size = kAlternateStackSize;
    m_set = sigaltstack(&wanted, &m_old) == 0;
}

CAlternateStack::~CAlternateStack()
{
    if (m_set)
        sigaltstack(&m_old, nullptr);
}

std::uintptr_t StackLimit()
{
    // Of the main thread it is read from a list of all mappings: once is enough.
    thread_local const std::uintptr_t limit = FindStackLimit();
    return limit;
}

} // namespace platform::posix
