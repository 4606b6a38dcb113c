#pragma once

#include <string>

/// What the parser says about a mistake in the arguments, in the user's language. What it says otherwise than expected
/// is returned as it is.
[[nodiscard]] std::wstring MistakeText(const std::string& parserText);
