#include "apps/common/CommandLine.h"

#include "apps/common/ExitCodes.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include <algorithm>

namespace {

/// The help of the command that the user was at.
std::string HelpOf(const CLI::App& app)
{
    const CLI::App* chosen = &app;
    while (!chosen->get_subcommands().empty())
        chosen = chosen->get_subcommands().front();
    // The parser's own choice of the subcommand prints the names of all parents before it.
    return chosen == &app ? app.help() : chosen->help(app.get_name());
}

} // namespace

std::optional<int> ParseCommandLine(CLI::App& app, const std::vector<std::wstring>& arguments)
{
    std::vector<std::string> reversed; // as the parser wants it
    std::ranges::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(reversed), platform::ToUtf8);
    try {
        app.parse(reversed);
        return std::nullopt;
    } catch (const CLI::CallForHelp&) {
        platform::WriteConsoleText(platform::eStream_Output, platform::FromUtf8(HelpOf(app)));
        return eExitCode_Done;
    } catch (const CLI::CallForVersion& version) {
        platform::WriteConsoleText(platform::eStream_Output, platform::FromUtf8(version.what()) + L"\n");
        return eExitCode_Done;
    } catch (const CLI::ParseError& error) {
        PrintError(platform::FromUtf8(app.get_name()),
                   platform::FromUtf8(error.what()) + L"\nRun with --help for more information.");
        return eExitCode_Usage;
    }
}

void PrintError(const std::wstring& program, const std::wstring& text)
{
    platform::WriteConsoleText(platform::eStream_Error, program + L": " + text + L"\n");
}

std::vector<std::wstring> ToWide(const std::vector<std::string>& texts)
{
    std::vector<std::wstring> wide;
    std::ranges::transform(texts, std::back_inserter(wide), platform::FromUtf8);
    return wide;
}
