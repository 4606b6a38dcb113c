#pragma once

#include "platform/Containment.h"
#include "platform/win32/Handle.h"

namespace platform::win32 {

/// A job for a process and all that it starts, which ends with its last handle, that of the caller. Empty, with the
/// thread's last error, when it cannot be made.
[[nodiscard]] CHandle MakeJob(const SContainment& containment);
/// Ends all processes of a job, and waits for a while until they have gone: till then they have their files open.
void EndJob(const CHandle& job, UINT exitCode);
/// What the creation of the process takes for it.
[[nodiscard]] DWORD PriorityClassOf(const SContainment& containment);

} // namespace platform::win32
