#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Protocol {

/// A time as ISO 8601 has it in its long form, with its zone: 2027-01-31T06:00:00Z, 2027-01-31T06:00+02:00. Seconds may
/// be left out and may have a fraction, which is dropped. In seconds since 1970-01-01 UTC. Nothing for any other text:
/// a time without a zone is another one on each machine.
[[nodiscard]] std::optional<std::int64_t> ParseIsoTime(std::string_view text);

} // namespace Protocol
