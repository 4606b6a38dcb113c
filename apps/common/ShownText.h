#pragma once

#include "framework/texts/TextModule.h"

#include <string>
#include <vector>

/// A name as people see it: with control characters (platform::IsControl), which file names may have, in quotes and as
/// \x0a.
[[nodiscard]] std::wstring ShownName(const std::wstring& name);

/// A text with arguments such as names, whose control characters are \x0a and the like: the text has the quotes.
[[nodiscard]] std::wstring ShownText(const STextCode& code, std::vector<std::wstring> arguments);

/// A text without line ends and control characters, which could move a terminal's cursor.
[[nodiscard]] std::wstring OneLine(std::wstring text);

/// A text of several lines in which nothing else can move a terminal's cursor: control characters are \x1b and the
/// like.
[[nodiscard]] std::wstring Printable(const std::wstring& text);
