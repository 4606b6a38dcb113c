#include "apps/common/LibraryInstance.h"
#include "apps/zel/Commands.h"
#include "apps/zel/RunTaskCommand.h"
#include "platform/ByteStream.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include "CommonTexts.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <memory>

namespace {

/// The application and its commands. Not movable: the parser keeps addresses of what it fills.
class CTool {
public:
    CTool() : m_app(HelpText(ToolTexts::IDS_HELP_DESCRIPTION), "zel"), m_commands(MakeCommands())
    {
        DefineCommonParts(m_app);
        m_app.footer(HelpText(ToolTexts::IDS_HELP_FOOTER)); // of the commands as well
        // None passes, too: the parser would otherwise complain of that before it names what it does not know.
        m_app.require_subcommand(0, 1);
        m_common.Define(m_app);
        for (const std::unique_ptr<IAnyCommand>& command : m_commands) {
            CLI::App& parser = AddCommand(m_app, command->Name(), command->Description());
            command->Define(parser);
            if (command->NeedsServer())
                m_common.Define(parser);
        }
        CLI::App& help = AddCommand(m_app, kHelp, ToolTexts::IDS_HELP_HELP_COMMAND);
        help.add_option("COMMAND", m_strHelpOf, HelpText(ToolTexts::IDS_HELP_WHICH_COMMAND))->type_name("");
        DemandValues(m_app);
    }
    CTool(const CTool&) = delete;
    CTool& operator=(const CTool&) = delete;

    [[nodiscard]] int Run(const std::vector<std::wstring>& arguments)
    {
        if (const std::optional<int> code = ParseCommandLine(m_app, arguments))
            return *code;
        if (m_app.get_subcommands().empty()) {
            PrintUsageError(L"zel", WQ_ModuleText(ToolTexts::IDS_COMMAND_REQUIRED));
            return eExitCode_Usage;
        }
        if (m_app.got_subcommand(kHelp))
            return Help(m_strHelpOf);
        return Chosen().Start(m_common);
    }

private:
    static constexpr const char* kHelp = "help";

    /// As with --help; a command that does not exist is the mistake that it is without "help".
    [[nodiscard]] int Help(const std::string& command)
    {
        if (command.empty())
            return Run({L"--help"});
        const std::wstring name = platform::FromUtf8(command);
        const bool isKnown = command == kHelp || std::ranges::any_of(m_commands, [&](const auto& known) {
                                 return known->Name() == command;
                             });
        return isKnown ? Run({name, L"--help"}) : Run({name});
    }

    [[nodiscard]] IAnyCommand& Chosen()
    {
        std::size_t index = 0;
        while (!m_app.got_subcommand(m_commands[index]->Name()))
            ++index;
        return *m_commands[index];
    }

    CLI::App m_app;
    CToolOptionsParser m_common;
    std::vector<std::unique_ptr<IAnyCommand>> m_commands;
    std::string m_strHelpOf;
};

int RunTool(const std::vector<std::wstring>& arguments)
{
    const CLibraryInstance library;
    if (!library.IsReady()) {
        PrintError(L"zel", WQ_ModuleText(CommonTexts::IDS_LIBRARY_NOT_STARTED));
        return eExitCode_ClientError;
    }
    CTool tool;
    const int code = tool.Run(arguments);
    const platform::eOsError error = platform::OutputError();
    if (code != eExitCode_Done || platform::Succeeded(error))
        return code;
    PrintError(L"zel", WQ_ModuleText(ToolTexts::IDS_CANNOT_BE_WRITTEN,
                                     {WQ_ModuleText(ToolTexts::IDS_STANDARD_OUTPUT), platform::OsErrorText(error)}));
    return eExitCode_ClientError;
}

} // namespace

int main(int argc, char** argv)
{
    platform::HoldClosedStreams();
    const std::vector<std::wstring> arguments = platform::ProgramArguments(argc, argv);
    // Where a handler is, an exception takes the stack down before a debugger sees it: for who wants that there is
    // none.
    if (std::ranges::find(arguments, kUncontainedOption) != arguments.end())
        return RunTool(arguments);
    try {
        return RunTool(arguments);
    } catch (const std::exception& exception) {
        PrintError(L"zel", platform::FromUtf8(exception.what()));
        return eExitCode_ClientError;
    }
}
