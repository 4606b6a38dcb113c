#pragma once

#include "platform/posix/Descriptor.h"

namespace platform::posix {

/// Locks an open file for one alone, at once or not at all: 0, or -1 and errno. NFS wants a descriptor for writing, and
/// one is opened in its place; a file that may not be written is locked against those who write there.
[[nodiscard]] int LockForOne(CDescriptor& descriptor);

} // namespace platform::posix
