#pragma once

#include "com/Com.h"

#include <string_view>

/// The id by which events name the rows of a table: the name-based UUID (version 5) of the UTF-8 text "source/table",
/// spelled as the file and its schema spell it, in a namespace of the data store's own. Everybody who knows the names
/// can compute it, and it stays the same on every machine.
[[nodiscard]] GUID TableId(std::string_view source, std::string_view table);

/// The namespace of these ids: {5C1B8A52-0F4E-4E0B-9D7C-3B6A1E9F2C48}.
[[nodiscard]] const GUID& TableIdNamespace();

/// The UUID of version 5 of a name in a namespace, as RFC 4122 has it.
[[nodiscard]] GUID NameBasedId(const GUID& space, std::string_view name);
