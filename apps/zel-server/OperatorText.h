#pragma once

#include <string>

/// What the library reports names functions, for those who know its sources. An operator reads what it means to the
/// server.

/// function: of a report; empty for what has none. A text that begins with the name of a function loses it as well.
[[nodiscard]] std::wstring OperatorText(const std::wstring& function, const std::wstring& message);
