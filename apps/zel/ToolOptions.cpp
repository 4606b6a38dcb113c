#include "apps/zel/ToolOptions.h"

#include "apps/common/Directories.h"
#include "platform/Module.h"
#include "platform/Text.h"

#include "ToolTexts.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <limits>

namespace {

/// An hour: who waits longer need not wait at all.
constexpr unsigned kLongestPollMs = 3'600'000;

/// Given, or else from the environment; empty when neither.
std::wstring DirectoryFrom(const std::string& given, const wchar_t* variable)
{
    const std::wstring path = given.empty() ? platform::Environment(variable) : platform::FromUtf8(given);
    return path.empty() ? path : NormalDirectory(path);
}

/// As the parser says it of a range; its own check takes "nan".
std::string WhyNoTime(const std::string& text)
{
    constexpr double longest = std::numeric_limits<double>::max();
    double seconds = 0;
    if (CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= longest)
        return {};
    return fmt::format("Value {} not in range 0 to {:f}", text, longest);
}

CLI::Option& DefineSeconds(CLI::App& app, const char* name, std::optional<double>& seconds, const STextCode& help)
{
    return *app.add_option(name, seconds, HelpText(help))->type_name("SECONDS")->check(CLI::Validator(&WhyNoTime, ""));
}

std::chrono::milliseconds ToMilliseconds(double seconds)
{
    const std::chrono::duration<double, std::milli> longest = kForever;
    if (seconds * 1000 >= longest.count())
        return kForever;
    return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

} // namespace

void CToolOptionsParser::Define(CLI::App& app)
{
    const std::string group = HelpText(ToolTexts::IDS_HELP_COMMON_OPTIONS);
    const auto directory = [&](const char* name, std::string& value, const STextCode& description) {
        app.add_option(name, value, HelpText(description))->type_name("DIR")->group(group);
    };
    directory("--request-dir", m_strRequestDir, ToolTexts::IDS_HELP_REQUEST_DIR);
    directory("--output-dir", m_strOutputDir, ToolTexts::IDS_HELP_OUTPUT_DIR);
    directory("--client-dir", m_strClientDir, ToolTexts::IDS_HELP_CLIENT_DIR);
    DefineSeconds(app, "--server-timeout", m_serverTimeout, ToolTexts::IDS_HELP_SERVER_TIMEOUT).group(group);
    app.add_option("--poll", m_nPollMs, HelpText(ToolTexts::IDS_HELP_POLL))
        ->type_name("MS")
        ->check(CLI::Validator(CLI::Range(0U, kLongestPollMs)).description(""))
        ->group(group);
    app.add_flag("--json", m_bJson, HelpText(ToolTexts::IDS_HELP_JSON))->group(group);
    app.add_flag("-q,--quiet", m_bQuiet, HelpText(ToolTexts::IDS_HELP_QUIET))->group(group);
}

std::optional<SToolOptions> CToolOptionsParser::Take(bool needsNames) const
{
    SToolOptions options;
    options.requestDir = DirectoryFrom(m_strRequestDir, L"ZEL_REQUEST_DIR");
    options.outputDir = DirectoryFrom(m_strOutputDir, L"ZEL_OUTPUT_DIR");
    options.clientDir = DirectoryFrom(m_strClientDir, L"ZEL_CLIENT_DIR");
    options.json = m_bJson;
    options.quiet = m_bQuiet;
    options.poll = std::chrono::milliseconds(m_nPollMs);
    if (m_serverTimeout) {
        options.serverTimeout = *m_serverTimeout == 0 ? kForever : ToMilliseconds(*m_serverTimeout);
        options.serverAbsence = options.serverTimeout;
    }
    if (needsNames && (options.requestDir.empty() || options.outputDir.empty())) {
        PrintUsageError(L"zel", WQ_ModuleText(options.requestDir.empty() ? ToolTexts::IDS_NO_REQUEST_DIR
                                                                         : ToolTexts::IDS_NO_OUTPUT_DIR));
        return std::nullopt;
    }
    return options;
}

void CTimeoutOption::Define(CLI::App& app, const STextCode& description)
{
    DefineSeconds(app, "--timeout", m_seconds, description);
}

std::chrono::milliseconds CTimeoutOption::Take() const
{
    return m_seconds ? ToMilliseconds(*m_seconds) : kForever;
}
