#include "apps/zel/ToolOptions.h"

#include "apps/common/Directories.h"
#include "platform/Module.h"
#include "platform/Text.h"

#include "ToolTexts.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace {

constexpr std::chrono::milliseconds kForever = std::chrono::hours(24 * 3650);

/// Given, or else from the environment; empty when neither.
std::wstring DirectoryFrom(const std::string& given, const wchar_t* variable)
{
    const std::wstring path = given.empty() ? platform::Environment(variable) : platform::FromUtf8(given);
    return path.empty() ? path : NormalDirectory(path);
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
    app.add_flag("--json", m_bJson, HelpText(ToolTexts::IDS_HELP_JSON))->group(group);
    app.add_flag("-q,--quiet", m_bQuiet, HelpText(ToolTexts::IDS_HELP_QUIET))->group(group);
}

std::optional<SToolOptions> CToolOptionsParser::Take() const
{
    SToolOptions options;
    options.requestDir = DirectoryFrom(m_strRequestDir, L"ZEL_REQUEST_DIR");
    options.outputDir = DirectoryFrom(m_strOutputDir, L"ZEL_OUTPUT_DIR");
    options.clientDir = DirectoryFrom(m_strClientDir, L"ZEL_CLIENT_DIR");
    options.json = m_bJson;
    options.quiet = m_bQuiet;
    if (options.requestDir.empty() || options.outputDir.empty()) {
        PrintUsageError(L"zel", WQ_ModuleText(options.requestDir.empty() ? ToolTexts::IDS_NO_REQUEST_DIR
                                                                         : ToolTexts::IDS_NO_OUTPUT_DIR));
        return std::nullopt;
    }
    return options;
}

void CTimeoutOption::Define(CLI::App& app, const STextCode& description)
{
    app.add_option("--timeout", m_seconds, HelpText(description))
        ->type_name("SECONDS")
        ->check(CLI::Validator(CLI::NonNegativeNumber).description(""));
}

std::chrono::milliseconds CTimeoutOption::Take() const
{
    const std::chrono::duration<double, std::milli> longest = kForever;
    // Asked in this way, "nan" is for ever too.
    if (!m_seconds || !(*m_seconds * 1000 < longest.count()))
        return kForever;
    return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(*m_seconds));
}
