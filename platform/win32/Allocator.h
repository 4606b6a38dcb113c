#pragma once

#include "platform/Fault.h"

namespace platform::win32 {

/// Finds out where the system's heap functions lie, which all allocators of our compiler end in. Before the first
/// handler that asks.
void FindAllocator();

/// True when one of the return addresses lies in one of them: the fault struck inside, and may have left the heap
/// locked. Safe in a handler.
[[nodiscard]] bool IsInAllocator(const SFaultRecord& record);

} // namespace platform::win32
