#pragma once

#include "framework/texts/TextModule.h"

#include <optional>
#include <string>
#include <vector>

// The parser is dear to compile: only who defines options includes it.
namespace CLI {
class App;
}

/// Parses the arguments of a program. Empty when the program is to go on; else its exit code: help and version go to
/// standard output with code 0, a mistake to standard error with code 2.
[[nodiscard]] std::optional<int> ParseCommandLine(CLI::App& app, const std::vector<std::wstring>& arguments);

/// A mistake in arguments, in the user's language.
struct SArgumentMistake {
    std::wstring text;
    std::string option; ///< that it is about, without dashes, as far as known
};
/// The same for arguments that no user gives as they are: nothing is printed. Help and version are mistakes here.
[[nodiscard]] std::optional<SArgumentMistake> FindArgumentMistake(CLI::App& app,
                                                                  const std::vector<std::wstring>& arguments);

/// What all programs have: the words of the help in the user's language, -h, --help and --version. Before other options
/// and commands are added, which inherit it.
void DefineCommonParts(CLI::App& app);

/// A command of a program. It has the common parts, and the footer of the program.
CLI::App& AddCommand(CLI::App& app, const char* name, const STextCode& description);

/// Lets an option that takes a value refuse an empty one, which a script gives that has none, and a flag refuse any; of
/// the program and its commands. After all of them are defined.
void DemandValues(CLI::App& app);

/// A text of the help as the parser wants it.
[[nodiscard]] std::string HelpText(const STextCode& code, const std::vector<std::wstring>& arguments = {});

/// "program: text" and a line end on standard error. Control characters in it are shown as \x1b and the like.
void PrintError(const std::wstring& program, const std::wstring& text);
/// The same for a mistake in the arguments, with a line that names the help.
void PrintUsageError(const std::wstring& program, const std::wstring& text);

/// Texts of options, which the parser holds as UTF-8, as the library wants them. File names that are not valid UTF-8
/// survive.
[[nodiscard]] std::vector<std::wstring> ToWide(const std::vector<std::string>& texts);
