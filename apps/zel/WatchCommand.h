#pragma once

#include "apps/zel/Command.h"

/// Shows all requests as they change: on a terminal all at once, else a line for each change.
class CWatchCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "watch"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_WATCH; }
    void Define(CLI::App&) override {}
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    /// Until all that had not ended at the beginning have.
    [[nodiscard]] static eExitCode TellChanges(CToolSession& session);
};
