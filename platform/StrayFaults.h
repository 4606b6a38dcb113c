#pragma once

#include "platform/Export.h"
#include "platform/Fault.h"

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

/// Tells of a fault that ends the process because no contained run takes it, that of a thread of a plug-in's own, say,
/// before it does. Whoever has set a handler of his own for the signal comes first, and nothing is told. Not told of: a
/// stack that overflows (POSIX, for there is nothing left to tell it on), what strikes in the memory allocator (that
/// are last words, platform/LastWords.h). One object at a time.
class ZEL_FRAMEWORK_API CStrayFaults {
public:
    /// tell is called once, on a thread of this object's, while the one that faulted waits. It may take as long as
    /// patience says: then the process ends as it would without this object, on Windows with the exception's number.
    CStrayFaults(std::function<void(const SFaultRecord&)> tell, std::chrono::milliseconds patience);
    ~CStrayFaults();
    CStrayFaults(const CStrayFaults&) = delete;
    CStrayFaults& operator=(const CStrayFaults&) = delete;

private:
    struct SState;
    std::unique_ptr<SState> m_pState;
};

} // namespace platform
