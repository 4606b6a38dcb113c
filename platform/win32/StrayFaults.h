#pragma once

#include "platform/Fault.h"

namespace platform::win32 {

/// The fault of a thread that is in no contained run: returns when it has been told of, or nobody tells.
void TellStrayFault(const SFaultRecord& record);

/// Sees to it that faults outside of contained runs are told of, too.
void KeepFaultHandlers();
void ReleaseFaultHandlers();

} // namespace platform::win32
