#pragma once

#include "platform/Fault.h"

namespace platform::posix {

/// Finds out where the code of the memory allocator lies. Before the first handler that asks.
void FindAllocator();

/// True when one of the return addresses lies in it: the fault struck inside, and may have left its lock taken. Safe in
/// a handler.
[[nodiscard]] bool IsInAllocator(const SFaultRecord& record);

} // namespace platform::posix
