#pragma once

#include "platform/Fault.h"
#include "platform/win32/WindowsHeader.h"

namespace platform::win32 {

/// The return addresses from a point where an exception stopped the current thread, that point first. The stack may be
/// in any state: the caller must be prepared for a second fault in here, and the frames found until then are counted.
void WalkStack(const CONTEXT& stoppedAt, SFaultRecord& record);

} // namespace platform::win32
