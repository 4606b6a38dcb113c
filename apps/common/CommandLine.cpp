#include "apps/common/CommandLine.h"

#include "apps/common/ArgumentMistakes.h"
#include "apps/common/ExitCodes.h"
#include "apps/common/ShownText.h"
#include "apps/common/Suggestion.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include "CommonTexts.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace {

/// The command that the user was at, or the program.
const CLI::App& ChosenOf(const CLI::App& app)
{
    const CLI::App* chosen = &app;
    while (!chosen->get_subcommands().empty())
        chosen = chosen->get_subcommands().front();
    return *chosen;
}

std::string HelpOf(const CLI::App& app)
{
    const CLI::App& chosen = ChosenOf(app);
    // The parser's own choice of the subcommand prints the names of all parents before it.
    return &chosen == &app ? app.help() : chosen.help(app.get_name());
}

/// What could stand in the place of a word: options, or before a command was named the commands.
std::vector<std::wstring> Known(const CLI::App& app, bool isOption)
{
    std::vector<std::wstring> known;
    if (isOption) {
        for (const CLI::Option* option : app.get_options())
            std::ranges::transform(option->get_lnames(), std::back_inserter(known),
                                   [](const std::string& name) { return L"--" + platform::FromUtf8(name); });
        return known;
    }
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        known.push_back(platform::FromUtf8(command->get_name()));
    return known;
}

/// What was not understood is told before what is missing: often it is the same, misspelt.
std::wstring MistakeOf(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> unknown = app.remaining(true);
    if (unknown.empty())
        return MistakeText(error.what());
    const std::wstring word = platform::FromUtf8(unknown.front().substr(0, unknown.front().find('=')));
    const std::wstring meant = NearestWord(word, Known(ChosenOf(app), word.starts_with(L'-')));
    return meant.empty() ? WQ_ModuleText(CommonTexts::IDS_NOT_UNDERSTOOD, {ShownWord(word)})
                         : WQ_ModuleText(CommonTexts::IDS_DID_YOU_MEAN, {ShownWord(word), meant});
}

/// As the parser wants them.
std::vector<std::string> Reversed(const std::vector<std::wstring>& arguments)
{
    std::vector<std::string> reversed;
    std::ranges::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(reversed), platform::ToUtf8);
    return reversed;
}

} // namespace

std::optional<int> ParseCommandLine(CLI::App& app, const std::vector<std::wstring>& arguments)
{
    // The parser would take the next word for the value.
    for (const std::wstring& argument : arguments) {
        if (argument == L"--")
            break;
        if (argument.starts_with(L"--") && argument.ends_with(L'=') && argument.find(L'=') == argument.size() - 1) {
            const std::wstring option = argument.substr(0, argument.size() - 1);
            PrintUsageError(platform::FromUtf8(app.get_name()),
                            ShownText(CommonTexts::IDS_OPTION_NEEDS_VALUE, {option}));
            return eExitCode_Usage;
        }
    }
    try {
        app.parse(Reversed(arguments));
        return std::nullopt;
    } catch (const CLI::CallForHelp&) {
        platform::WriteConsoleText(platform::eStream_Output, platform::FromUtf8(HelpOf(app)));
        return eExitCode_Done;
    } catch (const CLI::CallForVersion& version) {
        platform::WriteConsoleText(platform::eStream_Output, platform::FromUtf8(version.what()) + L"\n");
        return eExitCode_Done;
    } catch (const CLI::ParseError& error) {
        PrintUsageError(platform::FromUtf8(app.get_name()), MistakeOf(app, error));
        return eExitCode_Usage;
    }
}

std::optional<SArgumentMistake> FindArgumentMistake(CLI::App& app, const std::vector<std::wstring>& arguments)
{
    try {
        app.parse(Reversed(arguments));
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        // What the parser says of an option begins with it.
        const std::string_view said = error.what();
        const bool isOfOption = said.starts_with("--");
        return SArgumentMistake{MistakeOf(app, error),
                                std::string(isOfOption ? said.substr(2, said.find_first_of(": ") - 2) : "")};
    }
}

void DefineCommonParts(CLI::App& app)
{
    const std::shared_ptr<CLI::FormatterBase> formatter = app.get_formatter();
    for (const auto& [word, code] :
         {std::pair("Usage", &CommonTexts::IDS_HELP_USAGE), std::pair("OPTIONS", &CommonTexts::IDS_HELP_OPTIONS_WORD),
          std::pair("SUBCOMMAND", &CommonTexts::IDS_HELP_SUBCOMMAND_WORD),
          std::pair("REQUIRED", &CommonTexts::IDS_HELP_REQUIRED_WORD),
          std::pair("Positionals", &CommonTexts::IDS_HELP_POSITIONALS)})
        formatter->label(word, HelpText(*code));
    app.option_defaults()->group(HelpText(CommonTexts::IDS_HELP_OPTIONS));
    app.group(HelpText(CommonTexts::IDS_HELP_SUBCOMMANDS)); // that of its commands; it is in none itself
    app.set_help_flag("-h,--help", HelpText(CommonTexts::IDS_HELP_HELP));
    app.set_version_flag("--version", app.get_name() + " " ZEL_VERSION, HelpText(CommonTexts::IDS_HELP_VERSION));
}

CLI::App& AddCommand(CLI::App& app, const char* name, const STextCode& description)
{
    CLI::App& command = *app.add_subcommand(name, HelpText(description));
    command.get_help_ptr()->group(HelpText(CommonTexts::IDS_HELP_OPTIONS)); // made before the defaults are inherited
    return command;
}

void DemandValues(CLI::App& app)
{
    // In the parser's words for one that is not there at all.
    const CLI::Validator isGiven(
        [](const std::string& value) { return value.empty() ? "1 required TEXT missing" : ""; }, "");
    for (CLI::Option* option : app.get_options()) {
        if (option->get_items_expected_max() == 0)
            option->disable_flag_override();
        else
            option->check(isGiven);
    }
    for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        DemandValues(*command);
}

std::string HelpText(const STextCode& code, const std::vector<std::wstring>& arguments)
{
    return platform::ToUtf8(WQ_ModuleText(code, arguments));
}

void PrintError(const std::wstring& program, const std::wstring& text)
{
    platform::WriteConsoleText(platform::eStream_Error, program + L": " + Printable(text) + L"\n");
}

void PrintUsageError(const std::wstring& program, const std::wstring& text)
{
    PrintError(program, text + L"\n" + WQ_ModuleText(CommonTexts::IDS_USAGE_HINT));
}

std::vector<std::wstring> ToWide(const std::vector<std::string>& texts)
{
    std::vector<std::wstring> wide;
    std::ranges::transform(texts, std::back_inserter(wide), platform::FromUtf8);
    return wide;
}
