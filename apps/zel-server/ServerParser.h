#pragma once

#include "apps/zel-server/ServerOptions.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

/// What the parser fills where the program wants something else: it knows narrow texts only.
struct SParsedTexts {
    std::string configFile;
    std::string requestDir;
    std::string outputDir;
    std::vector<std::string> componentFolders;
    std::vector<std::string> xmlLimits;
    std::string interrupted = "rerun";
    std::string logLevel = "info";
    std::string logFile;
    std::string metricsFile;
    std::string pageDir;
    std::string service;
    std::string serviceName = "zel-server";
};

/// The options of this program as the parser knows them, and what it has found. Each may be missing, for a file may
/// have it.
class CServerParser {
public:
    CServerParser();
    ~CServerParser();
    CServerParser(const CServerParser&) = delete;
    CServerParser& operator=(const CServerParser&) = delete;

    [[nodiscard]] CLI::App& App() { return *m_pApp; }
    /// From now on what belongs together is missed, and what a start cannot do without.
    void DemandAll(bool isForStart);

    /// Of what was parsed.
    [[nodiscard]] bool IsForStart() const;
    [[nodiscard]] bool ChecksFile() const { return m_bChecksFile; }
    [[nodiscard]] SServerOptions Options() const;
    /// Arguments that are parsed to the same again, in whatever directory the program then is; what was not named is
    /// not among them.
    [[nodiscard]] std::vector<std::wstring> Given() const;

private:
    SParsedTexts m_texts;
    SServerOptions m_options;
    bool m_bChecksFile = false;
    const std::unique_ptr<CLI::App> m_pApp; ///< fills those above
};
