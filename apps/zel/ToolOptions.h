#pragma once

#include "apps/common/CommandLine.h"

#include <chrono>
#include <optional>
#include <string>

/// A time that never comes.
constexpr std::chrono::milliseconds kForever = std::chrono::hours(24 * 3650);

/// What all commands have in common.
struct SToolOptions {
    std::wstring requestDir;
    std::wstring outputDir;
    std::wstring clientDir; ///< empty: the client stages in the request directory
    bool json = false;
    bool quiet = false;
    std::chrono::milliseconds serverTimeout{10'000}; ///< how long the server has for a command
    std::chrono::milliseconds serverAbsence{30'000}; ///< how long one that is not there is waited for
    std::chrono::milliseconds poll{0};               ///< 0: where the file system needs it
};

/// The common options as the parser fills them. They are taken before and after a command's name.
class CToolOptionsParser {
public:
    void Define(CLI::App& app);

    /// The options, with what was not given taken from the environment. Empty, after a message, when a directory is
    /// missing that is needed.
    [[nodiscard]] std::optional<SToolOptions> Take(bool needsNames = true) const;
    /// For what needs no directories.
    [[nodiscard]] bool IsJson() const { return m_bJson; }

private:
    std::string m_strRequestDir;
    std::string m_strOutputDir;
    std::string m_strClientDir;
    bool m_bJson = false;
    bool m_bQuiet = false;
    std::optional<double> m_serverTimeout;
    unsigned m_nPollMs = 0;
};

/// A time-out option in seconds, fractions allowed.
class CTimeoutOption {
public:
    void Define(CLI::App& app, const STextCode& description);
    /// kForever when the option was not given.
    [[nodiscard]] std::chrono::milliseconds Take() const;

private:
    std::optional<double> m_seconds;
};
