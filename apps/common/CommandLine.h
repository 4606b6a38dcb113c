#pragma once

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

/// Parses the arguments of a program. Empty when the program is to go on; else its exit code: help and version go to
/// standard output with code 0, a mistake to standard error with code 2.
[[nodiscard]] std::optional<int> ParseCommandLine(CLI::App& app, const std::vector<std::wstring>& arguments);

/// "program: text" and a line end on standard error.
void PrintError(const std::wstring& program, const std::wstring& text);

/// Texts of options, which the parser holds as UTF-8, as the library wants them. File names that are not valid UTF-8
/// survive.
[[nodiscard]] std::vector<std::wstring> ToWide(const std::vector<std::string>& texts);
