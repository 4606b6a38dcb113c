#pragma once

#include <string>

/// A word of the user's, as his mistake shows it: an empty one is seen, and control characters are.
[[nodiscard]] std::wstring ShownWord(const std::wstring& word);

/// What the parser says about a mistake in the arguments, in the user's language. What it says otherwise than expected
/// is returned as it is.
[[nodiscard]] std::wstring MistakeText(const std::string& parserText);
