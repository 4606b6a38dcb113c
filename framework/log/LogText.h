#pragma once

#include <string>
#include <string_view>

/// Texts as a log may show them. Control characters and bytes that are no text become \x1B: nothing that a request's
/// name or content holds passes for a line of the log or reaches the terminal.

/// Further lines are led in by a bar.
[[nodiscard]] std::string PrintableLogText(std::string_view text);
/// One line, whatever the text holds; braces are escaped as well, so that a name in braces ends where it seems to.
[[nodiscard]] std::string PrintableLogName(std::wstring_view name);
/// Control characters stay; what is returned is UTF-8, whatever was given.
[[nodiscard]] std::string ValidLogText(std::wstring_view text);
