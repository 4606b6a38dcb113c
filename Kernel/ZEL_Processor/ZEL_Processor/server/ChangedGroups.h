#pragma once

#include <cstddef>

/// How much of changed groups waits for a client that does not read them, when the host set SZelServerOptions::
/// eventsLimit. Readers know no limit but that of an archive.
namespace ChangedGroups {

/// So many ids are written as they came, repeats included; in a longer list each id once. Some 300 KB.
constexpr std::size_t kMaxWithRepeats = 4096;
/// So many different ids; more become the null id, which readers know as "everything may have changed". No palette has
/// as many groups: it takes ids that are made up anew with each change.
constexpr std::size_t kMaxIds = 16384;

} // namespace ChangedGroups
