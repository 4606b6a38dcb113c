#pragma once

#include <string>

namespace Protocol {

/// What a lock file holds for people: who keeps it.
[[nodiscard]] std::string LockNote();

} // namespace Protocol
