#include "apps/zel/ToolOptions.h"

#include "apps/common/Directories.h"
#include "platform/Module.h"
#include "platform/Text.h"

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
    constexpr const char* kGroup = "Common options";
    const auto directory = [&](const char* name, std::string& value, const char* description) {
        app.add_option(name, value, description)->type_name("DIR")->group(kGroup);
    };
    directory("--request-dir", m_strRequestDir, "The server's request directory (or ZEL_REQUEST_DIR)");
    directory("--output-dir", m_strOutputDir, "The server's output directory (or ZEL_OUTPUT_DIR)");
    directory("--client-dir", m_strClientDir,
              "Directory for copies that are on their way, on the volume of the request directory (or ZEL_CLIENT_DIR); "
              "without one they are made in a subfolder of the request directory");
    app.add_flag("--json", m_bJson, "One JSON object per request on standard output")->group(kGroup);
    app.add_flag("-q,--quiet", m_bQuiet, "No progress, and no text on standard output")->group(kGroup);
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
        const bool isRequest = options.requestDir.empty();
        PrintError(L"zel", std::wstring(isRequest ? L"no request directory: give --request-dir or set ZEL_REQUEST_DIR"
                                                  : L"no output directory: give --output-dir or set ZEL_OUTPUT_DIR") +
                               L"\nRun with --help for more information.");
        return std::nullopt;
    }
    return options;
}

void CTimeoutOption::Define(CLI::App& app, const char* description)
{
    app.add_option("--timeout", m_seconds, description)
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
