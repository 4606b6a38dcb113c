#include "apps/zel/Commands.h"
#include "platform/Text.h"

#include <exception>
#include <memory>

namespace {

constexpr const char* kDescription = "Sends requests to a server, follows them and takes their responses.";

constexpr const char* kFooter =
    "Exit codes: 0 done (status, list: could tell), 1 client error, 2 usage, 3 server error, 4 server time-out,\n"
    "5 not requested, 6 cancelled, 7 --timeout ran out, 130 interrupted; of several requests the first that is not 0.";

/// The application and its commands. Not movable: the parser keeps addresses of what it fills.
class CTool {
public:
    CTool() : m_app(kDescription, "zel"), m_commands(MakeCommands())
    {
        m_app.footer(kFooter);
        m_app.set_help_flag("-h,--help", "Print this help and end");
        m_app.set_version_flag("--version", "zel " ZEL_VERSION, "Print the version and end");
        // None passes, too: the parser would otherwise complain of that before it names what it does not know.
        m_app.require_subcommand(0, 1);
        m_common.Define(m_app);
        for (const std::unique_ptr<ICommand>& command : m_commands) {
            CLI::App* parser = m_app.add_subcommand(command->Name(), command->Description());
            parser->footer(kFooter);
            command->Define(*parser);
            m_common.Define(*parser);
        }
    }
    CTool(const CTool&) = delete;
    CTool& operator=(const CTool&) = delete;

    [[nodiscard]] int Run(const std::vector<std::wstring>& arguments)
    {
        if (const std::optional<int> code = ParseCommandLine(m_app, arguments))
            return *code;
        if (m_app.get_subcommands().empty()) {
            PrintError(L"zel", L"a command is required\nRun with --help for more information.");
            return eExitCode_Usage;
        }
        ICommand& command = Chosen();
        const std::optional<SToolOptions> options = m_common.Take();
        if (!options || !command.Check())
            return eExitCode_Usage;
        CToolSession session(*options);
        return session.CheckDirectories() ? command.Run(session) : eExitCode_ClientError;
    }

private:
    [[nodiscard]] ICommand& Chosen()
    {
        std::size_t index = 0;
        while (!m_app.got_subcommand(m_commands[index]->Name()))
            ++index;
        return *m_commands[index];
    }

    CLI::App m_app;
    CToolOptionsParser m_common;
    std::vector<std::unique_ptr<ICommand>> m_commands;
};

} // namespace

int main(int argc, char** argv)
{
    try {
        CTool tool;
        return tool.Run(platform::ProgramArguments(argc, argv));
    } catch (const std::exception& exception) {
        PrintError(L"zel", platform::FromUtf8(exception.what()));
        return eExitCode_ClientError;
    }
}
