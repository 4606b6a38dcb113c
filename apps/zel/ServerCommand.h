#pragma once

#include "apps/zel/Command.h"

/// Tells whether a server serves the directories, what it is and what it does.
class CServerCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "server"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_SERVER; }
    [[nodiscard]] bool NeedsDirectories() const override { return false; } // it tells of them
    void Define(CLI::App& app) override;
    [[nodiscard]] int Run(CToolSession& session) override;
};
