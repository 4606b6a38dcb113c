#pragma once

#include "platform/Fault.h"

namespace platform::posix {

/// The fault of a thread that is in no contained run: returns when it has been told of, or nobody tells. In a handler.
void TellStrayFault(const SFaultRecord& record);
/// Whether somebody wants to be told.
[[nodiscard]] bool IsStrayFaultTold();

/// Sets the handlers of contained runs for as long as they are kept, whether anything runs or not.
void KeepFaultHandlers();
void ReleaseFaultHandlers();

} // namespace platform::posix
