#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <map>
#include <set>

namespace {

using namespace std::chrono_literals;

std::wstring BenchProgram()
{
    const std::wstring own = platform::ProgramPath();
    return platform::JoinPath(platform::DirectoryOf(own), L"zel-bench" + platform::ExtensionOf(own));
}

/// Runs the program and gives its standard output; the exit code must be as expected.
std::string RunBench(const std::vector<std::wstring>& arguments, int expectedCode)
{
    platform::CProcess process;
    platform::SProcessOptions options;
    options.pipeOutput = true;
    EXPECT_EQ(process.Start(BenchProgram(), arguments, options), platform::eOsError_None);
    const std::string output = process.ReadAll(240s);
    int exitCode = -1;
    EXPECT_TRUE(process.Wait(30s, exitCode));
    EXPECT_EQ(exitCode, expectedCode);
    return output;
}

bool IsPositive(const nlohmann::json& value)
{
    return value.is_number() && value.get<double>() > 0;
}

TEST(BenchTest, EveryRowBesideBareOperationsIsMeasuredWithSyncingOffAndOn)
{
    const testsupport::CTemporaryDirectory directory;
    const std::string output =
        RunBench({L"--dir", directory.Path(), L"--quick", L"--json", L"--idle-seconds", L"1", L"--rows",
                  L"round-trip,round-trip-resume,burst-1000,burst-1000-resume,burst-10000,burst-100000,status-write,"
                  L"status-read,idle"},
                 0);
    const nlohmann::json result = nlohmann::json::parse(output);

    std::multiset<std::string> names;
    std::map<bool, int> rowsPerSyncing;
    for (const nlohmann::json& row : result.at("rows")) {
        const std::string name = row.at("name");
        names.insert(name);
        ++rowsPerSyncing[row.at("sync").get<bool>()];
        const bool isBurst = name.starts_with("burst-");
        const bool isStatus = name.starts_with("status-");
        EXPECT_TRUE(IsPositive(row.at("per_second"))) << name;
        EXPECT_TRUE(IsPositive(row.at("bare_per_second"))) << name;
        for (const char* field : {"p50_us", "p99_us", "bare_p50_us"})
            EXPECT_TRUE(isBurst ? row.at(field).is_null() : IsPositive(row.at(field))) << name << " " << field;
        // So few requests may take less processor time than the system counts.
        for (const char* field : {"cpu_us", "bare_cpu_us"})
            EXPECT_TRUE(isStatus ? row.at(field).is_null() : row.at(field).is_number()) << name << " " << field;
    }
    const std::multiset<std::string> once = {"round-trip",  "round-trip-resume", "burst-1000",   "burst-1000-resume",
                                             "burst-10000", "burst-100000",      "status-write", "status-read"};
    std::multiset<std::string> twice = once;
    twice.insert(once.begin(), once.end());
    EXPECT_EQ(names, twice);
    EXPECT_EQ(rowsPerSyncing, (std::map<bool, int>{{false, 8}, {true, 8}}));
    EXPECT_TRUE(result.at("pairs").empty());
    EXPECT_TRUE(result.at("idle_cpu_percent").is_number());
    EXPECT_TRUE(IsPositive(result.at("server_peak_mb")));
    EXPECT_TRUE(std::filesystem::is_empty(testsupport::StandardPath(directory.Path()))) << "left something behind";
}

TEST(BenchTest, ServersOfTheLibraryAreHeldAgainstEachOther)
{
    const testsupport::CTemporaryDirectory directory;
    const std::string output =
        RunBench({L"--dir", directory.Path(), L"--quick", L"--json", L"--sync", L"off", L"--rows",
                  L"slots-1,slots-2,slots-4,isolated,resume,resume-synced,cancel-busy,queue-100000"},
                 0);
    const nlohmann::json result = nlohmann::json::parse(output);
    EXPECT_TRUE(result.at("rows").empty());
    std::map<std::string, std::string> figures;
    for (const nlohmann::json& pair : result.at("pairs")) {
        const std::string name = pair.at("name");
        figures[name] = pair.at("figure");
        const bool isAlone = name == "cancel-busy";
        const bool isSerial = isAlone || name == "isolated-round-trip";
        EXPECT_EQ(pair.at("sync"), false) << name;
        EXPECT_TRUE(IsPositive(pair.at("requests"))) << name;
        EXPECT_TRUE(IsPositive(pair.at("per_second"))) << name;
        EXPECT_TRUE(isAlone ? pair.at("other_per_second").is_null() : IsPositive(pair.at("other_per_second"))) << name;
        EXPECT_TRUE(isSerial ? IsPositive(pair.at("p99_us")) : pair.at("p99_us").is_null()) << name;
        // What takes less processor time than the system counts has no ratio of it.
        const nlohmann::json& value = pair.at("value");
        EXPECT_TRUE(value.is_number() || name == "queue-100000") << name;
        if (value.is_null() || pair.at("wanted").is_null())
            continue;
        const double above = value.get<double>() - pair.at("wanted").get<double>();
        const bool isMet = pair.at("figure") == "rate_ratio" ? above >= 0 : above <= 0;
        EXPECT_TRUE(pair.at("met").get<bool>() == isMet || std::abs(above) < 0.01) << name; // both are rounded
    }
    const std::map<std::string, std::string> expected = {
        {"slots-1-compute", "rate_ratio"},       {"slots-1-sleep", "rate_ratio"},  {"slots-1-echo", "rate_ratio"},
        {"slots-2-compute", "rate_ratio"},       {"slots-2-sleep", "rate_ratio"},  {"slots-2-echo", "rate_ratio"},
        {"slots-4-compute", "rate_ratio"},       {"slots-4-sleep", "rate_ratio"},  {"slots-4-echo", "rate_ratio"},
        {"isolated-round-trip", "added_p50_us"}, {"isolated-burst", "rate_ratio"}, {"cancel-busy", "p99_us"},
        {"queue-100000", "cpu_ratio"},           {"resume", "rate_ratio"}};
    EXPECT_EQ(figures, expected);
}

TEST(BenchTest, ResumingIsMeasuredOnceWithoutAndOnceWithSyncing)
{
    const testsupport::CTemporaryDirectory directory;
    const std::string output =
        RunBench({L"--dir", directory.Path(), L"--quick", L"--json", L"--rows", L"resume,resume-synced"}, 0);
    const nlohmann::json result = nlohmann::json::parse(output);
    std::map<std::string, bool> syncing;
    for (const nlohmann::json& pair : result.at("pairs"))
        EXPECT_TRUE(syncing.emplace(pair.at("name"), pair.at("sync")).second);
    EXPECT_EQ(syncing, (std::map<std::string, bool>{{"resume", false}, {"resume-synced", true}}));
}

TEST(BenchTest, TheTableTellsWhatIsWanted)
{
    const testsupport::CTemporaryDirectory directory;
    const std::string output =
        RunBench({L"--dir", directory.Path(), L"--quick", L"--sync", L"off", L"--rows", L"slots-4"}, 0);
    EXPECT_NE(output.find("slots-4-sleep"), std::string::npos) << output;
    EXPECT_NE(output.find(">= 3.8"), std::string::npos) << output;
}

TEST(BenchTest, WhatWasNotMeasuredIsNull)
{
    const testsupport::CTemporaryDirectory directory;
    const std::string output =
        RunBench({L"--dir", directory.Path(), L"--quick", L"--json", L"--rows", L"status-read", L"--sync", L"off"}, 0);
    const nlohmann::json result = nlohmann::json::parse(output);
    ASSERT_EQ(result.at("rows").size(), 1U);
    EXPECT_EQ(result.at("rows")[0].at("name"), "status-read");
    EXPECT_EQ(result.at("rows")[0].at("sync"), false);
    EXPECT_TRUE(result.at("idle_cpu_percent").is_null());
    EXPECT_TRUE(result.at("server_peak_mb").is_null());
}

TEST(BenchTest, TheTableNamesTheRows)
{
    const testsupport::CTemporaryDirectory directory;
    const std::string output =
        RunBench({L"--dir", directory.Path(), L"--quick", L"--rows", L"status-write", L"--sync", L"on"}, 0);
    EXPECT_NE(output.find("bare p50"), std::string::npos) << output;
    EXPECT_NE(output.find("status-write on"), std::string::npos) << output;
}

TEST(BenchTest, AnUnknownRowIsAUsageError)
{
    const testsupport::CTemporaryDirectory directory;
    EXPECT_EQ(RunBench({L"--dir", directory.Path(), L"--rows", L"no-such-row"}, 2), "");
}

TEST(BenchTest, ADirectoryThatIsNotThereIsAnError)
{
    const testsupport::CTemporaryDirectory directory;
    EXPECT_EQ(RunBench({L"--dir", directory / L"missing", L"--quick", L"--rows", L"status-read"}, 1), "");
}

/// The output directory of the bare server of a run that was just started in this directory.
std::wstring BareOutput(const std::wstring& directory)
{
    const auto end = platform::Clock().Steady() + 60s;
    while (platform::Clock().Steady() < end) {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_EQ(platform::Files().List(directory, entries), platform::eOsError_None);
        for (const platform::SDirectoryEntry& entry : entries) {
            const std::wstring output =
                platform::JoinPath(platform::JoinPath(directory, entry.name), platform::JoinPath(L"bare", L"output"));
            if (platform::DirectoryExists(output))
                return output;
        }
        platform::Clock().SleepFor(1ms);
    }
    ADD_FAILURE() << "the run did not begin";
    return {};
}

TEST(BenchTest, AServerThatFailsEndsTheRunAtOnce)
{
    const testsupport::CTemporaryDirectory directory;
    const testsupport::CTemporaryDirectory scratch;
    platform::CProcess process;
    platform::SProcessOptions options;
    options.pipeOutput = true;
    options.errorFile = scratch / L"errors.txt";
    ASSERT_EQ(process.Start(BenchProgram(),
                            {L"--dir", directory.Path(), L"--rows", L"round-trip", L"--sync", L"off", L"--quick",
                             L"--repeat", L"1000"},
                            options),
              platform::eOsError_None);
    // The status of a request far ahead cannot be written, as when the volume is full. Its client waits for it.
    const std::wstring output = BareOutput(directory.Path());
    ASSERT_EQ(platform::Files().MakeDirectory(platform::JoinPath(output, L"request-400.drq.status")),
              platform::eOsError_None);
    int exitCode = 0;
    ASSERT_TRUE(process.Wait(100s, exitCode));
    EXPECT_EQ(exitCode, 1);
    std::string errors;
    ASSERT_EQ(platform::ReadWholeFile(options.errorFile, platform::eOpenMode_ReadShared, errors, 1 << 20),
              platform::eOsError_None);
    EXPECT_NE(errors.find("request-400.drq.status"), std::string::npos) << errors;
    EXPECT_NE(errors.find("the server has ended"), std::string::npos) << errors;
}

} // namespace
