#include "bench/BenchOptions.h"

#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>

namespace {

/// Small counts are so many times smaller.
constexpr std::size_t kQuickShare = 500;
constexpr std::size_t kQuickLeast = 4;

const std::vector<std::string> kRows = {
    "round-trip",   "round-trip-resume", "burst-1000",  "burst-1000-resume", "burst-10000", "burst-100000",
    "status-write", "status-read",       "slots-1",     "slots-2",           "slots-4",     "isolated",
    "resume",       "resume-synced",     "cancel-busy", "queue-100000",      "idle"};

std::vector<bool> SyncingOf(const std::string& text)
{
    if (text == "both")
        return {false, true};
    return {text == "on"};
}

} // namespace

bool SBenchOptions::Wants(const std::string& row) const
{
    return std::find(rows.begin(), rows.end(), row) != rows.end();
}

std::size_t SBenchOptions::Count(std::size_t full) const
{
    return quick ? std::max(full / kQuickShare, kQuickLeast) : full;
}

std::optional<int> ParseBenchOptions(const std::vector<std::wstring>& arguments, SBenchOptions& options)
{
    CLI::App app("Measures the file protocol against the bare file operations of the same round trip.\n"
                 "Server and client are processes of their own; the two sides take turns.",
                 "zel-bench");
    std::string directory;
    std::string components;
    std::string syncing = "both";
    long long idle = options.idle.count();
    options.rows = kRows;
    app.add_option("--dir", directory, "Directory to measure in, on the file system that counts")->required();
    app.add_option("--components", components, "Folder of the test tasks (default: test-plugins beside the program)");
    app.add_option("--rows", options.rows, "What to measure, separated by commas (default: all)")
        ->delimiter(',')
        ->check(CLI::IsMember(kRows));
    app.add_option("--sync", syncing, "Syncing of what is handed over (default: both)")
        ->check(CLI::IsMember({"on", "off", "both"}));
    app.add_option("--repeat", options.repeat, "How often to run every row; its rounds add up")
        ->check(CLI::Range(1, 1000));
    app.add_option("--idle-seconds", idle, "How long to watch the idle processes")->check(CLI::Range(1, 3600));
    app.add_flag("--quick", options.quick, "Small counts, to see whether it works; the numbers mean nothing");
    app.add_flag("--json", options.json, "Print one JSON object instead of the table");

    std::vector<std::string> narrow;
    std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(narrow),
                   [](const std::wstring& argument) { return platform::ToUtf8(argument); });
    try {
        app.parse(narrow);
    } catch (const CLI::ParseError& error) {
        std::ostringstream output;
        std::ostringstream errors;
        const int code = app.exit(error, output, errors);
        platform::WriteConsoleText(platform::eStream_Output, platform::FromUtf8(output.str()));
        platform::WriteConsoleText(platform::eStream_Error, platform::FromUtf8(errors.str()));
        return code == 0 ? 0 : 2;
    }
    options.directory = platform::AbsolutePath(platform::FromUtf8(directory));
    options.components = components.empty()
                             ? platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"test-plugins")
                             : platform::AbsolutePath(platform::FromUtf8(components));
    options.syncing = SyncingOf(syncing);
    options.idle = std::chrono::seconds(idle);
    return std::nullopt;
}
