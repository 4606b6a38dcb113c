#pragma once

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace testsupport {

/// What the current thread allocates while an object of this class lives may be lost: a contained fault jumps over the
/// frames that own it. Without effect in programs that are not built with the address sanitizer.
class CExpectedLeaks {
public:
#if defined(__SANITIZE_ADDRESS__)
    CExpectedLeaks()
    {
        __lsan_disable();
    }
    ~CExpectedLeaks()
    {
        __lsan_enable();
    }
#else
    CExpectedLeaks() {}
    ~CExpectedLeaks() {}
#endif
    CExpectedLeaks(const CExpectedLeaks&) = delete;
    CExpectedLeaks& operator=(const CExpectedLeaks&) = delete;
};

} // namespace testsupport
