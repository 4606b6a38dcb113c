#pragma once

namespace platform {

/// Tells the system the name of the current thread, as far as it takes one.
void NameThreadForTheSystem(const char* name);

} // namespace platform
