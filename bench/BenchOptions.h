#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

struct SBenchOptions {
    std::wstring directory;
    std::wstring components;
    std::vector<std::string> rows; ///< in the order of the table
    std::vector<bool> syncing = {false, true};
    std::size_t repeat = 1;
    std::chrono::seconds idle{30};
    bool quick = false;
    bool json = false;

    [[nodiscard]] bool Wants(const std::string& row) const;
    /// So many requests, or the few of a quick run.
    [[nodiscard]] std::size_t Count(std::size_t full) const;
};

/// An exit code when the program is to end: the help was asked for, or an argument is wrong.
[[nodiscard]] std::optional<int> ParseBenchOptions(const std::vector<std::wstring>& arguments, SBenchOptions& options);
