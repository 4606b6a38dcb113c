#pragma once

#include <csignal>
#include <cstddef>
#include <cstdint>

namespace platform::posix {

/// Gives the current thread a stack of its own for signal handlers while the object lives, so that a handler runs when
/// the ordinary stack is used up. What was set before comes back afterwards: sanitizers set one, too, and free what
/// they find at the end of the thread. The memory is kept for the thread's next object.
class CAlternateStack {
public:
    CAlternateStack();
    ~CAlternateStack();
    CAlternateStack(const CAlternateStack&) = delete;
    CAlternateStack& operator=(const CAlternateStack&) = delete;

private:
    stack_t m_old = {};
    bool m_set = false;
};

/// The lowest address of the current thread's stack; 0 when unknown.
[[nodiscard]] std::uintptr_t StackLimit();

} // namespace platform::posix
