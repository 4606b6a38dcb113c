#pragma once

#include "apps/zel/Command.h"

/// Tells what a server has counted: how many requests, how fast, and how long they took.
class CStatsCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "stats"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_STATS; }
    void Define(CLI::App& app) override;
    [[nodiscard]] int Run(CToolSession& session) override;
};
